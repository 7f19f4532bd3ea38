#include "app/MainStoryboard.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/StubScreen.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

/// What the walk through every screen cannot see of how the real screens lead to one another.
class ScreensTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        qputenv("XDG_CONFIG_HOME", folder.path().toUtf8());
        // Enough for the login screen to go home at once.
        FakeSecretStore::install().items = {{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
        FakeVPNManager::install();
    }

    void cleanup() { qDeleteAll(Window::windows()); }

    void homePresentsItsNoticesOnceAndModallyWhereStated()
    {
        const std::shared_ptr<Storyboard> storyboard = makeMainStoryboard();
        const Window *const window = open(storyboard->instantiate(screens::home));
        for (const auto &[button, modality] :
             {std::pair(u"button2"_s, Qt::ApplicationModal), std::pair(u"button3"_s, Qt::ApplicationModal),
              std::pair(u"recentButton"_s, Qt::NonModal)}) {
            click(window, button);
            // One of those that can be left open is enough: a second press brings it to the front.
            if (modality == Qt::NonModal)
                click(window, button);
            QCOMPARE(Window::windows().size(), 2);
            const Window *const notice = Window::windows().constLast();
            QCOMPARE(notice->windowModality(), modality);
            // A window manager learns of the parent of a dialog only, and keeps the dialog above it.
            QCOMPARE(notice->windowHandle()->transientParent(), window->windowHandle());
            QCOMPARE(notice->windowType(), Qt::Dialog);
            click(notice, u"closeButton"_s);
            QTRY_COMPARE(Window::windows().size(), 1);
        }
    }

    void aScreenThatIsMissingOrOfAnotherClassLeadsNowhere()
    {
        // There is none for the settings.
        const std::shared_ptr<Storyboard> odd = Storyboard::make();
        for (const ScreenIdentifier &screen :
             {screens::login, screens::home, screens::forgot, screens::notification1, screens::notification2})
            odd->add({screen.name, u"OtherVC"}, Screen::make<StubScreen>);
        for (const auto &[shown, buttons] :
             {std::pair(u"LoginVC"_s, u"forgotPasswordButton"_s),
              {u"ForgotVC"_s, u"backToLoginButton"_s},
              {u"SettingsVC"_s, u"homeButton changePasswordButton logoutButton"_s},
              {u"HomeVC"_s, u"button2 button3 settingsButton recentButton"_s}}) {
            odd->add({u"Shown", u""},
                     [name = shown] { return makeMainStoryboard()->instantiateNamed(name); });
            const std::shared_ptr<Screen> screen = odd->instantiateNamed(u"Shown"_s);
            const std::unique_ptr<Window> window(open(screen));
            for (const QString &button : buttons.split(u' '))
                click(window.get(), button);
            QCOMPARE(window->contentViewController(), screen);
            QCOMPARE(Window::windows().size(), 1);
        }
    }

private:
    static Window *open(const std::shared_ptr<Screen> &screen)
    {
        Window *const window = Window::windowWithContentViewController(screen);
        window->makeKeyAndOrderFront();
        return window;
    }
    static void click(const Window *window, const QString &button)
    {
        window->findChild<QAbstractButton *>(button)->click();
    }

    QTemporaryDir folder;
    ScriptedServer server;
};

QTEST_MAIN(ScreensTest)
#include "ScreensTest.moc"
