#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QStringList>

namespace velmora {

/// Whether NetworkManager has the plugin for this client's kind of VPN: a description file in one of its
/// folders, which it watches itself.
class VPNPluginWatch final : public QObject
{
    Q_OBJECT

public:
    explicit VPNPluginWatch(const QStringList &pluginFolders);

    bool isPresent() const { return present; }

Q_SIGNALS:
    void changed();

private:
    void look();

    const QStringList folders;
    QFileSystemWatcher watcher;
    bool present = false;
};

} // namespace velmora
