#include "app/AppDelegate.h"
#include "app/MainStoryboard.h"
#include "app/MissingParts.h"
#include "app/SettingsVC.h"
#include "notices/Notices.h"
#include "platform/ProcessInfo.h"
#include "platform/UserDefaults.h"
#include "tests/support/DeathTest.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "ui/NoticeStrip.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// The window that this button opens.
Window *press(const Window *window, const QString &button)
{
    window->findChild<QAbstractButton *>(button)->click();
    return Window::windows().constLast();
}

} // namespace

/// The application and its windows, the notices among them.
class AppDelegateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("XDG_CONFIG_HOME", folder.path().toUtf8()); }
    void init()
    {
        ProcessInfo::setOperatingSystemVersion({10, 13, 0});
        delegate = std::make_unique<AppDelegate>(storyboard);
        for (int made = 0; made < 2; ++made)
            Window::windowWithContentViewController(Screen::make<FutureVC>())->makeKeyAndOrderFront();
    }
    void cleanup() { qDeleteAll(Window::windows()); }

    void onlyTheMinorVersionDecidesOnTheSetup()
    {
        // An empty one is one all the same.
        writeDefaults("token=\n");
        for (const OperatingSystemVersion &version :
             {OperatingSystemVersion{11, 12, 0}, {10, 13, 0}, {9, 14, 0}}) {
            ProcessInfo::setOperatingSystemVersion(version);
            const bool setUp = version.minor >= 13;
            delegate->applicationDidFinishLaunching();
            QCOMPARE(Window::mainWindow()->findChild<QWidget *>(u"connectButton"_s) != nullptr, setUp);
            for (const Window *const window : Window::windows())
                QCOMPARE(window->collectionBehavior(), setUp ? 1U : 0U);
        }
    }

    void loggingOutEmptiesTheDefaultsAndTheNextStartDoesNotGoHome()
    {
        store.items = {{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
        writeDefaults("token=t\nTOKEN=2\nlist=a, b\n\\x=1\na\\\\b=2\n[window]\nsize=1\ndeep\\er=2\n");
        Screen::make<SettingsVC>()->logoutButtonClicked();
        QFile file(UserDefaults::filePath());
        QVERIFY(!file.open(QIODevice::ReadOnly) || file.readAll().trimmed().isEmpty());
        QCOMPARE(std::exchange(store.items, {}).size(), 2);
        delegate->applicationDidFinishLaunching();
        QVERIFY(Window::mainWindow()->findChild<QWidget *>(u"connectButton"_s) == nullptr);
    }

    void aClickAndASecondStartBringWindowsBackOrOpenALoginWindow()
    {
        const QList<Window *> windows = Window::windows();
        windows.first()->miniaturize();
        delegate->showNotification();
        QVERIFY(!windows.first()->isMiniaturized());
        QTRY_COMPARE(QApplication::activeWindow(), windows.first());
        delegate->activate({});
        QTRY_COMPARE(QApplication::activeWindow(), windows.last());
        delegate->showNotification();
        QCOMPARE(Window::windows().size(), 3);
        QVERIFY(Window::windows().constLast()->findChild<QWidget *>(u"loginButton"_s)->isVisible());
    }

    void theSettingsReplaceTheCurrentWindowOnceAndTheLastWindowEndsTheApplication()
    {
        delete Window::windows().constFirst();
        const QPointer<Window> current = Window::windows().constFirst();
        setCurrentWindow(current);
        QTimer::singleShot(0, this, [this] {
            delegate->SettingsMenuClicked();
            // Behind the delegate's own look for windows, which must not end the application.
            QTimer::singleShot(0, this, [this] {
                // No one records the new window as the current one.
                delegate->SettingsMenuClicked();
                QCOMPARE(Window::windows().size(), 2);
                QApplication::closeAllWindows();
            });
        });
        QApplication::exec();
        QVERIFY(current.isNull() && Window::windows().isEmpty());
    }

    void aPartIsReportedOnceItStaysAwayAndUntilItIsBack()
    {
        QWidget screen;
        const NoticeStrip &strip = *new NoticeStrip(&screen);
        vpn.lack({MissingPart::VPNPlugin});
        const MissingParts parts(store, vpn);
        store.lack({MissingPart::UnlockedKeyring});
        QVERIFY(strip.isHidden());
        QTRY_COMPARE(strip.findChildren<QLabel *>().size(), 2);
        // A daemon that is restarted was not missing.
        vpn.lack({MissingPart::NetworkManager});
        QCOMPARE(strip.findChildren<QLabel *>().size(), 1);
        vpn.lack({});
        store.lack({});
        QVERIFY(strip.isHidden());
    }

    void aNoticeStandsAtTheTopRightAboveItsHomeAndOpensALoginWindow()
    {
        // A panel at the left pulls it left.
        QCOMPARE(noticePosition({1920, 200, 1440, 900}, {1984, 230, 1376, 830}, {300, 200}),
                 QPoint(2996, 230));
        Window *const home = Window::windows().constLast();
        home->setContentViewController(storyboard->instantiate(screens::home));
        for (const auto &[opener, modality, primary] :
             {std::tuple(u"button2"_s, Qt::ApplicationModal, u"closeButton"_s),
              {u"button3"_s, Qt::ApplicationModal, u"updateButton"_s},
              {u"recentButton"_s, Qt::NonModal, u"openButton"_s}}) {
            Window *const notice = press(home, opener);
            // One of those that can be left open is enough: a second press brings it to the front.
            if (modality == Qt::NonModal)
                QCOMPARE(press(home, opener), notice);
            // The update of the first one does nothing.
            if (opener == u"button2")
                press(notice, u"updateButton"_s);
            QCOMPARE(Window::windows().size(), 3);
            QCOMPARE(notice->windowModality(), modality);
            // A window manager learns of the parent of a dialog only, and keeps the dialog above it.
            QCOMPARE(notice->windowHandle()->transientParent(), home->windowHandle());
            QCOMPARE(notice->windowType(), Qt::Dialog);
            QVERIFY(notice->windowFlags().testFlag(Qt::FramelessWindowHint));
            QCOMPARE(notice->minimumSize(), notice->maximumSize());
            QCOMPARE(notice->geometry().topRight(), notice->screen()->availableGeometry().topRight());
            QCOMPARE(notice->focusWidget()->objectName(), primary);
            QVERIFY(qobject_cast<QPushButton *>(notice->focusWidget())->isDefault());
            QVERIFY(QTest::qWaitForWindowActive(notice));
            QTest::keyClick(notice, Qt::Key_Escape);
            QCOMPARE(Window::windows().size(), 2);
        }
        setCurrentWindow(home);
        const Window *const login = press(press(home, u"recentButton"_s), u"openButton"_s);
        QCOMPARE(Window::windows().size(), 2);
        QVERIFY(login->findChild<QWidget *>(u"loginButton"_s)->isVisible() && currentWindow() == login);
    }

    void exitingRunsNothingElse()
    {
        const Death death = runsToItsDeath([] {
            std::atexit([] { _exit(1); });
            Screen::make<Notification3VC>()->exitButtonClicked();
        });
        QCOMPARE(death.exitStatus, 0);
    }

private:
    static void writeDefaults(const QByteArray &content)
    {
        // QSettings does not read again what has the size and the time that it had.
        QFile file(UserDefaults::filePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QTemporaryDir folder;
    FakeSecretStore &store = FakeSecretStore::install();
    FakeVPNManager &vpn = FakeVPNManager::install();
    std::shared_ptr<Storyboard> storyboard = makeMainStoryboard();
    std::unique_ptr<AppDelegate> delegate;
};

QTEST_MAIN(AppDelegateTest)
#include "AppDelegateTest.moc"
