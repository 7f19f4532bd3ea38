#include "platform/vpn/VPNPluginWatch.h"

#include "platform/network/GLibPointer.h"
#include "platform/vpn/SystemNetworkProfile.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

struct GKeyFileUnref
{
    void operator()(GKeyFile *file) const { g_key_file_unref(file); }
};

/// Reads the description as NetworkManager does, but without its library, which is not loaded at the start.
bool describesPlugin(const QString &path)
{
    const std::unique_ptr<GKeyFile, GKeyFileUnref> file(g_key_file_new());
    if (g_key_file_load_from_file(file.get(), QFile::encodeName(path), G_KEY_FILE_NONE, nullptr) == FALSE)
        return false;
    const auto value = [&file](const char *key) {
        return GCharPtr(g_key_file_get_string(file.get(), "VPN Connection", key, nullptr));
    };
    return value("name") && qstrcmp(value("service").get(), SystemNetworkProfile::serviceType) == 0;
}

bool holdsPlugin(const QString &folder)
{
    const QFileInfoList files = QDir(folder).entryInfoList({u"*.name"_s}, QDir::Files);
    return std::any_of(files.begin(), files.end(),
                       [](const QFileInfo &file) { return describesPlugin(file.filePath()); });
}

/// A folder that does not exist cannot be watched; its coming is news of the one above it.
QStringList nearestExisting(const QStringList &folders)
{
    QStringList found;
    for (QString folder : folders) {
        while (!QFileInfo(folder).isDir())
            folder = QFileInfo(folder).path();
        found << folder;
    }
    found.removeDuplicates();
    return found;
}

} // namespace

VPNPluginWatch::VPNPluginWatch(QStringList pluginFolders) : folders(std::move(pluginFolders))
{
    connect(&watcher, &QFileSystemWatcher::directoryChanged, this, &VPNPluginWatch::look);
    look();
}

void VPNPluginWatch::look()
{
    watchFolders();
    const bool found = std::any_of(folders.begin(), folders.end(), holdsPlugin);
    if (std::exchange(present, found) != found)
        Q_EMIT changed();
}

void VPNPluginWatch::watchFolders()
{
    // Again for as long as one has come while the one above it was about to be watched.
    for (QStringList wanted = nearestExisting(folders); watcher.directories() != wanted;) {
        if (!watcher.directories().isEmpty())
            watcher.removePaths(watcher.directories());
        watcher.addPaths(wanted);
        const QStringList before = std::exchange(wanted, nearestExisting(folders));
        if (wanted == before)
            return;
    }
}

} // namespace velmora
