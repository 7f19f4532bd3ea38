#include "platform/vpn/SystemNetworkVPNManager.h"

#include <QDir>
#include <QSettings>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr int readTimeoutMilliseconds = 5000;

/// To disk, and no automatic start: the same two flags for AddConnection2() and Update2().
constexpr uint saveFlags = 0x1 | 0x20;

/// How long the end of an old tunnel may hold up a new one.
constexpr std::chrono::milliseconds endTimeout = 10s;
/// A tunnel that does go down is seen to do so within less.
constexpr std::chrono::milliseconds deactivationRetry = 100ms;

QVariant objectPath(const QString &path)
{
    return QVariant::fromValue(QDBusObjectPath(path));
}

/// True if the daemon refuses the profile only because it is private: newer daemons do so where the VPN
/// plugin does not declare that it reads files as the profile's user.
bool refusesPrivateProfile(const PlatformError &error)
{
    // The error's name stands for other refusals, too; the daemon does not translate its messages.
    return error.domain == u"org.freedesktop.NetworkManager.ConnectionNotAvailable" &&
           error.message.contains(u"support private connections");
}

bool holdsPlugin(const QString &folder)
{
    const QFileInfoList files = QDir(folder).entryInfoList({u"*.name"_s}, QDir::Files);
    return std::any_of(files.begin(), files.end(), [](const QFileInfo &file) {
        const QSettings description(file.filePath(), QSettings::IniFormat);
        return description.value(u"VPN Connection/service"_s) == SystemNetworkProfile::serviceType();
    });
}

} // namespace

SystemNetworkVPNManager::SystemNetworkVPNManager(Secrets secrets, QStringList folders)
    : client(secrets == Secrets::Offered), pluginFolders(std::move(folders))
{
    connect(&client, &SystemNetworkClient::changed, this, [this] {
        updateStatus();
        if (client.isMissing() != missingParts.contains(MissingPart::NetworkManager))
            lookForParts();
    });
    connect(&pluginWatcher, &QFileSystemWatcher::directoryChanged, this,
            &SystemNetworkVPNManager::lookForParts);
    lookForParts();
}

void SystemNetworkVPNManager::loadFromPreferences(VPNCompletion completion)
{
    const auto loaded = [this, completion](const std::optional<PlatformError> &error) {
        if (!error) {
            const std::optional<SystemNetworkProfile> &profile = client.profile();
            protocol = profile ? std::optional(profile->protocol) : std::nullopt;
            enabled = isEnabled();
        }
        completion(error);
    };
    client.whenSettled([this, loaded](const auto &error) {
        error ? loaded(error) : client.readProfile(loaded, readTimeoutMilliseconds);
    });
}

void SystemNetworkVPNManager::saveToPreferences(VPNCompletion completion)
{
    save({.protocol = protocol.value_or(VPNProtocolIPSec()), .enabled = enabled}, completion);
}

void SystemNetworkVPNManager::save(const SystemNetworkProfile &profile, const VPNCompletion &completion)
{
    saves.push_back({profile, completion});
    if (saves.size() == 1)
        beginSave();
}

void SystemNetworkVPNManager::beginSave()
{
    client.whenSettled([this](const auto &error) { error ? finishSave(error) : write(); });
}

void SystemNetworkVPNManager::write()
{
    const Result<SystemNetworkSettings> settings = saves.front().profile.toSettings();
    if (!settings) {
        finishSave(settings.error());
        return;
    }
    const auto saved = [this](const std::optional<PlatformError> &error, const auto &) {
        bool &isPrivate = saves.front().profile.isPrivate;
        if (error && refusesPrivateProfile(*error) && std::exchange(isPrivate, false))
            write();
        else if (error)
            finishSave(error);
        else
            // The next save needs the path of a profile that was added.
            client.readProfile([this](const auto &) { finishSave({}); }, readTimeoutMilliseconds);
    };
    const bool isNew = !client.profile();
    client.call(isNew ? client.settingsPath : client.profilePath(),
                isNew ? client.settingsInterface : client.profileInterface,
                isNew ? u"AddConnection2"_s : u"Update2"_s,
                {QVariant::fromValue(*settings), saveFlags, QVariantMap()}, saved);
}

void SystemNetworkVPNManager::finishSave(const std::optional<PlatformError> &error)
{
    if (!error)
        ++client.revision;
    const VPNCompletion completion = std::move(saves.front().completion);
    saves.pop_front();
    if (!saves.empty())
        beginSave();
    completion(error);
}

void SystemNetworkVPNManager::removeFromPreferences(VPNCompletion completion)
{
    client.whenSettled([this, completion](const auto &error) {
        if (client.profile())
            client.call(client.profilePath(), client.profileInterface, u"Delete"_s, {},
                        [completion](const auto &refused, const auto &) { completion(refused); });
        else
            completion(error);
    });
}

void SystemNetworkVPNManager::lookForParts()
{
    QList<MissingPart> parts;
    if (client.isMissing())
        parts << MissingPart::NetworkManager;
    // A folder that does not exist cannot be watched; the one above it changes when the folder is made.
    for (const QString &folder : pluginFolders)
        pluginWatcher.addPath(QFileInfo(folder).isDir() ? folder : QFileInfo(folder).path());
    if (std::none_of(pluginFolders.begin(), pluginFolders.end(), holdsPlugin))
        parts << MissingPart::VPNPlugin;
    if (std::exchange(missingParts, parts) != parts)
        Q_EMIT missingChanged();
}

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
    client.whenSettled([this](const auto &) {
        deactivateAll();
        updateStatus();
    });
}

void SystemNetworkVPNManager::beginStart()
{
    client.whenSettled([this](const auto &) {
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
    });
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
                       client.profile()->isPrivate && !start.stopped;
    if (!opens) {
        const bool isActive = error && error->domain == client.daemonService + u".ConnectionAlreadyActive"_s;
        finishStart(isActive ? std::nullopt : error);
        return;
    }
    SystemNetworkProfile profile = *client.profile();
    profile.isPrivate = false;
    save(profile, [this, error](const auto &failure) { failure ? finishStart(error) : activate(); });
}

/// Why the first start cannot go on.
std::optional<PlatformError> SystemNetworkVPNManager::obstacle() const
{
    if (auto error = client.obstacle())
        return error;
    if (starts.front().stopped)
        return client.error(QDBusError::Failed, u"The tunnel was stopped before it began"_s);
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
        .daemonRuns = !client.obstacle(),
        .hasProfile = client.profile().has_value(),
        .startUnderWay = isStarting && !isStopped,
        .stopUnderWay = isStopped && starts.front().activating,
        .tunnels = client.tunnels,
    };
    if (machine.update(facts, std::chrono::steady_clock::now()))
        Q_EMIT statusDidChange();
}

} // namespace velmora
