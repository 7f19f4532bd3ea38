#pragma once

#include "platform/desktop/StatusItem.h"
#include "ui/Window.h"

#include <QApplication>
#include <QPointer>

#include <memory>

namespace velmora {

class Storyboard;

/// The application object.
class VelmoraApp final : public QApplication
{
    Q_OBJECT

public:
    using QApplication::QApplication;
};

/// Sets up the application at the launch, brings it to the front, opens its settings and ends it.
class AppDelegate final : public QObject
{
    Q_OBJECT

public:
    explicit AppDelegate(std::shared_ptr<Storyboard> storyboard);
    ~AppDelegate() override;

    /// Does the setup at the launch. The first window exists and is hidden.
    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    /// The action of the status item: restores the miniaturised windows, or opens a login window if there are
    /// none.
    void showNotification(const QString &activationToken = {});
    void SettingsMenuClicked();
    /// The action of a second start: brings all windows to the front, or opens a login window if there are
    /// none.
    void activate(const QString &activationToken);

    StatusItem statusItem;
    // Outlets that nothing connects or reads.
    QPointer<Window> window;
    QPointer<Window> mainWindow;

private:
    /// Restores and activates these windows. Opens a login window if there are none.
    void bringToFront(const QList<Window *> &windows, const QString &activationToken);
    /// Quits if no window is left and no status icon can open one.
    void endIfOutOfReach();

    std::shared_ptr<Storyboard> storyboard;
};

} // namespace velmora
