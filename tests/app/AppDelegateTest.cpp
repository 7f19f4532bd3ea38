#include "app/AppDelegate.h"
#include "app/LateNetwork.h"
#include "app/SettingsVC.h"
#include "platform/HttpSession.h"
#include "platform/LateVPNManager.h"
#include "platform/ProcessInfo.h"
#include "platform/UserDefaults.h"
#include "tests/support/DeathTest.h"
#include "tests/support/FakeStatusHost.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/StubScreen.h"
#include "ui/CurrentWindow.h"
#include "ui/Storyboard.h"

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QMenuBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// The application with stand-ins for its screens and `windowCount` windows that show the login screen.
struct App
{
    explicit App(int windowCount, const QString &homeClass = u"HomeVC"_s, bool hasSettings = true)
    {
        storyboard->add(u"LoginVC"_s, u"ViewController"_s,
                        [this] { return login = Screen::make<StubScreen>(); });
        storyboard->add(u"HomeVC"_s, homeClass, [this] {
            std::shared_ptr<Screen> screen = Screen::make<StubScreen>();
            home = screen;
            ++homes;
            return screen;
        });
        if (hasSettings)
            storyboard->add(u"SettingsVC"_s, u"SettingsVC"_s, Screen::make<StubScreen>);
        delegate = std::make_unique<AppDelegate>(storyboard);
        for (int made = 0; made < windowCount; ++made)
            Window::windowWithContentViewController(Screen::make<StubScreen>());
    }
    ~App()
    {
        setCurrentWindow(nullptr);
        qDeleteAll(Window::windows());
    }
    App(const App &) = delete;
    App &operator=(const App &) = delete;

    static void showAll()
    {
        for (Window *const window : Window::windows())
            window->makeKeyAndOrderFront();
    }

    std::shared_ptr<Storyboard> storyboard = Storyboard::make();
    std::shared_ptr<Screen> login;
    std::weak_ptr<Screen> home;
    int homes = 0;
    std::unique_ptr<AppDelegate> delegate;
};

/// Notes that the application was told to end.
class QuitSpy : public QObject
{
public:
    QuitSpy() { qApp->installEventFilter(this); }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        wasAsked = wasAsked || (watched == qApp && event->type() == QEvent::Quit);
        return false;
    }

    bool wasAsked = false;
};

} // namespace

class AppDelegateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        qputenv("XDG_CONFIG_HOME", folder.path().toUtf8());
    }

    void init()
    {
        ProcessInfo::setOperatingSystemVersion({10, 13, 0});
        QFile::remove(UserDefaults::filePath());
    }

    void onlyTheMinorVersionDecidesOnTheSetup_data()
    {
        QTest::addColumn<int>("major");
        QTest::addColumn<int>("minor");
        QTest::addColumn<bool>("setUp");
        QTest::newRow("what this port provides") << 10 << 13 << true;
        QTest::newRow("one below") << 10 << 12 << false;
        QTest::newRow("newer major, lower minor") << 11 << 7 << false;
        QTest::newRow("still one below") << 12 << 6 << false;
        QTest::newRow("older major, higher minor") << 9 << 14 << true;
    }

    void onlyTheMinorVersionDecidesOnTheSetup()
    {
        QFETCH(int, major);
        QFETCH(int, minor);
        QFETCH(bool, setUp);
        ProcessInfo::setOperatingSystemVersion({major, minor, 0});
        writeDefaults("token=t\n");
        App app(2);
        app.delegate->applicationDidFinishLaunching();
        QCOMPARE(app.delegate->statusItem.imageName(), setUp ? u"icon"_s : QString());
        QCOMPARE(app.delegate->statusItem.hasAction(), setUp);
        QCOMPARE(app.homes, setUp ? 1 : 0);
        for (const Window *const window : Window::windows())
            QCOMPARE(window->collectionBehavior(), setUp ? 1U : 0U);
        // What opens later is left alone.
        app.delegate->showNotification();
        QCOMPARE(Window::windows().constLast()->collectionBehavior(), 0U);
    }

    void aTokenInTheDefaultsLeadsHome_data()
    {
        QTest::addColumn<QByteArray>("defaults");
        QTest::addColumn<int>("windows");
        QTest::addColumn<int>("homesMade");
        QTest::addColumn<bool>("homeShown");
        QTest::newRow("none") << QByteArray("other=1\n") << 1 << 0 << false;
        QTest::newRow("a text") << QByteArray("token=t\n") << 1 << 1 << true;
        QTest::newRow("an empty text") << QByteArray("token=\n") << 1 << 1 << true;
        QTest::newRow("in a group of that name") << QByteArray("[token]\nx=1\n") << 1 << 0 << false;
        QTest::newRow("no main window: made and dropped") << QByteArray("token=t\n") << 0 << 1 << false;
    }

    void aTokenInTheDefaultsLeadsHome()
    {
        QFETCH(QByteArray, defaults);
        QFETCH(int, windows);
        QFETCH(int, homesMade);
        QFETCH(bool, homeShown);
        writeDefaults(defaults);
        App app(windows);
        app.delegate->applicationDidFinishLaunching();
        QCOMPARE(app.homes, homesMade);
        const std::shared_ptr<Screen> home = app.home.lock();
        QCOMPARE(home != nullptr, homeShown);
        if (homeShown)
            QCOMPARE(Window::windows().constFirst()->contentViewController(), home);
    }

    void aStartAfterLoggingOutComesToTheLoginScreen()
    {
        writeDefaults("token=t\n");
        Screen::make<SettingsVC>()->logoutButtonClicked();
        const App app(1);
        app.delegate->applicationDidFinishLaunching();
        QCOMPARE(app.homes, 0);
    }

    void aWrongScreenIsFatalAtLaunchAndForSettings()
    {
        writeDefaults("token=t\n");
        // Made before the process is copied: the copy has no thread that serves the bus.
        const App launch(1, u"OtherVC"_s);
        QVERIFY(runsToItsDeath([&] { launch.delegate->applicationDidFinishLaunching(); }).aborted);
        const App settings(1, u"HomeVC"_s, false);
        QVERIFY(runsToItsDeath([&] { settings.delegate->SettingsMenuClicked(); }).aborted);
    }

    void aClickRestoresOrOpensALoginWindow_data()
    {
        QTest::addColumn<int>("windows");
        QTest::addColumn<QList<int>>("miniaturized");
        QTest::addColumn<int>("windowsAfter");
        QTest::newRow("no window") << 0 << QList<int>{} << 1;
        QTest::newRow("all visible") << 2 << QList<int>{} << 3;
        QTest::newRow("one of two miniaturised") << 2 << QList<int>{0} << 2;
        QTest::newRow("both miniaturised") << 2 << QList<int>{0, 1} << 2;
    }

    void aClickRestoresOrOpensALoginWindow()
    {
        QFETCH(int, windows);
        QFETCH(QList<int>, miniaturized);
        QFETCH(int, windowsAfter);
        App app(windows);
        App::showAll();
        for (const int index : std::as_const(miniaturized))
            Window::windows().at(index)->miniaturize();
        app.delegate->showNotification();
        QCOMPARE(Window::windows().size(), windowsAfter);
        for (const Window *const window : Window::windows()) {
            QVERIFY(window->isVisible());
            QVERIFY(!window->isMiniaturized());
        }
        const Window *const expectedKey = miniaturized.isEmpty() ? Window::windows().constLast()
                                                                 : Window::windows().at(miniaturized.last());
        QTRY_COMPARE(QApplication::activeWindow(), expectedKey);
        QCOMPARE(Window::windows().constLast()->contentViewController() == app.login, miniaturized.isEmpty());
    }

    void aSecondStartBringsTheWindowsBack()
    {
        App app(2);
        App::showAll();
        Window::windows().at(0)->miniaturize();
        app.delegate->activate({});
        QCOMPARE(Window::windows().size(), 2);
        QVERIFY(!Window::windows().at(0)->isMiniaturized());
        QVERIFY(app.login == nullptr);
        qDeleteAll(Window::windows());
        app.delegate->activate({});
        QCOMPARE(Window::windows().size(), 1);
        QCOMPARE(Window::windows().at(0)->contentViewController(), app.login);
    }

    void settingsTakeThePlaceOfTheCurrentWindow()
    {
        App app(2);
        App::showAll();
        const QPointer<Window> current = Window::windows().at(0);
        setCurrentWindow(current);
        app.delegate->SettingsMenuClicked();
        QCOMPARE(Window::windows().size(), 2);
        QVERIFY(!Window::windows().contains(current.data()));
        QTRY_VERIFY(current.isNull());
        // The new window is recorded nowhere: the next one stands beside it.
        QVERIFY(currentWindow() == nullptr);
        app.delegate->SettingsMenuClicked();
        QCOMPARE(Window::windows().size(), 3);
    }

    void titledWindowsCarryTheMenu()
    {
        App app(2);
        Window *const window = Window::windows().at(0);
        Window *const untitled = Window::windows().at(1);
        untitled->setStyleMask(untitled->styleMask() & ~WindowStyleMaskTitled);
        App::showAll();
        QVERIFY(untitled->findChild<QMenuBar *>() == nullptr);
        window->makeKeyAndOrderFront();
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window, Qt::Key_Comma, Qt::ControlModifier);
        QCOMPARE(Window::windows().size(), 3);
        // The bar goes with the title.
        const QPointer<QMenuBar> bar = window->findChild<QMenuBar *>();
        QVERIFY(bar != nullptr);
        window->setStyleMask(window->styleMask() & ~WindowStyleMaskTitled);
        QVERIFY(bar.isNull());

        QuitSpy spy;
        Window *const settings = Window::windows().at(2);
        settings->makeKeyAndOrderFront();
        QVERIFY(QTest::qWaitForWindowActive(settings));
        QMetaObject::invokeMethod(
            this, [=] { QTest::keyClick(settings, Qt::Key_Q, Qt::ControlModifier); }, Qt::QueuedConnection);
        QTimer bound;
        bound.callOnTimeout([] { QApplication::exit(1); });
        bound.start(5000);
        QCOMPARE(QApplication::exec(), 0);
        QVERIFY(spy.wasAsked);
    }

    void theLastWindowEndsWhatNothingBringsBack_data()
    {
        QTest::addColumn<bool>("hasHost");
        QTest::addColumn<bool>("opensSettings");
        QTest::addColumn<bool>("ends");
        QTest::newRow("no status host") << false << false << true;
        QTest::newRow("status host") << true << false << false;
        QTest::newRow("closed for the settings") << false << true << false;
    }

    void theLastWindowEndsWhatNothingBringsBack()
    {
        QFETCH(bool, hasHost);
        QFETCH(bool, opensSettings);
        QFETCH(bool, ends);
        FakeStatusHost host;
        if (hasHost)
            host.start();
        App app(1);
        QTRY_COMPARE(app.delegate->statusItem.hasHost(), hasHost);
        App::showAll();
        setCurrentWindow(Window::windows().at(0));
        QuitSpy spy;
        // Runs behind the delegate's own look, which was connected earlier.
        connect(
            qApp, &QApplication::lastWindowClosed, this, [] { QApplication::exit(); }, Qt::QueuedConnection);
        QMetaObject::invokeMethod(
            this,
            [&] {
                if (opensSettings)
                    app.delegate->SettingsMenuClicked();
                else
                    Window::windows().at(0)->close();
            },
            Qt::QueuedConnection);
        QApplication::exec();
        disconnect(qApp, nullptr, this, nullptr);
        QCOMPARE(spy.wasAsked, ends);
    }

    void theFirstPaintLetsRequestsOut()
    {
        ScriptedServer server;
        server.answer("one");
        server.answer("two");
        const LateNetwork network;
        QByteArrayList bodies;
        for (int sent = 0; sent < 2; ++sent)
            HttpSession::shared().send({"GET", server.baseUrl(), {}, std::nullopt},
                                       [&bodies](const QByteArray &body) { bodies << body; });
        // An exchange on loopback that has nothing to wait for takes fewer turns of the event loop.
        for (int turn = 0; turn < 20; ++turn)
            QCoreApplication::processEvents();
        QCOMPARE(server.connections, 0);
        App app(1);
        App::showAll();
        QTRY_COMPARE(bodies, QByteArrayList({"one", "two"}));
    }

    void whatIsAskedOfALateManagerIsDoneInOrder()
    {
        LateVPNManager late;
        const QSignalSpy posted(&late, &VPNManager::statusDidChange);
        OutputCapture capture;
        int ended = 0;
        VPNProtocolIPSec protocol;
        protocol.serverAddress = u"198.51.100.1"_s;
        late.setProtocolConfiguration(protocol);
        late.setEnabled(true);
        late.saveToPreferences([&ended](const std::optional<PlatformError> &) { ++ended; });
        late.loadFromPreferences([&ended](const std::optional<PlatformError> &) { ++ended; });
        late.startVPNTunnel([&ended](const VPNStartOutcome &) { ++ended; });
        late.stopVPNTunnel();
        QCOMPARE(late.status(), VPNStatus::Invalid);
        QVERIFY(!late.isEnabled());
        QCOMPARE(capture.lines(), QStringList());

        auto owned = std::make_unique<FakeVPNManager>();
        FakeVPNManager &real = *owned;
        late.setManager(std::move(owned));
        QCOMPARE(capture.lines(), QStringList({u"vpn save"_s, u"vpn load"_s, u"vpn start"_s, u"vpn stop"_s}));
        QCOMPARE(real.saved, QList<VPNProtocolIPSec>{protocol});
        QVERIFY(late.isEnabled());
        QTRY_COMPARE(ended, 3);
        real.post(VPNStatus::Connected);
        QCOMPARE(posted.count(), 1);
        QCOMPARE(late.status(), VPNStatus::Connected);
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
