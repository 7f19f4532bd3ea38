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

struct FakeHome final : HomeScreen
{
    using HomeScreen::setCurrent;
    void servicesReply(const std::optional<QList<Service>> &) override {}
    void showInstallModal() override { ++installs; }

    int installs = 0;
};

/// Clicks the button of a new notice, if there is one to click.
template<class T>
Window *shown(const QString &button = {}, const std::shared_ptr<Storyboard> &storyboard = Storyboard::make())
{
    storyboard->add({u"Notice", u""}, Screen::make<T>);
    Window *const window = Window::windowWithContentViewController(storyboard->instantiateNamed(u"Notice"_s));
    window->makeKeyAndOrderFront();
    if (!button.isEmpty())
        window->findChild<QPushButton *>(button)->click();
    return window;
}

bool isOpen(Window *window)
{
    return Window::windows().contains(window);
}

} // namespace

class NoticesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { qDeleteAll(Window::windows()); }

    void isAFixedUntitledWindowAtTheTopRight()
    {
        // A panel at the left pulls it left; the second screen is beside another one.
        QCOMPARE(noticePosition({0, 0, 1440, 900}, {64, 0, 1376, 860}, {300, 200}), QPoint(1076, 0));
        QCOMPARE(noticePosition({1920, 200, 1440, 900}, {1984, 230, 1376, 830}, {300, 200}),
                 QPoint(2996, 230));
        for (const auto &[window, primary] : {std::pair(shown<Notification1VC>(), u"closeButton"_s),
                                              std::pair(shown<Notification2VC>(), u"updateButton"_s),
                                              std::pair(shown<Notification3VC>(), u"openButton"_s)}) {
            QCOMPARE(window->focusWidget()->objectName(), primary);
            QVERIFY(qobject_cast<QPushButton *>(window->focusWidget())->isDefault());
            QCOMPARE(window->styleMask(), unsigned{WindowStyleMaskClosable | WindowStyleMaskMiniaturizable});
            QVERIFY(window->windowFlags().testFlag(Qt::FramelessWindowHint));
            QCOMPARE(window->minimumSize(), window->maximumSize());
            QCOMPARE(window->geometry().topRight(),
                     QGuiApplication::primaryScreen()->availableGeometry().topRight());
            window->activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(window));
            QTest::keyClick(window, Qt::Key_Escape);
            QVERIFY(!isOpen(window));
        }
    }

    void anUpdateGoesOnAtHomeFromTheSecondOnly()
    {
        QVERIFY(!isOpen(shown<Notification2VC>(u"updateButton"_s)));
        const auto home = std::make_shared<FakeHome>();
        FakeHome::setCurrent(home);
        QVERIFY(isOpen(shown<Notification1VC>(u"updateButton"_s)));
        QCOMPARE(home->installs, 0);
        QVERIFY(!isOpen(shown<Notification2VC>(u"updateButton"_s)));
        QCOMPARE(home->installs, 1);
    }

    void openingLeadsToALoginWindowInPlaceOfTheRecordedOne()
    {
        for (const auto &[loginClass, windowsAfter] :
             {std::pair(u"ViewController"_s, 1), {u"OtherVC"_s, 2}}) {
            const std::shared_ptr<Storyboard> storyboard = Storyboard::make();
            storyboard->add({screens::login.name, loginClass}, Screen::make<StubScreen>);
            Window *const recorded = Window::windowWithContentViewController(Screen::make<StubScreen>());
            setCurrentWindow(recorded);
            QCOMPARE(isOpen(shown<Notification3VC>(u"openButton"_s, storyboard)), windowsAfter == 2);
            QCOMPARE(isOpen(recorded), windowsAfter == 2);
            QCOMPARE(Window::windows().size(), windowsAfter);
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
