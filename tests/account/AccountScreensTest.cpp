#include "account/ForgotVC.h"
#include "account/ViewController.h"
#include "servers/Countries.h"
#include "tests/support/AlertCatcher.h"
#include "tests/support/Bodies.h"
#include "tests/support/BrowserSpy.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/StubScreen.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QLineEdit>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// A screen in its window, with a stand-in for the home screen.
template<class T>
struct Shown
{
    Shown()
    {
        storyboard->add({u"Shown", u""}, Screen::make<T>);
        storyboard->add(screens::home, Screen::make<StubScreen>);
        screen = storyboard->instantiateNamed(u"Shown"_s);
        window.reset(Window::windowWithContentViewController(screen));
    }

    QLineEdit *field(const QString &name) const { return window->template findChild<QLineEdit *>(name); }
    void click(const QString &name) const { window->template findChild<QAbstractButton *>(name)->click(); }
    bool hasMovedOn() const { return window->contentViewController() != screen; }

    std::shared_ptr<Storyboard> storyboard = Storyboard::make();
    std::shared_ptr<Screen> screen;
    std::unique_ptr<Window> window;
};

struct Login : Shown<ViewController>
{
    void signIn(const QString &name = u"ann"_s, const QString &secret = u"pw"_s) const
    {
        username->setText(name);
        password->setText(secret);
        click(u"loginButton"_s);
    }

    QLineEdit *username = field(u"usernameTextfield"_s);
    QLineEdit *password = field(u"passwordTextfield"_s);
};

struct Reset : Shown<ForgotVC>
{
    void ask(const QString &name) const
    {
        username->setText(name);
        click(u"resetButton"_s);
    }

    QLineEdit *username = field(u"dummyTextField"_s);
};

} // namespace

class AccountScreensTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { store = &FakeSecretStore::install(); }

    void missingFieldsAreNamedOneAtATime()
    {
        const ScriptedServer server;
        const AlertCatcher catcher;
        const Login login;
        login.signIn(u""_s, u""_s);
        QCOMPARE(login.window->focusWidget(), login.username);
        login.signIn(u" "_s, u""_s);
        QCOMPARE(login.window->focusWidget(), login.password);
        Reset().ask(u""_s);
        QCOMPARE(catcher.alerts,
                 (QStringList{u"Alert|Please enter user name|OK"_s, u"Alert|Please enter password|OK"_s,
                              u"Alert|Username is blank!|OK"_s}));
        QCOMPARE(server.connections, 0);
    }

    void signsInWithWhatTheFieldHoldsWhenTheReplyArrives()
    {
        // What cannot be written is not reported.
        store->failing = true;
        ScriptedServer server;
        server.hold();
        const Login login;
        login.window->show();
        OutputCapture output;
        login.signIn(u" ann"_s);
        QTRY_COMPARE(server.requests.size(), 1);
        QVERIFY(server.requests.first().body.contains("\" ann\""));
        login.username->setText(u"bob"_s);
        server.release(json("{'token':''}"));
        QTRY_VERIFY(login.hasMovedOn());
        QCOMPARE(output.lines(), (QStringList{u"store set username bob"_s, u"store set token "_s}));
        QCOMPARE(login.password->text(), QString());
    }

    void failedSignInSaysWhatTheServiceSays()
    {
        ScriptedServer server;
        AlertCatcher catcher;
        const Login login;
        for (const auto &[reply, message] :
             {std::pair("{'error':{'message':'<b>No</b>'}}", u"Alert|<b>No</b>|OK"_s),
              std::pair("{'error':{}}", u"Alert||OK"_s), std::pair("{}", u"Alert||OK"_s),
              std::pair("<html>", u"Alert||OK"_s)}) {
            server.answer(json(reply), 401);
            login.signIn();
            QTRY_COMPARE(catcher.alerts, QStringList{message});
            catcher.alerts.clear();
        }
        QCOMPARE(login.password->text(), u"pw"_s);
        QVERIFY(!login.hasMovedOn());
        QVERIFY(store->items.isEmpty());
    }

    void afterAnAlertTheKeyboardIsWhereItWas()
    {
        ScriptedServer server;
        server.answer("{}");
        AlertCatcher catcher;
        const Login login;
        login.window->makeKeyAndOrderFront();
        QVERIFY(QTest::qWaitForWindowActive(login.window.get()));
        auto *const link = login.window->findChild<QAbstractButton *>(u"forgotPasswordButton"_s);
        link->setFocus();
        catcher.whileOpen = [] {
            QVERIFY(QTest::qWaitForWindowActive(QApplication::activeModalWidget()));
        };
        login.signIn();
        QTRY_COMPARE(catcher.alerts.size(), 1);
        QTRY_COMPARE(QApplication::focusWidget(), link);
    }

    void eachClickSendsARequestAndAnAlertHoldsUpNone()
    {
        ScriptedServer server;
        server.hold();
        server.hold();
        AlertCatcher catcher;
        const Login login;
        login.signIn();
        login.signIn();
        QTRY_COMPARE(server.requests.size(), 2);
        // The second reply moves on while the alert of the first one is open over the login screen.
        catcher.whileOpen = [&] {
            server.release(json("{'token':'t'}"));
            QTRY_VERIFY(login.hasMovedOn());
        };
        server.release("{}");
        QTRY_COMPARE(catcher.alerts.size(), 1);
        QTRY_VERIFY(login.hasMovedOn());
        QCOMPARE(store->items.value(u"token"_s), u"t"_s);
    }

    void aScreenOutlivesItsWindowUntilItsRequestIsOver()
    {
        ScriptedServer server;
        server.hold();
        const AlertCatcher catcher;
        std::weak_ptr<Screen> answered;
        std::weak_ptr<Screen> unanswered;
        {
            const Login login;
            login.signIn();
            QTRY_COMPARE(server.requests.size(), 1);
            const Reset reset;
            reset.ask(u"ann"_s);
            answered = login.screen;
            unanswered = reset.screen;
        }
        QVERIFY(!answered.expired());
        QVERIFY(!unanswered.expired());
        QTRY_VERIFY(unanswered.expired());
        server.release(json("{'token':'t'}"));
        QTRY_VERIFY(answered.expired());
        QCOMPARE(store->items.value(u"username"_s), u"ann"_s);
        QCOMPARE(catcher.alerts, QStringList());
    }

    void forwardsOnlyWithBothItems()
    {
        for (const auto &[token, username, forwards] :
             {std::tuple(u"t"_s, u"ann"_s, true), std::tuple(u""_s, u"ann"_s, false),
              std::tuple(u"t"_s, u""_s, false)}) {
            store->items = {{u"token"_s, token}, {u"username"_s, username}};
            CountryMaps::shared().flags.clear();
            const Login login;
            login.window->show();
            QCOMPARE(login.hasMovedOn(), forwards);
            // A keyring may open while the screen waits.
            store->items = {{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
            Q_EMIT store->opened();
            QVERIFY(login.hasMovedOn());
            // What comes before the check happens in any case.
            QCOMPARE(currentWindow(), login.window.get());
            QCOMPARE(login.window->styleMask() & WindowStyleMaskResizable, 0U);
            QCOMPARE(CountryMaps::shared().flags.size(), 256);
        }
    }

    void anAccountIsCreatedInTheBrowser()
    {
        const BrowserSpy browser;
        const Login login;
        login.click(u"createAccountButton"_s);
        QCOMPARE(browser.opened, QList<QUrl>{QUrl(u"https://www.velmora.test/"_s)});
        QVERIFY(!login.hasMovedOn());
    }

    void theConfirmationNamesWhatTheFieldHoldsAndNothingOfTheReply()
    {
        const QString confirmation = u"Alert|If there is an account associated with %1 a reset link will be "
                                     "sent to that address.|OK"_s;
        ScriptedServer server;
        server.hold();
        server.hold();
        const AlertCatcher catcher;
        const Reset reset;
        reset.ask(u"  "_s);
        reset.ask(u"ann"_s);
        QTRY_COMPARE(server.requests.size(), 2);
        server.release(json("{'success':false}"));
        QTRY_COMPARE(catcher.alerts.size(), 1);
        reset.username->setText(u"<b>bob"_s);
        server.release("<html>");
        QTRY_COMPARE(catcher.alerts,
                     (QStringList{confirmation.arg(u"ann"_s), confirmation.arg(u"<b>bob"_s)}));
        QVERIFY(!reset.hasMovedOn());
        reset.window->show();
        QCOMPARE(reset.username->selectedText(), u"<b>bob"_s);
    }

private:
    FakeSecretStore *store = nullptr;
};

QTEST_MAIN(AccountScreensTest)
#include "AccountScreensTest.moc"
