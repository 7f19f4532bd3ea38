#include "app/AppDelegate.h"

#include "app/AppMenu.h"
#include "platform/Log.h"
#include "platform/ProcessInfo.h"
#include "platform/UserDefaults.h"
#include "resources/Pictures.h"
#include "ui/Screen.h"
#include "ui/Storyboard.h"

#include <QApplication>

#include <algorithm>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

AppDelegate::AppDelegate(std::shared_ptr<Storyboard> mainStoryboard) : storyboard(std::move(mainStoryboard))
{
    // Qt would end with the last window, status item or not.
    QApplication::setQuitOnLastWindowClosed(false);
    // After the event that closed it: what closes one window may open another one.
    connect(qApp, &QApplication::lastWindowClosed, this, &AppDelegate::endIfOutOfReach, Qt::QueuedConnection);
    connect(qApp, &QApplication::aboutToQuit, this, &AppDelegate::applicationWillTerminate);
    Window::setMenuBarMaker(
        [this](QWidget *menuWindow) { return makeAppMenu(menuWindow, [this] { SettingsMenuClicked(); }); });
}

AppDelegate::~AppDelegate()
{
    Window::setMenuBarMaker({});
}

void AppDelegate::applicationDidFinishLaunching()
{
    // The minor number alone, whatever the major one is.
    if (ProcessInfo::operatingSystemVersion().minor < 13)
        return;
    statusItem.configureButton(pictures::colouredIcon(u"icon"_s),
                               [this](const QString &activationToken) { showNotification(activationToken); });
    if (UserDefaults::standardUserDefaults().valueForKey(u"token"_s).isValid()) {
        const std::shared_ptr<Screen> home = storyboard->instantiate(screens::home);
        if (!home)
            fatalError(u"The storyboard has no home screen"_s);
        if (Window *const main = Window::mainWindow())
            main->setContentViewController(home);
    }
    const QList<Window *> windows = Window::windows();
    for (Window *const each : windows)
        each->setCollectionBehavior(WindowCollectionBehaviorCanJoinAllSpaces);
}

void AppDelegate::applicationWillTerminate() {}

void AppDelegate::showNotification(const QString &activationToken)
{
    bool restored = false;
    const QList<Window *> windows = Window::windows();
    for (Window *const each : windows) {
        if (!each->isMiniaturized())
            continue;
        each->deminiaturize();
        each->makeKeyAndOrderFront();
        restored = true;
    }
    if (!restored) {
        const std::shared_ptr<Screen> login = storyboard->instantiate(screens::login);
        if (!login)
            return;
        Window::windowWithContentViewController(login)->makeKeyAndOrderFront();
    }
    Window::activateIgnoringOtherApps(activationToken);
}

void AppDelegate::SettingsMenuClicked()
{
    if (Window *const current = currentWindow())
        current->close();
    const std::shared_ptr<Screen> settings = storyboard->instantiate(screens::settings);
    if (!settings)
        fatalError(u"The storyboard has no settings screen"_s);
    Window::windowWithContentViewController(settings)->makeKeyAndOrderFront();
}

void AppDelegate::activate(const QString &activationToken)
{
    const QList<Window *> windows = Window::windows();
    if (windows.isEmpty()) {
        showNotification(activationToken);
        return;
    }
    for (Window *const each : windows) {
        if (each->isMiniaturized())
            each->deminiaturize();
        each->makeKeyAndOrderFront();
    }
    Window::activateIgnoringOtherApps(activationToken);
}

void AppDelegate::endIfOutOfReach()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    const bool anyVisible = std::any_of(widgets.begin(), widgets.end(), [](const QWidget *widget) {
        return widget->isVisible() && !widget->windowFlags().testFlag(Qt::ToolTip);
    });
    if (!anyVisible && !statusItem.isShown())
        QApplication::quit();
}

} // namespace velmora
