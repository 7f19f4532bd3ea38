#include "account/ForgotVC.h"
#include "account/ViewController.h"
#include "servers/Countries.h"
#include "tests/support/AlertCatcher.h"
#include "tests/support/Bodies.h"
#include "tests/support/BrowserSpy.h"
#include "tests/support/FakeSecretStore.h"
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
        fields = window->template findChildren<QLineEdit *>();
    }

    QAbstractButton *button(const QString &name) const
    {
        return window->template findChild<QAbstractButton *>(name);
    }
    void submit(const QString &username, const QString &password = u"pw"_s) const
    {
        fields.last()->setText(password);
        fields.first()->setText(username);
        button(fields.size() > 1 ? u"loginButton"_s : u"resetButton"_s)->click();
    }
    bool hasMovedOn() const { return window->contentViewController() != screen; }

    std::shared_ptr<Storyboard> storyboard = Storyboard::make();
    std::shared_ptr<Screen> screen;
    std::unique_ptr<Window> window;
    QList<QLineEdit *> fields;
};

using Login = Shown<ViewController>;
using Reset = Shown<ForgotVC>;

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
        login.submit(u""_s, u""_s);
        QCOMPARE(login.window->focusWidget(), login.fields.first());
        login.submit(u" "_s, u""_s);
        QCOMPARE(login.window->focusWidget(), login.fields.last());
        Reset().submit(u""_s);
        QCOMPARE(catcher.alerts,
                 (QStringList{u"Alert|Please enter user name|OK"_s, u"Alert|Please enter password|OK"_s,
                              u"Alert|Username is blank!|OK"_s}));
        QCOMPARE(server.requests.size(), 0);
    }

    void eachClickSignsInWithWhatTheFieldHoldsWhenTheReplyArrives()
    {
        ScriptedServer server;
        server.hold();
        server.hold();
        AlertCatcher catcher;
        const Login login;
        login.submit(u" ann"_s);
        login.submit(u"ann"_s);
        QTRY_COMPARE(server.requests.size(), 2);
        // Each comes over a connection of its own, in any order.
        QVERIFY(server.requests.first().body.contains("\" ann\"") !=
                server.requests.last().body.contains("\" ann\""));
        login.fields.first()->setText(u"bob"_s);
        // The second reply moves on while the alert of the first one is open over the login screen.
        catcher.whileOpen = [&] {
            server.release(json("{'token':''}"));
            QTRY_VERIFY(login.hasMovedOn());
        };
        server.release("{}");
        QTRY_VERIFY(login.hasMovedOn());
        QCOMPARE(store->items, (QMap<QString, QString>{{u"token"_s, u""_s}, {u"username"_s, u"bob"_s}}));
        QCOMPARE(login.fields.last()->text(), QString());
    }

    void aFailureSaysWhatTheServiceSaysAndReturnsTheKeyboard()
    {
        ScriptedServer server;
        AlertCatcher catcher;
        const Login login;
        login.window->makeKeyAndOrderFront();
        QVERIFY(QTest::qWaitForWindowActive(login.window.get()));
        QAbstractButton *const link = login.button(u"forgotPasswordButton"_s);
        link->setFocus();
        for (const auto &[reply, message] :
             {std::pair("{'error':{'message':'<b>No</b>'}}", u"Alert|<b>No</b>|OK"_s),
              {"{'error':{}}", u"Alert||OK"_s},
              {"{}", u"Alert||OK"_s},
              {"<html>", u"Alert||OK"_s}}) {
            catcher.whileOpen = [] {
                QVERIFY(QTest::qWaitForWindowActive(QApplication::activeModalWidget()));
            };
            server.answer(json(reply), 401);
            login.submit(u"ann"_s);
            QTRY_COMPARE(catcher.alerts, QStringList{message});
            QTRY_COMPARE(QApplication::focusWidget(), link);
            catcher.alerts.clear();
        }
        QCOMPARE(login.fields.last()->text(), u"pw"_s);
        QVERIFY(!login.hasMovedOn());
        QVERIFY(store->items.isEmpty());
    }

    void aScreenOutlivesItsWindowUntilItsRequestIsOver()
    {
        ScriptedServer server;
        server.hold();
        std::weak_ptr<Screen> answered;
        std::weak_ptr<Screen> unanswered;
        {
            const Login login;
            login.submit(u"ann"_s);
            QTRY_COMPARE(server.requests.size(), 1);
            const Reset reset;
            reset.submit(u"ann"_s);
            answered = login.screen;
            unanswered = reset.screen;
        }
        QVERIFY(!answered.expired() && !unanswered.expired());
        QTRY_VERIFY(unanswered.expired());
        server.release(json("{'token':'t'}"));
        QTRY_VERIFY(answered.expired());
        QCOMPARE(store->items.value(u"username"_s), u"ann"_s);
    }

    void forwardsOnlyWithBothItems()
    {
        for (const auto &[token, username] :
             {std::pair(u"t"_s, u"ann"_s), {u""_s, u"ann"_s}, {u"t"_s, u""_s}}) {
            store->items = {{u"token"_s, token}, {u"username"_s, username}};
            CountryMaps::shared().flags.clear();
            const Login login;
            login.window->show();
            QCOMPARE(login.hasMovedOn(), !token.isEmpty() && !username.isEmpty());
            // A keyring may open while the screen waits.
            store->items = {{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
            Q_EMIT store->opened();
            QVERIFY(login.hasMovedOn());
            // The steps before the check are taken in any case.
            QCOMPARE(currentWindow(), login.window.get());
            QCOMPARE(login.window->styleMask() & WindowStyleMaskResizable, 0U);
            QCOMPARE(CountryMaps::shared().flags.size(), 256);
        }
    }

    void anAccountIsCreatedInTheBrowser()
    {
        const BrowserSpy browser;
        Login().button(u"createAccountButton"_s)->click();
        QCOMPARE(browser.opened, QList<QUrl>{QUrl(u"https://www.velmora.test/"_s)});
    }

    void theConfirmationNamesWhatTheFieldHoldsAndNothingOfTheReply()
    {
        const QString confirmation = u"Alert|If there is an account associated with %1 a reset link will be "
                                     "sent to that address.|OK"_s;
        ScriptedServer server;
        server.hold();
        const AlertCatcher catcher;
        const Reset reset;
        reset.submit(u"  "_s);
        QTRY_COMPARE(server.requests.size(), 1);
        reset.fields.first()->setText(u"<b>bob"_s);
        server.release(json("{'success':false}"));
        QTRY_COMPARE(catcher.alerts, QStringList{confirmation.arg(u"<b>bob"_s)});
        QVERIFY(!reset.hasMovedOn());
        reset.window->show();
        QCOMPARE(reset.fields.first()->selectedText(), u"<b>bob"_s);
    }

private:
    FakeSecretStore *store = nullptr;
};

QTEST_MAIN(AccountScreensTest)
#include "AccountScreensTest.moc"
