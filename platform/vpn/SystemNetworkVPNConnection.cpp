#include "platform/vpn/SystemNetworkVPNConnection.h"

#include "platform/vpn/SystemNetworkClient.h"
#include "platform/vpn/SystemNetworkErrors.h"
#include "platform/vpn/SystemNetworkLibrary.h"
#include "platform/vpn/SystemNetworkPreferences.h"
#include "platform/vpn/SystemNetworkTunnel.h"

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

/// How long the end of an old tunnel may hold up a new one.
constexpr std::chrono::milliseconds endingBound = 10s;
/// A tunnel that does go down is seen to do so within less.
constexpr std::chrono::milliseconds deactivationRetry = 100ms;

bool is(const GError *error, GQuark domain, int code)
{
    return g_error_matches(error, domain, code) != FALSE;
}

} // namespace

SystemNetworkVPNConnection::SystemNetworkVPNConnection(SystemNetworkClient &networkClient,
                                                       SystemNetworkPreferences &networkPreferences)
    : client(networkClient), preferences(networkPreferences)
{
    endBound.setSingleShot(true);
    endBound.setInterval(endingBound);
    connect(&endBound, &QTimer::timeout, this,
            [this] { finish(systemnetwork::timedOut(u"The tunnel before this one does not end"_s)); });
    connect(&networkClient, &SystemNetworkClient::tunnelMoved, this, &SystemNetworkVPNConnection::tellStatus);
    connect(&networkClient, &SystemNetworkClient::changed, this, &SystemNetworkVPNConnection::follow);
}

VPNStatus SystemNetworkVPNConnection::status() const
{
    return machine.status();
}

void SystemNetworkVPNConnection::startVPNTunnel(std::function<void(VPNStartOutcome)> completion)
{
    starts.push_back({std::move(completion)});
    if (starts.size() == 1)
        begin();
}

void SystemNetworkVPNConnection::stopVPNTunnel()
{
    for (Start &start : starts)
        start.stopped = true;
    client.whenRunning([this](const Result<> &) { stop(); });
}

void SystemNetworkVPNConnection::begin()
{
    client.whenRunning([this](const Result<> &running) {
        if (!running)
            finish(running.error());
        else
            prepare();
    });
}

void SystemNetworkVPNConnection::prepare()
{
    Start &start = starts.front();
    noteTunnels();
    if (start.stopped) {
        finish(systemnetwork::cancelled());
    } else if (client.profile() == nullptr) {
        finish(systemnetwork::noSavedProfile());
    } else if (isUpWithSavedProfile()) {
        finish(std::monostate{});
    } else {
        start.phase = Phase::AwaitingAgent;
        client.whenAgentRegistered([this](const Result<> &registered) {
            if (!isUnderWay(Phase::AwaitingAgent))
                return;
            if (!registered)
                finish(registered.error());
            else
                endOthers();
        });
        tellStatus();
    }
}

void SystemNetworkVPNConnection::endOthers()
{
    starts.front().phase = Phase::EndingOthers;
    endBound.start();
    deactivateAll();
    follow();
}

void SystemNetworkVPNConnection::activate()
{
    endBound.stop();
    NMRemoteConnection *profile = client.profile();
    if (profile == nullptr) {
        finish(systemnetwork::noSavedProfile());
        return;
    }
    starts.front().phase = Phase::Activating;
    activationRevision = preferences.revision();
    nm_client_activate_connection_async(client.handle(), NM_CONNECTION(profile), nullptr, nullptr,
                                        calls.cancellable(), GLibCalls::ready,
                                        calls.expect([this](GAsyncResult *result) { activated(result); }));
}

void SystemNetworkVPNConnection::activated(GAsyncResult *result)
{
    GError *failure = nullptr;
    const GObjectPtr<GObject> asked(g_async_result_get_source_object(result));
    const GObjectPtr<NMActiveConnection> tunnel(
        nm_client_activate_connection_finish(reinterpret_cast<NMClient *>(asked.get()), result, &failure));
    GErrorPtr error(failure);
    // A tunnel that ends before libnm has a copy of it was accepted all the same.
    const bool accepted = tunnel || is(failure, NM_CLIENT_ERROR, NM_CLIENT_ERROR_OBJECT_CREATION_FAILED) ||
                          is(failure, NM_MANAGER_ERROR, NM_MANAGER_ERROR_CONNECTION_ALREADY_ACTIVE);
    noteTunnels();
    if (starts.front().stopped)
        deactivateAll();
    if (accepted)
        finish(std::monostate{});
    else
        activationRefused(systemnetwork::failure(error.release()));
}

void SystemNetworkVPNConnection::activationRefused(const PlatformError &error)
{
    Start &start = starts.front();
    const bool byManager = error.domain == QString::fromUtf8(g_quark_to_string(NM_MANAGER_ERROR));
    if (!byManager || error.code == NM_MANAGER_ERROR_UNKNOWN_CONNECTION || start.widened || start.stopped) {
        finish(error);
        return;
    }
    start.widened = true;
    preferences.widen([this, error](const Result<> &widened) {
        if (!widened || starts.front().stopped)
            finish(error);
        else
            activate();
    });
}

