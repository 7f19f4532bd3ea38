#include "app/AppDelegate.h"

#include "platform/Configuration.h"
#include "platform/Log.h"
#include "platform/ProcessInfo.h"
#include "platform/UserDefaults.h"
#include "resources/Pictures.h"
#include "ui/Alert.h"
#include "ui/Labels.h"
#include "ui/Screen.h"
#include "ui/Storyboard.h"

#include <QBoxLayout>
#include <QMenuBar>

#include <algorithm>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

void showAbout(QWidget *window)
{
    auto *const about =
        new MessageDialog(window, u"Velmora"_s, u"Version %1"_s.arg(configuration::version()), u"Close"_s);
    about->setAttribute(Qt::WA_DeleteOnClose);
    about->setWindowTitle(u"About Velmora"_s);
    auto *const mark = new IconView(about);
    mark->setImageNamed(u"velmora"_s);
    mark->setProperty("coloured", true);
    static_cast<QBoxLayout *>(about->layout())->insertWidget(0, mark, 0, Qt::AlignLeft);
    about->open();
}

/// The application's menu bar for one window.
QMenuBar *makeAppMenu(QWidget *window, const std::function<void()> &openSettings)
{
    auto *const bar = new QMenuBar(window);
    QMenu *const menu = bar->addMenu(u"&Velmora"_s);

    QAction *const settings = menu->addAction(u"&Settings…"_s);
    settings->setMenuRole(QAction::PreferencesRole);
    settings->setShortcut(Qt::CTRL | Qt::Key_Comma);
    QObject::connect(settings, &QAction::triggered, bar, openSettings);

    QAction *const about = menu->addAction(u"&About Velmora"_s);
    about->setMenuRole(QAction::AboutRole);
    QObject::connect(about, &QAction::triggered, window, [window] { showAbout(window); });

    menu->addSeparator();
    QAction *const quit = menu->addAction(u"&Quit"_s);
    quit->setMenuRole(QAction::QuitRole);
    quit->setShortcut(Qt::CTRL | Qt::Key_Q);
    QObject::connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    return bar;
}

} // namespace

AppDelegate::AppDelegate(std::shared_ptr<Storyboard> mainStoryboard) : storyboard(std::move(mainStoryboard))
{
    // Qt would quit with the last window, even if the status item can open another one.
    QApplication::setQuitOnLastWindowClosed(false);
    // Queued, because the handler that closes the last window may open another one.
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
    // The minor number alone decides.
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
    QList<Window *> windows = Window::windows();
    windows.removeIf([](const Window *each) { return !each->isMiniaturized(); });
    bringToFront(windows, activationToken);
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
    bringToFront(Window::windows(), activationToken);
}

void AppDelegate::bringToFront(const QList<Window *> &windows, const QString &activationToken)
{
    for (Window *const each : windows) {
        if (each->isMiniaturized())
            each->deminiaturize();
        each->makeKeyAndOrderFront();
    }
    if (windows.isEmpty()) {
        const std::shared_ptr<Screen> login = storyboard->instantiate(screens::login);
        if (!login)
            return;
        Window::windowWithContentViewController(login)->makeKeyAndOrderFront();
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
