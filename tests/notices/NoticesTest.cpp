#include "notices/Notices.h"
#include "servers/HomeScreen.h"
#include "tests/support/DeathTest.h"
#include "tests/support/StubScreen.h"
#include "ui/Storyboard.h"
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
    using HomeScreen::setCurrent;
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
        storyboard->add({u"Notice", u""}, Screen::make<T>);
        Notice notice;
        notice.window = Window::windowWithContentViewController(storyboard->instantiateNamed(u"Notice"_s));
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

    void standsAtTheTopRightOfTheVisibleArea()
    {
        // All in Qt's coordinates, from the top left. A panel at the left pulls it left.
        const QSize notice(300, 200);
        QCOMPARE(noticePosition({0, 0, 1440, 900}, {64, 0, 1376, 860}, notice), QPoint(1076, 0));
        // A main screen beside another one, with two panels, and one above.
        QCOMPARE(noticePosition({1920, 200, 1440, 900}, {1984, 230, 1376, 830}, notice), QPoint(2996, 230));
        QCOMPARE(noticePosition({0, -900, 1440, 900}, {0, -870, 1440, 870}, notice), QPoint(1140, -870));
    }

    void losesItsTitleAndKeepsTheRest()
    {
        for (const auto &[notice, primary] : {std::pair(Notice::of<Notification1VC>(), u"closeButton"_s),
                                              std::pair(Notice::of<Notification2VC>(), u"updateButton"_s),
                                              std::pair(Notice::of<Notification3VC>(), u"openButton"_s)}) {
            auto *const button = qobject_cast<QPushButton *>(notice.window->focusWidget());
            QVERIFY(button != nullptr && button->isDefault());
            QCOMPARE(button->objectName(), primary);
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

    void anUpdateGoesOnAtHomeFromTheSecondOnly()
    {
        const Notice without = Notice::of<Notification2VC>();
        without.click(u"updateButton"_s);
        QVERIFY(!without.isOpen());

        const auto home = std::make_shared<FakeHome>();
        FakeHome::setCurrent(home);
        const Notice first = Notice::of<Notification1VC>();
        first.click(u"updateButton"_s);
        QVERIFY(first.isOpen());
        QCOMPARE(home->installs, 0);
        const Notice second = Notice::of<Notification2VC>();
        second.click(u"updateButton"_s);
        QVERIFY(!second.isOpen());
        QCOMPARE(home->installs, 1);
    }

    void openingLeadsToALoginWindowInPlaceOfTheRecordedOne()
    {
        for (const auto &[isRecorded, loginClass, windowsAfter] :
             {std::tuple(true, u"ViewController"_s, 1), std::tuple(false, u"ViewController"_s, 1),
              std::tuple(true, u"OtherVC"_s, 2)}) {
            const std::shared_ptr<Storyboard> storyboard = Storyboard::make();
            storyboard->add({screens::login.name, loginClass}, Screen::make<StubScreen>);
            const Notice notice = Notice::of<Notification3VC>(storyboard);
            const QPointer<Window> recorded(
                isRecorded ? Window::windowWithContentViewController(Screen::make<StubScreen>()) : nullptr);
            setCurrentWindow(recorded);
            notice.click(u"openButton"_s);
            QCOMPARE(Window::windows().size(), windowsAfter);
            // Where there is no login screen, nothing happens.
            QCOMPARE(notice.isOpen(), windowsAfter == 2);
            QCOMPARE(Window::windows().contains(recorded), windowsAfter == 2);
            qDeleteAll(Window::windows());
        }
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
