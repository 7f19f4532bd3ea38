#include "app/MissingParts.h"

#include "platform/Log.h"
#include "ui/NoticeStrip.h"

#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

MissingParts::MissingParts(const SystemReadiness &readiness)
{
    connect(&readiness, &SystemReadiness::missingChanged, this,
            [this, &readiness] { say(readiness.missing()); });
    say(readiness.missing());
}

MissingParts::~MissingParts()
{
    NoticeStrip::setLines({});
}

QString MissingParts::sentence(SystemReadiness::Missing part)
{
    switch (part) {
    case SystemReadiness::Missing::NetworkManager:
        return u"No NetworkManager: install or start network-manager"_s;
    case SystemReadiness::Missing::VPNPlugin:
        return u"No VPN plugin: install network-manager-vpnc"_s;
    case SystemReadiness::Missing::SecretService:
        return u"No keyring: install gnome-keyring"_s;
    case SystemReadiness::Missing::DefaultKeyring:
        return u"No default keyring: create one with seahorse"_s;
    case SystemReadiness::Missing::UnlockedKeyring:
        return u"The keyring is locked: unlock it or restart Velmora"_s;
    }
    return {};
}

QStringList MissingParts::lines(const QList<SystemReadiness::Missing> &missing)
{
    QList<SystemReadiness::Missing> parts = missing;
    QStringList found;
    // The plugin's package brings the daemon.
    if (parts.contains(SystemReadiness::Missing::NetworkManager) &&
        parts.removeAll(SystemReadiness::Missing::VPNPlugin) > 0) {
        parts.removeAll(SystemReadiness::Missing::NetworkManager);
        found << u"No NetworkManager: install network-manager-vpnc"_s;
    }
    for (const SystemReadiness::Missing part : std::as_const(parts))
        found << sentence(part);
    return found;
}

void MissingParts::say(const QList<SystemReadiness::Missing> &missing)
{
    for (const SystemReadiness::Missing part : missing) {
        if (!said.contains(part))
            systemLog(sentence(part));
    }
    said = missing;
    NoticeStrip::setLines(lines(missing));
}

} // namespace velmora
