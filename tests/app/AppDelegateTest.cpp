#include "app/AppDelegate.h"
#include "app/SettingsVC.h"
#include "platform/ProcessInfo.h"
#include "platform/UserDefaults.h"
#include "tests/support/DeathTest.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/StubScreen.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

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
        }
    }

    void loggingOutEmptiesTheDefaultsAndTheNextStartDoesNotGoHome()
    {
        FakeSecretStore &store = FakeSecretStore::install();
        store.items = {{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
        writeDefaults("token=t\nTOKEN=2\nlist=a, b\n\\x=1\na\\\\b=2\n[window]\nsize=1\ndeep\\er=2\n");
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

    void aClickAndASecondStartBringWindowsBackOrOpenALoginWindow()
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
        app.delegate.activate({});
        QCOMPARE(Window::windows().size(), 2);
        app.delegate.showNotification();
        QCOMPARE(Window::windows().size(), 3);
        QCOMPARE(Window::windows().constLast()->contentViewController(), app.login);
        QTRY_COMPARE(QApplication::activeWindow(), Window::windows().constLast());
        qDeleteAll(Window::windows());
        app.delegate.activate({});
        QCOMPARE(Window::windows().size(), 1);
    }

    void theSettingsReplaceTheCurrentWindowOnlyOnce()
    {
        App app(1);
        const QPointer<Window> current = Window::windows().at(0);
        setCurrentWindow(current);
        QVERIFY(QTest::qWaitForWindowActive(current));
        QTest::keyClick(current, Qt::Key_Comma, Qt::ControlModifier);
        QTRY_VERIFY(current.isNull());
        // No one records the new window as the current one.
        app.delegate.SettingsMenuClicked();
        QCOMPARE(Window::windows().size(), 2);
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
