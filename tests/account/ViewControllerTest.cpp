#include "account/ViewController.h"
#include "servers/Countries.h"
#include "tests/support/AlertCatcher.h"
#include "tests/support/BrowserSpy.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/StubScreen.h"
#include "ui/CurrentWindow.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// The login screen in its window, with stand-ins for the screens that it leads to.
struct Login
{
    explicit Login(const QString &homeClass = u"HomeVC"_s) : storyboard(Storyboard::make())
    {
        storyboard->add(u"LoginVC"_s, u"ViewController"_s, Screen::make<ViewController>);
        storyboard->add(u"HomeVC"_s, homeClass, Screen::make<StubScreen>);
        storyboard->add(u"ForgotVC"_s, u"ForgotVC"_s, Screen::make<StubScreen>);
        screen = std::static_pointer_cast<ViewController>(
            storyboard->instantiate(u"LoginVC"_s, u"ViewController"_s));
        window = Window::windowWithContentViewController(screen);
        username = window->findChild<QLineEdit *>(u"usernameTextfield"_s);
        password = window->findChild<QLineEdit *>(u"passwordTextfield"_s);
        button = window->findChild<QPushButton *>(u"loginButton"_s);
    }
    ~Login() { delete window; }

    void type(const QString &name, const QString &secret) const
    {
        username->setText(name);
        password->setText(secret);
    }
    bool hasMovedOn() const { return window->contentViewController() != screen; }

    std::shared_ptr<Storyboard> storyboard;
    std::shared_ptr<ViewController> screen;
    QPointer<Window> window;
    QPointer<QLineEdit> username;
    QPointer<QLineEdit> password;
    QPointer<QPushButton> button;
};

} // namespace

class ViewControllerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { store = &FakeSecretStore::install(); }

    void missingFieldsAreNamedOneAtATime_data()
    {
        QTest::addColumn<QString>("username");
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("message");
        QTest::newRow("both empty") << u""_s << u""_s << u"Please enter user name"_s;
        QTest::newRow("no user name") << u""_s << u"x"_s << u"Please enter user name"_s;
        QTest::newRow("no password") << u" "_s << u""_s << u"Please enter password"_s;
    }

    void missingFieldsAreNamedOneAtATime()
    {
        QFETCH(QString, username);
        QFETCH(QString, password);
        QFETCH(QString, message);
        ScriptedServer server;
        AlertCatcher catcher;
        Login login;
        login.type(username, password);
        login.button->click();
        QCOMPARE(catcher.alerts, QStringList{u"Alert|%1|OK"_s.arg(message)});
        QCOMPARE(server.connections, 0);
    }

    void signsInWithWhatTheFieldHoldsWhenTheReplyArrives()
    {
        ScriptedServer server;
        server.hold();
        OutputCapture output;
        Login login;
        login.window->show();
        login.type(u" ann"_s, u"pw"_s);
        output.clear();
        login.button->click();
        QTRY_COMPARE(server.requests.size(), 1);
        QVERIFY(server.requests.first().body.contains("\" ann\""));
        QVERIFY(login.button->isEnabled());
        login.username->setText(u"bob"_s);
        server.release("{\"token\":\"\"}");
        QTRY_VERIFY(login.hasMovedOn());
        QCOMPARE(output.lines(), (QStringList{u"store set username bob"_s, u"store set token "_s}));
        QCOMPARE(login.password->text(), QString());
        const auto home = std::static_pointer_cast<StubScreen>(login.window->contentViewController());
        QCOMPARE(home->appearances, 1);
    }

    void failedSignInSaysWhatTheServiceSays_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("message");
        QTest::newRow("message") << QByteArray("{\"error\":{\"message\":\"<b>No</b>\"}}") << u"<b>No</b>"_s;
        QTest::newRow("no message") << QByteArray("{\"error\":{}}") << QString();
        QTest::newRow("neither token nor error") << QByteArray("{}") << QString();
        QTest::newRow("not decodable") << QByteArray("<html>") << QString();
    }

    void failedSignInSaysWhatTheServiceSays()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QString, message);
        ScriptedServer server;
        server.answer(reply, 401);
        OutputCapture output;
        AlertCatcher catcher;
        Login login;
        login.type(u"ann"_s, u"pw"_s);
        login.button->click();
        QTRY_COMPARE(catcher.alerts, QStringList{u"Alert|%1|OK"_s.arg(message)});
        QCOMPARE(login.password->text(), u"pw"_s);
        QVERIFY(!login.hasMovedOn());
        QVERIFY(store->items.isEmpty());
    }

    void aFailedWriteStillMovesOn()
    {
        ScriptedServer server;
        server.answer("{\"token\":\"t\"}");
        store->failing = true;
        Login login;
        login.type(u"ann"_s, u"pw"_s);
        login.button->click();
        QTRY_VERIFY(login.hasMovedOn());
    }

    void eachClickSendsARequestAndAnAlertHoldsUpNone()
    {
        ScriptedServer server;
        server.hold();
        server.hold();
        AlertCatcher catcher;
        auto login = std::make_unique<Login>();
        login->type(u"ann"_s, u"pw"_s);
        login->button->click();
        login->button->click();
        QTRY_COMPARE(server.requests.size(), 2);
        // The second reply moves on while the alert of the first one is open over the login screen.
        catcher.whileOpen = [&] {
            server.release("{\"token\":\"t\"}");
            QTRY_VERIFY(login->hasMovedOn());
        };
        server.release("{}");
        QTRY_COMPARE(catcher.alerts.size(), 1);
        QTRY_VERIFY(login->hasMovedOn());
        QCOMPARE(store->items.value(u"token"_s), u"t"_s);
    }

    void theScreenOutlivesItsWindowUntilTheReply()
    {
        ScriptedServer server;
        server.hold();
        std::weak_ptr<ViewController> screen;
        {
            Login login;
            login.type(u"ann"_s, u"pw"_s);
            login.button->click();
            QTRY_COMPARE(server.requests.size(), 1);
            screen = login.screen;
        }
        QVERIFY(!screen.expired());
        server.release("{\"token\":\"t\"}");
        QTRY_VERIFY(screen.expired());
        QCOMPARE(store->items.value(u"username"_s), u"ann"_s);
    }

    void silenceWhenTheServiceIsNotReached()
    {
        ScriptedServer server;
        AlertCatcher catcher;
        Login login;
        login.type(u"ann"_s, u"pw"_s);
        login.button->click();
        // The request alone still shares the screen; that it lets go tells that all is over.
        login.window->setContentViewController(Screen::make<StubScreen>());
        const std::weak_ptr<ViewController> screen = std::exchange(login.screen, nullptr);
        QTRY_VERIFY(screen.expired());
        QCOMPARE(server.connections, 1);
        QVERIFY(catcher.alerts.isEmpty());
    }

    void forwardsOnlyWithBothItems_data()
    {
        QTest::addColumn<QString>("token");
        QTest::addColumn<QString>("username");
        QTest::addColumn<QString>("homeClass");
        QTest::addColumn<bool>("forwards");
        QTest::newRow("both") << u"t"_s << u"ann"_s << u"HomeVC"_s << true;
        QTest::newRow("empty token") << u""_s << u"ann"_s << u"HomeVC"_s << false;
        QTest::newRow("empty user name") << u"t"_s << u""_s << u"HomeVC"_s << false;
        QTest::newRow("home is no home screen") << u"t"_s << u"ann"_s << u"OtherVC"_s << false;
    }

    void forwardsOnlyWithBothItems()
    {
        QFETCH(QString, token);
        QFETCH(QString, username);
        QFETCH(QString, homeClass);
        store->items = {{u"token"_s, token}, {u"username"_s, username}};
        CountryMaps::shared().flags.clear();
        Login login(homeClass);
        QVERIFY(!login.hasMovedOn());
        login.window->show();
        QTEST(login.hasMovedOn(), "forwards");
        // What comes before the check happens in any case.
        QCOMPARE(currentWindow(), login.window.data());
        QCOMPARE(login.window->styleMask() & WindowStyleMaskResizable, 0U);
        QCOMPARE(login.window->minimumSize(), login.window->maximumSize());
        QCOMPARE(CountryMaps::shared().flags.size(), 256);
    }

    void leadsToTheOtherScreens()
    {
        BrowserSpy browser;
        Login login;
        login.window->findChild<QPushButton *>(u"createAccountButton"_s)->click();
        QCOMPARE(browser.opened, QList<QUrl>{QUrl(u"https://www.velmora.test/"_s)});
        QVERIFY(!login.hasMovedOn());
        login.window->findChild<QPushButton *>(u"forgotPasswordButton"_s)->click();
        QVERIFY(login.hasMovedOn());
    }

private:
    FakeSecretStore *store = nullptr;
};

QTEST_MAIN(ViewControllerTest)
#include "ViewControllerTest.moc"
