#pragma once

#include <QAbstractNativeEventFilter>
#include <QDBusConnection>
#include <QIcon>
#include <QObject>

#include <functional>
#include <memory>

class QMenu;
class QSystemTrayIcon;

namespace velmora {

/// The icon in the desktop's status bar: a StatusNotifierItem or, without a host for it, an icon in the X11
/// system tray. A click runs the action. The menu contains the same action and one that quits; GNOME's host
/// shows no icon without a menu.
///
/// Qt looks for a StatusNotifier host only once in a process, at the first QSystemTrayIcon. The session may
/// start the client before its panel, so this class waits for a host before it makes the icon.
class StatusItem final : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    /// `activationToken` is the permission to take the focus that came with the click. It may be empty.
    using Action = std::function<void(const QString &activationToken)>;

    StatusItem();
    ~StatusItem() override;

    /// Must be called before the event loop runs. Without it the icon has no picture, no menu and no action.
    void configureButton(const QIcon &image, Action action);

    /// True if a host shows the icon, so that a click can bring the application back. Blocks for at most a
    /// second.
    bool isShown() const;

private Q_SLOTS:
    void lookForHost();

private:
    bool nativeEventFilter(const QByteArray &type, void *message, qintptr *result) override;
    void makeIcon(bool onBus);
    bool isListedByHost() const;
    void runAction();

    QDBusConnection bus;
    QIcon image;
    Action action;
    std::unique_ptr<QMenu> menu;
    std::unique_ptr<QSystemTrayIcon> icon;
    bool isOnBus = false;
};

} // namespace velmora
