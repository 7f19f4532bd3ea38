#include "notices/NoticePlacement.h"
#include "notices/Notification1VC.h"
#include "notices/Notification2VC.h"
#include "notices/Notification3VC.h"
#include "servers/HomeScreen.h"
#include "servers/RecentTV.h"
#include "tests/support/DeathTest.h"
#include "tests/support/StubScreen.h"
#include "ui/CurrentWindow.h"
#include "ui/Storyboard.h"
#include "ui/TableCellView.h"
#include "ui/Window.h"

#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <QTest>

#include <cstdio>
#include <cstdlib>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

class FakeHome final : public HomeScreen
{
public:
    static std::shared_ptr<FakeHome> makeCurrent()
    {
        auto home = std::make_shared<FakeHome>();
        setCurrent(home);
        return home;
    }
    void servicesReply(const std::optional<QList<Service>> &) override {}
    void showInstallModal() override { ++installs; }

    int installs = 0;
};

/// A notice in its window.
struct Notice
{
    template<class T>
    static Notice of(const std::shared_ptr<Storyboard> &storyboard = Storyboard::make())
    {
        storyboard->add(u"Notice"_s, u"Notice"_s, Screen::make<T>);
        Notice notice;
        notice.window = Window::windowWithContentViewController(storyboard->instantiate(u"Notice"_s));
        notice.window->show();
        return notice;
    }
    void click(const QString &name) const { window->findChild<QPushButton *>(name)->click(); }
    bool isOpen() const { return Window::windows().contains(window.data()); }

    QPointer<Window> window;
};

} // namespace

class NoticesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { qDeleteAll(Window::windows()); }

    void standsAtTheTopRightOfTheVisibleArea_data()
    {
        // All in Qt's coordinates, from the top left.
        QTest::addColumn<QRect>("screen");
        QTest::addColumn<QRect>("visible");
        QTest::addColumn<QPoint>("position");
        const QRect whole(0, 0, 1440, 900);
        QTest::newRow("nothing in the way") << whole << whole << QPoint(1140, 0);
        QTest::newRow("panel at the top") << whole << QRect(0, 30, 1440, 870) << QPoint(1140, 30);
        QTest::newRow("panel at the bottom") << whole << QRect(0, 0, 1440, 860) << QPoint(1140, 0);
        QTest::newRow("panel at the left pulls it left")
            << whole << QRect(64, 0, 1376, 900) << QPoint(1076, 0);
        QTest::newRow("main screen beside another one")
            << QRect(1920, 200, 1440, 900) << QRect(1984, 230, 1376, 830) << QPoint(2996, 230);
        QTest::newRow("main screen above another one")
            << QRect(0, -900, 1440, 900) << QRect(0, -870, 1440, 870) << QPoint(1140, -870);
    }

    void standsAtTheTopRightOfTheVisibleArea()
    {
        QFETCH(QRect, screen);
        QFETCH(QRect, visible);
        QTEST(noticePosition(screen, visible, QSize(300, 200)), "position");
    }

    void losesItsTitleAndKeepsTheRest()
    {
        for (const Notice &notice :
             {Notice::of<Notification1VC>(), Notice::of<Notification2VC>(), Notice::of<Notification3VC>()}) {
            QCOMPARE(notice.window->styleMask(),
                     unsigned{WindowStyleMaskClosable | WindowStyleMaskMiniaturizable});
            QVERIFY(notice.window->windowHandle()->flags().testFlag(Qt::FramelessWindowHint));
            QCOMPARE(notice.window->minimumSize(), notice.window->maximumSize());
            const QRect visible = QGuiApplication::primaryScreen()->availableGeometry();
            QCOMPARE(notice.window->geometry().topRight(), visible.topRight());
            notice.window->makeKeyAndOrderFront();
            QVERIFY(QTest::qWaitForWindowActive(notice.window));
            QTest::keyClick(notice.window, Qt::Key_Escape);
            QVERIFY(!notice.isOpen());
        }
    }

    void appearsInAWindowOrNotAtAll()
    {
        QVERIFY(runsToItsDeath([] { Screen::make<Notification1VC>()->viewDidAppear(); }).aborted);
        // Closing what has none is no fault.
        Screen::make<Notification1VC>()->closeButtonClicked();
    }

    void theFirstOnesUpdateDoesNothing()
    {
        const auto home = FakeHome::makeCurrent();
        const Notice notice = Notice::of<Notification1VC>();
        notice.click(u"updateButton"_s);
        QVERIFY(notice.isOpen());
        QCOMPARE(home->installs, 0);
        notice.click(u"closeButton"_s);
        QVERIFY(!notice.isOpen());
    }

    void theSecondOnesUpdateGoesOnAtHome_data()
    {
        QTest::addColumn<bool>("hasHome");
        QTest::newRow("home") << true;
        QTest::newRow("no home") << false;
    }

    void theSecondOnesUpdateGoesOnAtHome()
    {
        QFETCH(bool, hasHome);
        const auto home = hasHome ? FakeHome::makeCurrent() : nullptr;
        const Notice notice = Notice::of<Notification2VC>();
        notice.click(u"updateButton"_s);
        QVERIFY(!notice.isOpen());
        if (hasHome)
            QCOMPARE(home->installs, 1);
    }

    void theThirdShowsItsPlacesWhole()
    {
        const Notice notice = Notice::of<Notification3VC>();
        const auto *const list = notice.window->findChild<RecentTV *>(u"recentTableView"_s);
        QCOMPARE(list->visibleViews().size(), 4);
        QVERIFY(list->viewport()->height() >= 4 * 36);
    }

    void openingLeadsToANewLoginWindow_data()
    {
        QTest::addColumn<bool>("hasCurrent");
        QTest::addColumn<QString>("loginClass");
        QTest::addColumn<int>("opened");
        QTest::newRow("in place of the recorded one") << true << u"ViewController"_s << 1;
        QTest::newRow("none recorded") << false << u"ViewController"_s << 1;
        QTest::newRow("login of another class") << true << u"OtherVC"_s << 0;
    }

    void openingLeadsToANewLoginWindow()
    {
        QFETCH(bool, hasCurrent);
        QFETCH(QString, loginClass);
        QFETCH(int, opened);
        const std::shared_ptr<Storyboard> storyboard = Storyboard::make();
        storyboard->add(u"LoginVC"_s, loginClass, Screen::make<StubScreen>);
        if (hasCurrent) {
            setCurrentWindow(Window::windowWithContentViewController(Screen::make<StubScreen>()));
            currentWindow()->show();
        }
        const Notice notice = Notice::of<Notification3VC>(storyboard);
        notice.click(u"openButton"_s);
        QVERIFY(!notice.isOpen());
        QCOMPARE(Window::windows().size(), opened);
        if (opened > 0)
            QVERIFY(Window::windows().constFirst()->isVisible());
    }

    void exitingRunsNothingElse()
    {
        const Death death = runsToItsDeath([] {
            std::atexit([] {
                std::puts("shut down");
                std::fflush(stdout);
            });
            Screen::make<Notification3VC>()->exitButtonClicked();
        });
        QCOMPARE(death.exitStatus, 0);
        QCOMPARE(death.standardOutput, QByteArray());
    }
};

QTEST_MAIN(NoticesTest)
#include "NoticesTest.moc"
