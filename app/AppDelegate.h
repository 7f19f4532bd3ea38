#pragma once

#include "platform/desktop/StatusItem.h"
#include "ui/Window.h"

#include <QObject>
#include <QPointer>

#include <memory>

namespace velmora {

class Storyboard;

/// The application as a whole: how it starts, comes back, opens its settings and ends.
class AppDelegate final : public QObject
{
    Q_OBJECT

public:
    explicit AppDelegate(std::shared_ptr<Storyboard> storyboard);
    ~AppDelegate() override;

    /// The launch setup; the storyboard's initial window exists and is not shown yet.
    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    /// A click on the status item: restores what is miniaturised; where nothing is, opens a login screen.
    void showNotification(const QString &activationToken = {});
    void SettingsMenuClicked();
    /// Somebody has started the application again: brings its windows to the front. Without any it does what
    /// a click on the status item does.
    void activate(const QString &activationToken);

    StatusItem statusItem;
    // Outlets of the layout; what the delegate needs it asks the application.
    QPointer<Window> window;
    QPointer<Window> mainWindow;

private:
    /// Ends the application when nothing of it is left on screen and nothing is there to bring it back.
    void endIfOutOfReach();

    std::shared_ptr<Storyboard> storyboard;
};

} // namespace velmora
