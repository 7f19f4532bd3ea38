#include "platform/vpn/SystemNetworkVPNManager.h"

#include <QTimer>

#include <algorithm>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

/// How long the end of an old tunnel may hold up a new one.
constexpr std::chrono::milliseconds endTimeout = 10s;
/// A tunnel that does go down is seen to do so within less.
constexpr std::chrono::milliseconds deactivationRetry = 100ms;

QVariant objectPath(const QString &path)
{
    return QVariant::fromValue(QDBusObjectPath(path));
}

} // namespace

void SystemNetworkVPNManager::startVPNTunnel(VPNCompletion completion)
{
    starts.push_back({.completion = std::move(completion)});
    if (starts.size() == 1)
        beginStart();
}

void SystemNetworkVPNManager::stopVPNTunnel()
{
    for (Start &start : starts)
        start.stopped = true;
    client.whenRunning([](const auto &) {},
                       [this] {
                           deactivateAll();
                           updateStatus();
                       });
}

void SystemNetworkVPNManager::beginStart()
{
    client.whenRunning([this](const auto &error) { finishStart(error); }, [this] { endOthers(); });
}

void SystemNetworkVPNManager::endOthers()
{
    const bool isUpAsSaved =
        std::any_of(client.tunnels.begin(), client.tunnels.end(), [this](const auto &entry) {
            const SystemNetworkTunnel &tunnel = entry.second;
            return tunnel.isUpOrComingUp() && !tunnel.stopRequested && tunnel.revision == client.revision;
        });
    if (const auto error = obstacle(); error || isUpAsSaved) {
        finishStart(error);
        return;
    }
    starts.front().underWay = true;
    deactivateAll();
    client.when([this] { return obstacle() || (client.tunnels.empty() && !client.isStartingUp()); },
                [this] { activate(); }, endTimeout);
    updateStatus();
}

void SystemNetworkVPNManager::activate()
{
    if (const auto hindrance = obstacle()) {
        finishStart(hindrance);
    } else if (!client.tunnels.empty()) {
        finishStart(client.error(QDBusError::NoReply, u"The tunnel before this one does not end"_s));
    } else {
        starts.front().activating = true;
        const auto answered = [this, revision = client.revision](const auto &error, const QVariant &path) {
            activated(error, path.value<QDBusObjectPath>().path(), revision);
        };
        client.call(client.daemonPath, client.daemonService, u"ActivateConnection"_s,
                    {objectPath(client.profilePath()), objectPath(u"/"_s), objectPath(u"/"_s)}, answered);
    }
}

void SystemNetworkVPNManager::activated(const std::optional<PlatformError> &error, const QString &path,
                                        int revision)
{
    Start &start = starts.front();
    start.activating = false;
    if (!error) {
        client.tunnels[client.numberOf(path)].revision = revision;
        // It may have ended already.
        client.readTunnel(client.numberOf(path));
    }
    if (start.stopped)
        deactivateAll();
    const bool opens = error && refusesPrivateProfile(*error) && client.profile() &&
                       client.profile()->isPrivate && !start.stopped && !std::exchange(start.opened, true);
    if (!opens) {
        const bool isActive = error && error->domain == client.daemonService + u".ConnectionAlreadyActive"_s;
        finishStart(isActive ? std::nullopt : error);
        return;
    }
    SystemNetworkProfile profile = *client.profile();
    profile.isPrivate = false;
    save(profile, [this, error](const auto &failure) {
        if (failure)
            finishStart(error);
        else
            activate();
    });
}

/// Why the first start cannot go on.
std::optional<PlatformError> SystemNetworkVPNManager::obstacle() const
{
    if (starts.front().stopped)
        return client.error(QDBusError::Failed, u"The tunnel was stopped before it began"_s);
    if (const Result<> running = client.running(); !running)
        return running.error();
    if (!client.profile())
        return client.error(QDBusError::UnknownObject, u"There is no saved profile"_s);
    return std::nullopt;
}

void SystemNetworkVPNManager::finishStart(const std::optional<PlatformError> &error)
{
    const VPNCompletion completion = std::move(starts.front().completion);
    starts.pop_front();
    if (!starts.empty())
        beginStart();
    updateStatus();
    completion(error);
}

void SystemNetworkVPNManager::deactivateAll()
{
    for (auto &[number, tunnel] : client.tunnels) {
        if (!std::exchange(tunnel.stopRequested, true))
            deactivate(number);
    }
}

/// Asks again until the tunnel goes down: the daemon accepts or refuses a question that comes before it has
/// begun a tunnel in earnest, and then goes on with the tunnel.
void SystemNetworkVPNManager::deactivate(quint64 number)
{
    const auto found = client.tunnels.find(number);
    if (found == client.tunnels.end() || !found->second.stopRequested || !found->second.isUpOrComingUp())
        return;
    const auto answered = [this, number](const std::optional<PlatformError> &error, const auto &) {
        if (!error || error->domain == client.daemonService + u".ConnectionNotActive"_s) {
            QTimer::singleShot(deactivationRetry, this, [this, number] { deactivate(number); });
        } else if (const auto refused = client.tunnels.find(number); refused != client.tunnels.end()) {
            refused->second.stopRequested = false;
            updateStatus();
        }
    };
    client.call(client.daemonPath, client.daemonService, u"DeactivateConnection"_s,
                {objectPath(SystemNetworkClient::pathOf(number))}, answered);
}

void SystemNetworkVPNManager::updateStatus()
{
    if (!client.isSettled())
        return;
    const bool isStarting = !starts.empty() && starts.front().underWay;
    const bool isStopped = isStarting && starts.front().stopped;
    const SystemNetworkStatus::Facts facts{
        .daemonRuns = bool(client.running()),
        .hasProfile = client.profile().has_value(),
        .startUnderWay = isStarting && !isStopped,
        .stopUnderWay = isStopped && starts.front().activating,
        .tunnels = client.tunnels,
    };
    if (machine.update(facts, std::chrono::steady_clock::now()))
        Q_EMIT statusDidChange();
}

} // namespace velmora