void SystemNetworkVPNConnection::finish(const VPNStartOutcome &outcome)
{
    endBound.stop();
    const auto completion = std::move(starts.front().completion);
    starts.pop_front();
    if (!starts.empty())
        begin();
    tellStatus();
    completion(outcome);
}

void SystemNetworkVPNConnection::stop()
{
    if ((isUnderWay(Phase::AwaitingAgent) || isUnderWay(Phase::EndingOthers)) && starts.front().stopped)
        finish(systemnetwork::cancelled());
    deactivateAll();
    tellStatus();
}

void SystemNetworkVPNConnection::deactivateAll()
{
    for (const SystemNetworkTunnel &tunnel : client.tunnels()) {
        const QByteArray path = tunnel.path();
        if (!tunnel.isAlive() || stopRequested.contains(path))
            continue;
        stopRequested.insert(path);
        deactivate(path);
    }
}

/// Asks again until the tunnel goes down: what comes before the daemon has begun a tunnel in earnest, it
/// accepts or refuses, and then goes on with the tunnel.
void SystemNetworkVPNConnection::deactivate(const QByteArray &path)
{
    for (const SystemNetworkTunnel &tunnel : client.tunnels()) {
        if (tunnel.path() != path || !tunnel.isUpOrComingUp())
            continue;
        nm_client_deactivate_connection_async(
            client.handle(), tunnel.handle(), calls.cancellable(), GLibCalls::ready,
            calls.expect([this, path](GAsyncResult *result) { deactivated(path, result); }));
    }
}

void SystemNetworkVPNConnection::deactivated(const QByteArray &path, GAsyncResult *result)
{
    GError *failure = nullptr;
    const GObjectPtr<GObject> asked(g_async_result_get_source_object(result));
    const bool done = nm_client_deactivate_connection_finish(reinterpret_cast<NMClient *>(asked.get()),
                                                             result, &failure) != FALSE;
    GErrorPtr error(failure);
    if (done || is(failure, NM_MANAGER_ERROR, NM_MANAGER_ERROR_CONNECTION_NOT_ACTIVE)) {
        QTimer::singleShot(deactivationRetry, this, [this, path] {
            if (stopRequested.contains(path))
                deactivate(path);
        });
        return;
    }
    stopRequested.remove(path);
    if (isUnderWay(Phase::EndingOthers))
        finish(systemnetwork::failure(error.release()));
    else
        tellStatus();
}

void SystemNetworkVPNConnection::follow()
{
    noteTunnels();
    tellStatus();
    if (!isUnderWay(Phase::EndingOthers))
        return;
    if (!client.isRunning())
        finish(systemnetwork::daemonAbsent());
    else if (!anyAlive())
        activate();
}

/// Forgets what has ended and takes down with which profile a new tunnel was begun.
void SystemNetworkVPNConnection::noteTunnels()
{
    QSet<QByteArray> alive;
    for (const SystemNetworkTunnel &tunnel : client.tunnels()) {
        const QByteArray path = tunnel.path();
        if (!tunnel.isAlive())
            continue;
        alive.insert(path);
        if (!revisions.contains(path))
            revisions.insert(path,
                             isUnderWay(Phase::Activating) ? activationRevision : preferences.revision());
    }
    stopRequested.intersect(alive);
    revisions.removeIf([&alive](const auto &entry) { return !alive.contains(entry.key()); });
}

void SystemNetworkVPNConnection::tellStatus()
{
    if (machine.update(facts(), std::chrono::steady_clock::now()))
        Q_EMIT statusDidChange();
}

bool SystemNetworkVPNConnection::isUnderWay(Phase phase) const
{
    return !starts.empty() && starts.front().phase == phase;
}

bool SystemNetworkVPNConnection::anyAlive() const
{
    const std::vector<SystemNetworkTunnel> tunnels = client.tunnels();
    return std::any_of(tunnels.begin(), tunnels.end(),
                       [](const SystemNetworkTunnel &tunnel) { return tunnel.isAlive(); });
}

bool SystemNetworkVPNConnection::isUpWithSavedProfile() const
{
    const auto isOfSavedProfile = [this](const SystemNetworkTunnel &tunnel) {
        const QByteArray path = tunnel.path();
        return tunnel.isUpOrComingUp() && !stopRequested.contains(path) &&
               revisions.value(path, -1) == preferences.revision();
    };
    const std::vector<SystemNetworkTunnel> tunnels = client.tunnels();
    return std::any_of(tunnels.begin(), tunnels.end(), isOfSavedProfile);
}

SystemNetworkStatus::Facts SystemNetworkVPNConnection::facts() const
{
    SystemNetworkStatus::Facts facts;
    facts.known = client.isKnown();
    facts.daemonRuns = client.isRunning();
    facts.hasProfile = client.profile() != nullptr;
    const bool starting = !starts.empty() && starts.front().phase != Phase::Queued;
    facts.startUnderWay = starting && !starts.front().stopped;
    facts.stopUnderWay = isUnderWay(Phase::Activating) && starts.front().stopped;
    for (const SystemNetworkTunnel &tunnel : client.tunnels())
        facts.tunnels.push_back(tunnel.facts(stopRequested.contains(tunnel.path())));
    return facts;
}

} // namespace velmora
