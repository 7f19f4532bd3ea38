#pragma once

#include "platform/desktop/StatusNotifierItem.h"

#include <QObject>

#include <functional>
#include <memory>

class QSystemTrayIcon;

namespace velmora {

/// The icon in the status bar, by whatever the desktop has for it: StatusNotifierItem, or, while no host of
/// that is there, the X11 system tray. Without image and action it only takes its place.
class StatusItem : public QObject
{
    Q_OBJECT

public:
    /// What a click runs, with the permission to take the focus that came with it; empty where none did.
    using Action = std::function<void(const QString &activationToken)>;

    StatusItem();
    ~StatusItem() override;

    void setImageNamed(const QString &name);
    void setAction(Action action);

    QString imageName() const { return image; }
    bool hasAction() const { return action != nullptr; }
    /// Whether the desktop shows the icon somewhere, so that the user can come back through it.
    bool hasHost() const;

private:
    /// Has the X11 system tray take over, or give back.
    void followHost();
    void runAction(const QString &activationToken) const;

    QString image;
    Action action;
    StatusNotifierItem item;
    std::unique_ptr<QSystemTrayIcon> trayIcon;
};

} // namespace velmora
