#include "platform/vpn/VPNPluginWatch.h"

#include "platform/vpn/SystemNetworkProfile.h"

#include <QDir>
#include <QSettings>

#include <algorithm>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

bool holdsPlugin(const QString &folder)
{
    const QFileInfoList files = QDir(folder).entryInfoList({u"*.name"_s}, QDir::Files);
    return std::any_of(files.begin(), files.end(), [](const QFileInfo &file) {
        const QSettings description(file.filePath(), QSettings::IniFormat);
        return description.value(u"VPN Connection/service"_s) == SystemNetworkProfile::serviceType();
    });
}

/// A folder that does not exist cannot be watched; the one above it changes when the folder is made.
QString nearestExisting(QString folder)
{
    while (!QFileInfo(folder).isDir())
        folder = QFileInfo(folder).path();
    return folder;
}

} // namespace

VPNPluginWatch::VPNPluginWatch(const QStringList &pluginFolders) : folders(pluginFolders)
{
    connect(&watcher, &QFileSystemWatcher::directoryChanged, this, &VPNPluginWatch::look);
    look();
}

void VPNPluginWatch::look()
{
    for (const QString &folder : folders) {
        // Again while a folder has been made just before the one above it was watched.
        for (QString nearest; nearest != nearestExisting(folder);) {
            nearest = nearestExisting(folder);
            watcher.addPath(nearest);
        }
    }
    const bool found = std::any_of(folders.begin(), folders.end(), holdsPlugin);
    if (std::exchange(present, found) != found)
        Q_EMIT changed();
}

} // namespace velmora
