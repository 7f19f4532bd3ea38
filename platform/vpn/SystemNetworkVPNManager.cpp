#include "platform/vpn/SystemNetworkVPNManager.h"

#include <QDir>
#include <QSettings>

#include <algorithm>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr int readTimeoutMilliseconds = 5000;

/// To disk, and no automatic start: the same two flags for AddConnection2() and Update2().
constexpr uint saveFlags = 0x1 | 0x20;

bool holdsPlugin(const QString &folder)
{
    const QFileInfoList files = QDir(folder).entryInfoList({u"*.name"_s}, QDir::Files);
    return std::any_of(files.begin(), files.end(), [](const QFileInfo &file) {
        const QSettings description(file.filePath(), QSettings::IniFormat);
        return description.value(u"VPN Connection/service"_s) == SystemNetworkProfile::serviceType();
    });
}

} // namespace

bool refusesPrivateProfile(const PlatformError &error)
{
    // The error's name stands for other refusals, too; the daemon does not translate its messages.
    return error.domain == u"org.freedesktop.NetworkManager.ConnectionNotAvailable" &&
           error.message.contains(u"support private connections");
}

SystemNetworkVPNManager::SystemNetworkVPNManager(Secrets secrets, QStringList folders)
    : client(secrets == Secrets::Offered), pluginFolders(std::move(folders))
{
    connect(&client, &SystemNetworkClient::changed, this, &SystemNetworkVPNManager::updateStatus);
    connect(&client, &SystemNetworkClient::changed, this, [this] {
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
    client.whenRunning(loaded, [this, loaded] { client.readProfile(loaded, readTimeoutMilliseconds); });
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
    client.whenRunning([this](const auto &error) { finishSave(error); }, [this] { write(); });
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
    const auto removed = [completion](const auto &error, const auto &) {
        completion(error);
    };
    client.whenRunning(completion, [this, completion, removed] {
        if (client.profile())
            client.call(client.profilePath(), client.profileInterface, u"Delete"_s, {}, removed);
        else
            completion(std::nullopt);
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

} // namespace velmora
