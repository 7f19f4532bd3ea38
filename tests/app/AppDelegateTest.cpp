#include "app/AppDelegate.h"
#include "app/SettingsVC.h"
#include "platform/ProcessInfo.h"
#include "platform/UserDefaults.h"
#include "tests/support/DeathTest.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/StubScreen.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QApplication>
#include <QDateTime>
#include <QDBusConnection>
#include <QFile>
#include <QMenuBar>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// A watcher of status icons on a bus connection of its own, at first without a panel.
class FakeStatusHost final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isHostRegistered)

public:
    FakeStatusHost()
    {
        bus.registerObject(u"/StatusNotifierWatcher"_s, this, QDBusConnection::ExportAllContents);
        bus.registerService(u"org.kde.StatusNotifierWatcher"_s);
    }
    ~FakeStatusHost() override { QDBusConnection::disconnectFromBus(bus.name()); }

    bool isHostRegistered()
    {
        asked = true;
        return hasPanel;
    }
    bool wasAsked()
    {
        return QTest::qWaitFor([this] { return asked; });
    }
    void addPanel()
    {
        hasPanel = true;
        Q_EMIT StatusNotifierHostRegistered();
    }

Q_SIGNALS:
    void StatusNotifierHostRegistered();

private:
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"panel"_s);
    bool hasPanel = false;
    bool asked = false;
};

/// The application with stand-ins for its screens and `windowCount` windows, each with a screen of its own.
struct App
{
    explicit App(int windowCount)
    {
        storyboard->add(screens::login, [this] { return login = Screen::make<StubScreen>(); });
        storyboard->add(screens::home, [this] {
            std::shared_ptr<Screen> screen = Screen::make<StubScreen>();
            home = screen;
            return screen;
        });
        storyboard->add(screens::settings, Screen::make<StubScreen>);
        for (int made = 0; made < windowCount; ++made)
            Window::windowWithContentViewController(Screen::make<StubScreen>())->makeKeyAndOrderFront();
    }
    ~App()
    {
        setCurrentWindow(nullptr);
        qDeleteAll(Window::windows());
    }
    App(const App &) = delete;
    App &operator=(const App &) = delete;

    std::shared_ptr<Storyboard> storyboard = Storyboard::make();
    std::shared_ptr<Screen> login;
    std::weak_ptr<Screen> home;
    AppDelegate delegate{storyboard};
};

} // namespace

class AppDelegateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("XDG_CONFIG_HOME", folder.path().toUtf8()); }
    void init() { ProcessInfo::setOperatingSystemVersion({10, 13, 0}); }

    void onlyTheMinorVersionDecidesOnTheSetup()
    {
        // An empty one is one all the same.
        writeDefaults("token=\n");
        for (const OperatingSystemVersion &version :
             {OperatingSystemVersion{10, 13, 0}, {11, 12, 0}, {9, 14, 0}}) {
            ProcessInfo::setOperatingSystemVersion(version);
            const bool setUp = version.minor >= 13;
            App app(2);
            app.delegate.applicationDidFinishLaunching();
            QCOMPARE(Window::mainWindow()->contentViewController() == app.home.lock(), setUp);
            for (const Window *const window : Window::windows())
                QCOMPARE(window->collectionBehavior(), setUp ? 1U : 0U);

            FakeStatusHost host;
            host.addPanel();
            QSystemTrayIcon *icon = nullptr;
            QTRY_VERIFY((icon = app.delegate.statusItem.findChild<QSystemTrayIcon *>()) != nullptr);
            const QImage picture = icon->icon().pixmap(22).toImage();
            QCOMPARE(picture.pixelColor(11, 11).alpha() > 0, setUp);
            QCOMPARE(icon->contextMenu() != nullptr, setUp);
            Q_EMIT icon->activated(QSystemTrayIcon::Trigger);
            QCOMPARE(Window::windows().size(), setUp ? 3 : 2);
        }
    }

    void theIconComesWithThePanelAndItsMenuOpensAndQuits()
    {
        FakeStatusHost host;
        App app(0);
        app.delegate.applicationDidFinishLaunching();
        QVERIFY(host.wasAsked());
        QVERIFY(app.delegate.statusItem.findChild<QSystemTrayIcon *>() == nullptr);
        host.addPanel();
        QSystemTrayIcon *icon = nullptr;
        QTRY_VERIFY((icon = app.delegate.statusItem.findChild<QSystemTrayIcon *>()) != nullptr);
        const QList<QAction *> entries = icon->contextMenu()->actions();
        QCOMPARE(entries.at(0)->text(), u"Open Velmora"_s);
        entries.at(0)->trigger();
        QCOMPARE(Window::windows().constLast()->contentViewController(), app.login);
        QCOMPARE(entries.at(1)->text(), u"Quit Velmora"_s);
        QTimer::singleShot(0, entries.at(1), &QAction::trigger);
        QTimer::singleShot(5000, entries.at(1), [] { QApplication::exit(1); });
        QCOMPARE(QApplication::exec(), 0);
    }

    void withoutAWindowHomeIsDropped()
    {
        writeDefaults("token=t\n");
        App app(0);
        app.delegate.applicationDidFinishLaunching();
        QVERIFY(app.home.expired());
    }

    void loggingOutEmptiesTheDefaultsAndTheNextStartDoesNotGoHome()
    {
        FakeSecretStore &store = FakeSecretStore::install();
        store.items = {{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
        writeDefaults("token=t\nTOKEN=2\nlist=a, b\n[window]\nsize=1\ndeep\\er=2\n");
        Screen::make<SettingsVC>()->logoutButtonClicked();
        QFile file(UserDefaults::filePath());
        QVERIFY(!file.open(QIODevice::ReadOnly) || file.readAll().trimmed().isEmpty());
        QCOMPARE(store.items.size(), 2);
        App app(1);
        app.delegate.applicationDidFinishLaunching();
        QVERIFY(app.home.expired());
    }

    void aWrongScreenIsFatalAtLaunchAndForSettings()
    {
        writeDefaults("token=t\n");
        const std::shared_ptr<Storyboard> odd = Storyboard::make();
        odd->add({screens::home.name, u"OtherVC"}, Screen::make<StubScreen>);
        // Made before the process is copied: the copy has no thread that serves the bus.
        AppDelegate delegate(odd);
        QVERIFY(runsToItsDeath([&] { delegate.applicationDidFinishLaunching(); }).aborted);
        QVERIFY(runsToItsDeath([&] { delegate.SettingsMenuClicked(); }).aborted);
    }

    void aClickRestoresOrOpensALoginWindow()
    {
        App app(2);
        for (const QList<int> &miniaturized : {QList<int>{0}, QList<int>{0, 1}}) {
            for (const int index : miniaturized)
                Window::windows().at(index)->miniaturize();
            app.delegate.showNotification();
            QCOMPARE(Window::windows().size(), 2);
            for (const Window *const window : Window::windows())
                QVERIFY(!window->isMiniaturized());
            QTRY_COMPARE(QApplication::activeWindow(), Window::windows().at(miniaturized.last()));
        }
        app.delegate.showNotification();
        QCOMPARE(Window::windows().size(), 3);
        QCOMPARE(Window::windows().constLast()->contentViewController(), app.login);
        QTRY_COMPARE(QApplication::activeWindow(), Window::windows().constLast());
    }

    void aSecondStartBringsTheWindowsBack()
    {
        App app(2);
        Window::windows().at(0)->miniaturize();
        app.delegate.activate({});
        QCOMPARE(Window::windows().size(), 2);
        QVERIFY(!Window::windows().at(0)->isMiniaturized());
        qDeleteAll(Window::windows());
        app.delegate.activate({});
        QCOMPARE(Window::windows().size(), 1);
        QCOMPARE(Window::windows().at(0)->contentViewController(), app.login);
    }

    void theMenuOpensTheSettingsAndQuits()
    {
        App app(1);
        const QPointer<Window> current = Window::windows().at(0);
        setCurrentWindow(current);
        QVERIFY(QTest::qWaitForWindowActive(current));
        QTest::keyClick(current, Qt::Key_Comma, Qt::ControlModifier);
        QTRY_VERIFY(current.isNull());
        // The new window is recorded nowhere: the next one stands beside it.
        Window *const settings = Window::windows().at(0);
        QVERIFY(QTest::qWaitForWindowActive(settings));
        QTest::keyClick(settings, Qt::Key_Comma, Qt::ControlModifier);
        QCOMPARE(Window::windows().size(), 2);
        // The bar goes with the title.
        const QPointer<QMenuBar> bar = settings->findChild<QMenuBar *>();
        settings->setStyleMask(settings->styleMask() & ~WindowStyleMaskTitled);
        QVERIFY(bar.isNull());

        Window *const last = Window::windows().at(1);
        QVERIFY(QTest::qWaitForWindowActive(last));
        QTimer::singleShot(0, last, [=] { QTest::keyClick(last, Qt::Key_Q, Qt::ControlModifier); });
        QTimer::singleShot(5000, last, [] { QApplication::exit(1); });
        QCOMPARE(QApplication::exec(), 0);
    }

    void theLastWindowEndsTheApplicationUnlessAnotherOpens()
    {
        for (const bool opensSettings : {false, true}) {
            App app(1);
            Window *const last = Window::windows().at(0);
            setCurrentWindow(last);
            // Runs behind the delegate's own look, which was connected earlier, and only where that one did
            // not quit.
            QTimer after;
            after.callOnTimeout([] { QApplication::exit(1); });
            connect(qApp, &QApplication::lastWindowClosed, &after, qOverload<>(&QTimer::start),
                    Qt::QueuedConnection);
            if (opensSettings)
                QTimer::singleShot(0, last, [&app] { app.delegate.SettingsMenuClicked(); });
            else
                QTimer::singleShot(0, last, &QWidget::close);
            QCOMPARE(QApplication::exec(), opensSettings ? 1 : 0);
        }
    }

private:
    static void writeDefaults(const QByteArray &content)
    {
        QFile file(UserDefaults::filePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.flush();
        // QSettings does not read again what has the size and the time that it had.
        static int written = 0;
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(++written),
                                 QFileDevice::FileModificationTime));
    }

    QTemporaryDir folder;
};

QTEST_MAIN(AppDelegateTest)
#include "AppDelegateTest.moc"
