#pragma once

#include "platform/desktop/StatusItem.h"
#include "ui/Window.h"

#include <QApplication>
#include <QPointer>

#include <memory>

namespace velmora {

class Storyboard;

/// The application object. It adds nothing to the inherited one.
class VelmoraApp final : public QApplication
{
    Q_OBJECT

public:
    using QApplication::QApplication;
};

/// Starts the application, brings it back, opens its settings and ends it.
class AppDelegate final : public QObject
{
    Q_OBJECT

public:
    explicit AppDelegate(std::shared_ptr<Storyboard> storyboard);
    ~AppDelegate() override;

    /// Does the launch setup. The storyboard's initial window exists and is not shown yet.
    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    /// The action of the status item: restores the miniaturised windows or, without any, opens a login
    /// window.
    void showNotification(const QString &activationToken = {});
    void SettingsMenuClicked();
    /// Answers a second start: brings the windows to the front or, without any, does as the status item's
    /// action.
    void activate(const QString &activationToken);

    StatusItem statusItem;
    // Declared outlets of the layout; the delegate asks the application for its windows.
    QPointer<Window> window;
    QPointer<Window> mainWindow;

private:
    /// Ends the application when no window is left and no status icon can bring one back.
    void endIfOutOfReach();

    std::shared_ptr<Storyboard> storyboard;
};

} // namespace velmora
