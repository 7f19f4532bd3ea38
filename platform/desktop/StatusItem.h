#pragma once

#include <QDBusConnection>
#include <QIcon>
#include <QObject>

#include <functional>
#include <memory>

class QMenu;
class QSystemTrayIcon;

namespace velmora {

class SystemTrayWatch;

/// The icon in the desktop's status bar: a StatusNotifierItem or, where no host of those runs, an icon in the
/// X11 system tray. A click runs the action. The menu offers the same action and the way to quit; GNOME's
/// host shows no icon without a menu.
///
/// Qt asks once in a process, when the first QSystemTrayIcon is made, whether a StatusNotifier host runs. The
/// session may start the client before its panel, so this class makes the icon only once a host runs.
class StatusItem final : public QObject
{
    Q_OBJECT

public:
    /// `activationToken` is the permission to take the focus that came with the click; empty without one.
    using Action = std::function<void(const QString &activationToken)>;

    StatusItem();
    ~StatusItem() override;

    /// Takes effect when it is called before the event loop runs. Without it the icon has no picture, no menu
    /// and no action.
    void configureButton(const QIcon &image, Action action);

    /// Whether a host shows the icon, so that a click can bring the application back. Asks the host, for at
    /// most a second.
    bool isShown() const;

private Q_SLOTS:
    void lookForHost();

private:
    void makeIcon(bool onBus);
    bool isListedByHost() const;
    void runAction();

    QDBusConnection bus;
    QIcon image;
    Action action;
    std::unique_ptr<SystemTrayWatch> systemTray;
    std::unique_ptr<QMenu> menu;
    std::unique_ptr<QSystemTrayIcon> icon;
    bool isOnBus = false;
};

} // namespace velmora
