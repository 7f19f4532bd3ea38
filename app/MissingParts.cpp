#include "app/MissingParts.h"

#include "platform/keyring/SecretStore.h"
#include "platform/Log.h"
#include "platform/vpn/VPNManager.h"
#include "ui/NoticeStrip.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

/// A daemon that is restarted, or a package that is upgraded, is away for less than this.
constexpr std::chrono::milliseconds missingAfter = 1s;

QString sentence(MissingPart part)
{
    switch (part) {
    case MissingPart::NetworkManager:
        return u"No NetworkManager: install or start network-manager"_s;
    case MissingPart::VPNPlugin:
        return u"No VPN plugin: install network-manager-vpnc"_s;
    case MissingPart::SecretService:
        return u"No keyring: install one, such as gnome-keyring"_s;
    case MissingPart::DefaultKeyring:
        return u"The keyring is being set up: answer its question"_s;
    case MissingPart::UnlockedKeyring:
        return u"The keyring is locked: your sign-in is kept, and saved once you unlock it"_s;
    }
    return {};
}

} // namespace

MissingParts::MissingParts(const SecretStore &secretStore, const VPNManager &vpnManager)
    : store(secretStore), manager(vpnManager)
{
    delay.setSingleShot(true);
    delay.setInterval(missingAfter);
    connect(&delay, &QTimer::timeout, this, [this] { tell(missing()); });
    connect(&store, &SecretStore::missingChanged, this, &MissingParts::update);
    connect(&manager, &VPNManager::missingChanged, this, &MissingParts::update);
    update();
}

MissingParts::~MissingParts()
{
    NoticeStrip::setLines({});
}

QStringList MissingParts::lines(QList<MissingPart> parts)
{
    QStringList found;
    // The plugin's package brings the daemon.
    if (parts.contains(MissingPart::NetworkManager) && parts.removeAll(MissingPart::VPNPlugin) > 0) {
        parts.removeAll(MissingPart::NetworkManager);
        found << u"No NetworkManager: install network-manager-vpnc"_s;
    }
    for (const MissingPart part : std::as_const(parts))
        found << sentence(part);
    return found;
}

QList<MissingPart> MissingParts::missing() const
{
    return manager.missing() + store.missing();
}

/// A part that is back leaves the strip at once; one that has gone comes into it after the delay.
void MissingParts::update()
{
    const QList<MissingPart> now = missing();
    QList<MissingPart> still = told;
    still.removeIf([&now](MissingPart part) { return !now.contains(part); });
    if (still.size() == now.size())
        delay.stop();
    else
        delay.start();
    tell(still);
}

void MissingParts::tell(const QList<MissingPart> &parts)
{
    for (const MissingPart part : parts) {
        if (!told.contains(part))
            systemLog(sentence(part));
    }
    if (std::exchange(told, parts) != parts)
        NoticeStrip::setLines(lines(parts));
}

} // namespace velmora
