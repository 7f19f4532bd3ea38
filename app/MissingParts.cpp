#include "app/MissingParts.h"

#include "platform/keyring/SecretStore.h"
#include "platform/Log.h"
#include "platform/vpn/VPNManager.h"
#include "ui/NoticeStrip.h"

#include <chrono>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

/// The restart of a daemon and the upgrade of a package take less time than this.
constexpr std::chrono::milliseconds missingAfter = 1s;

} // namespace

MissingParts::MissingParts(const SecretStore &secretStore, const VPNManager &vpnManager)
    : store(secretStore), manager(vpnManager)
{
    delay.setSingleShot(true);
    delay.setInterval(missingAfter);
    connect(&delay, &QTimer::timeout, this, [this] { tell(missing); });
    connect(&store, &SecretStore::missingChanged, this, &MissingParts::update);
    connect(&manager, &VPNManager::missingChanged, this, &MissingParts::update);
    update();
}

MissingParts::~MissingParts()
{
    NoticeStrip::setLines({});
}

QStringList MissingParts::lines(const QList<MissingPart> &parts)
{
    QStringList lines;
    for (const MissingPart part : parts) {
        switch (part) {
        case MissingPart::NetworkManager:
            // The package of the plugin depends on the one of the daemon.
            lines << (parts.contains(MissingPart::VPNPlugin)
                          ? u"No NetworkManager: install network-manager-vpnc"_s
                          : u"No NetworkManager: install or start network-manager"_s);
            break;
        case MissingPart::VPNPlugin:
            if (!parts.contains(MissingPart::NetworkManager))
                lines << u"No VPN plugin: install network-manager-vpnc"_s;
            break;
        case MissingPart::SecretService:
            lines << u"No keyring: install one, such as gnome-keyring"_s;
            break;
        case MissingPart::DefaultKeyring:
            lines << u"No default keyring: set one up when asked, or in your desktop's password settings"_s;
            break;
        case MissingPart::UnlockedKeyring:
            lines << u"The keyring is locked: your sign-in is kept, and saved once you unlock it"_s;
            break;
        }
    }
    return lines;
}

/// Removes a line at once, and adds one after the delay.
void MissingParts::update()
{
    missing = lines(manager.missing() + store.missing());
    QStringList still = told;
    still.removeIf([this](const QString &line) { return !missing.contains(line); });
    if (still.size() == missing.size())
        delay.stop();
    else
        delay.start();
    tell(still);
}

void MissingParts::tell(const QStringList &lines)
{
    for (const QString &line : lines) {
        if (!told.contains(line))
            systemLog(line);
    }
    if (std::exchange(told, lines) != lines)
        NoticeStrip::setLines(lines);
}

} // namespace velmora
