#include "platform/desktop/SystemReadiness.h"

#include "platform/desktop/KeyringWatch.h"
#include "platform/vpn/VPNPluginWatch.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace velmora {

namespace {

using namespace std::chrono_literals;

/// The first window comes first.
constexpr std::chrono::milliseconds beginAfter = 200ms;
/// What is away for a moment only, as a daemon that is restarted or a package that is upgraded, is not
/// missing.
constexpr std::chrono::milliseconds settlingTime = 1s;

} // namespace

SystemReadiness::SystemReadiness(QStringList folders) : pluginFolders(std::move(folders))
{
    settling.setSingleShot(true);
    settling.setInterval(settlingTime);
    connect(&settling, &QTimer::timeout, this, [this] { tell(seen()); });
    QTimer::singleShot(beginAfter, this, &SystemReadiness::begin);
}

SystemReadiness::~SystemReadiness() = default;

void SystemReadiness::begin()
{
    daemon = std::make_unique<BusNameWatch>(BusNameWatch::Bus::System, "org.freedesktop.NetworkManager");
    connect(daemon.get(), &BusNameWatch::changed, this, &SystemReadiness::newsCame);
    keyring = std::make_unique<KeyringWatch>();
    connect(keyring.get(), &KeyringWatch::changed, this, &SystemReadiness::newsCame);
    plugin = std::make_unique<VPNPluginWatch>(pluginFolders);
    connect(plugin.get(), &VPNPluginWatch::changed, this, &SystemReadiness::newsCame);
    newsCame();
}

/// What is back is told at once, what has gone after a while.
void SystemReadiness::newsCame()
{
    const QList<Missing> now = seen();
    QList<Missing> still = told;
    still.removeIf([&now](Missing part) { return !now.contains(part); });
    if (still.size() == now.size())
        settling.stop();
    else if (!settling.isActive())
        settling.start();
    tell(still);
}

void SystemReadiness::tell(const QList<Missing> &parts)
{
    if (std::equal(told.begin(), told.end(), parts.begin(), parts.end()))
        return;
    told = parts;
    Q_EMIT missingChanged();
}

QList<SystemReadiness::Missing> SystemReadiness::seen() const
{
    QList<Missing> found;
    if (daemon->presence() == BusNameWatch::Presence::Absent)
        found << Missing::NetworkManager;
    if (!plugin->isPresent())
        found << Missing::VPNPlugin;
    switch (keyring->state()) {
    case KeyringWatch::State::Absent:
        found << Missing::SecretService;
        break;
    case KeyringWatch::State::WithoutCollection:
        found << Missing::DefaultKeyring;
        break;
    case KeyringWatch::State::Locked:
        found << Missing::UnlockedKeyring;
        break;
    case KeyringWatch::State::Unknown:
    case KeyringWatch::State::Open:
        break;
    }
    return found;
}

} // namespace velmora
