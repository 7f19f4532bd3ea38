#include "app/Cleanup.h"

#include "platform/Configuration.h"
#include "platform/desktop/ApplicationInstance.h"
#include "platform/Log.h"
#include "platform/vpn/VPNManager.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

/// A tunnel whose profile goes is down within a tenth of a second, unless its daemon hangs.
constexpr std::chrono::milliseconds endingBound = 10s;

} // namespace

Cleanup::Cleanup(VPNManager &vpnManager) : manager(vpnManager)
{
    patience.setSingleShot(true);
    patience.setInterval(endingBound);
    connect(&patience, &QTimer::timeout, this, [this] {
        succeed(u"Removed the NetworkManager profile \"Velmora\"; its tunnel has not ended yet."_s);
    });
    connect(&manager, &VPNManager::statusDidChange, this, [this] {
        if (patience.isActive() && !tunnelIsAlive())
            tunnelEnded();
    });
}

void Cleanup::begin()
{
    manager.loadFromPreferences([this](const std::optional<PlatformError> &error) {
        if (error)
            fail(u"cannot be asked for"_s, *error);
        else if (!manager.protocolConfiguration())
            succeed(u"There is no NetworkManager profile \"Velmora\" of this user."_s);
        else
            remove();
    });
}

void Cleanup::remove()
{
    // Asked now: the tunnel may have ended by the time that the removal is answered.
    manager.removeFromPreferences(
        [this, hadTunnel = tunnelIsAlive()](const std::optional<PlatformError> &error) {
            if (error)
                fail(u"did not remove"_s, *error);
            else if (!hadTunnel)
                succeed(u"Removed the NetworkManager profile \"Velmora\"."_s);
            else if (tunnelIsAlive())
                patience.start();
            else
                tunnelEnded();
        });
}

void Cleanup::tunnelEnded()
{
    patience.stop();
    succeed(u"Removed the NetworkManager profile \"Velmora\"; its tunnel has ended."_s);
}

void Cleanup::succeed(const QString &line)
{
    printLine(line);
    if (ApplicationInstance::isRunning())
        printLine(u"The client is running; it saves the profile again when it connects next."_s);
    tellWhatStays();
    Q_EMIT finished(0);
}

void Cleanup::fail(const QString &what, const PlatformError &error)
{
    printErrorLine(u"velmora: NetworkManager %1 the profile \"Velmora\": %2"_s.arg(what, error.message));
    tellWhatStays();
    Q_EMIT finished(1);
}

void Cleanup::tellWhatStays()
{
    printLine(u"The keyring items stay. This lists them with their secrets, and this removes them:\n"
              "  secret-tool search --all service %1\n"
              "  secret-tool clear service %1"_s.arg(configuration::applicationIdentifier()));
}

bool Cleanup::tunnelIsAlive() const
{
    const VPNStatus status = manager.connection().status();
    return status != VPNStatus::Invalid && status != VPNStatus::Disconnected;
}

} // namespace velmora
