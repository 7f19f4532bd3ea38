#include "account/ForgotVC.h"
#include "tests/support/AlertCatcher.h"
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

const QString confirmation =
    u"Alert|If there is an account associated with %1 a reset link will be sent to that address.|OK"_s;

struct Reset
{
    explicit Reset(const QString &loginClass = u"ViewController"_s)
    {
        storyboard->add(u"ForgotVC"_s, u"ForgotVC"_s, Screen::make<ForgotVC>);
        storyboard->add(u"LoginVC"_s, loginClass, Screen::make<StubScreen>);
        screen = storyboard->instantiate(u"ForgotVC"_s);
        window = Window::windowWithContentViewController(screen);
        field = window->findChild<QLineEdit *>(u"dummyTextField"_s);
    }
    ~Reset() { delete window; }
    Reset(const Reset &) = delete;
    Reset &operator=(const Reset &) = delete;

    void click(const QString &name) const { window->findChild<QAbstractButton *>(name)->click(); }
    bool hasMovedOn() const { return window->contentViewController() != screen; }

    std::shared_ptr<Storyboard> storyboard = Storyboard::make();
    std::shared_ptr<Screen> screen;
    QPointer<Window> window;
    QPointer<QLineEdit> field;
};

} // namespace

class ForgotVCTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { FakeSecretStore::install(); }

    void noUserNameNoRequest()
    {
        ScriptedServer server;
        AlertCatcher catcher;
        const Reset reset;
        reset.click(u"resetButton"_s);
        QCOMPARE(catcher.alerts, QStringList{u"Alert|Username is blank!|OK"_s});
        QCOMPARE(server.connections, 0);
    }

    void theConfirmationTellsNothingOfTheReply_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<int>("status");
        QTest::newRow("done") << QByteArray("{\"success\":true}") << 200;
        QTest::newRow("refused") << QByteArray("{\"success\":false}") << 404;
        QTest::newRow("not decodable") << QByteArray("<html>") << 500;
        QTest::newRow("empty") << QByteArray() << 200;
    }

    void theConfirmationTellsNothingOfTheReply()
    {
        QFETCH(QByteArray, reply);
        QFETCH(int, status);
        ScriptedServer server;
        server.answer(reply, status);
        AlertCatcher catcher;
        const Reset reset;
        reset.field->setText(u"  "_s);
        reset.click(u"resetButton"_s);
        QTRY_COMPARE(catcher.alerts, QStringList{confirmation.arg(u"  "_s)});
        QVERIFY(server.requests.first().body.contains("\"  \""));
        QVERIFY(!reset.hasMovedOn());
    }

    void theConfirmationNamesWhatTheFieldHoldsByThen()
    {
        ScriptedServer server;
        server.hold();
        server.hold();
        AlertCatcher catcher;
        const Reset reset;
        reset.field->setText(u"ann"_s);
        reset.click(u"resetButton"_s);
        QTest::keyClick(reset.field, Qt::Key_Return);
        QTRY_COMPARE(server.requests.size(), 2);
        QCOMPARE(server.requests.first().method, QByteArray("POST"));
        QCOMPARE(server.requests.first().path, QByteArray("/api/account/reset"));
        server.release("{}");
        QTRY_COMPARE(catcher.alerts.size(), 1);
        reset.field->setText(u"<b>bob"_s);
        server.release("{}");
        QTRY_COMPARE(catcher.alerts,
                     (QStringList{confirmation.arg(u"ann"_s), confirmation.arg(u"<b>bob"_s)}));
        QCOMPARE(reset.field->text(), u"<b>bob"_s);
    }

    void silenceWhenTheServiceIsNotReached()
    {
        const ScriptedServer server;
        AlertCatcher catcher;
        Reset reset;
        reset.field->setText(u"ann"_s);
        reset.click(u"resetButton"_s);
        // The request alone still shares the screen; that it lets go tells that all is over.
        reset.window->setContentViewController(Screen::make<StubScreen>());
        const std::weak_ptr<Screen> screen = std::exchange(reset.screen, nullptr);
        QVERIFY(!screen.expired());
        QTRY_VERIFY(screen.expired());
        QVERIFY(catcher.alerts.isEmpty());
    }

    void eachShowingSelectsTheName()
    {
        const Reset reset;
        reset.field->setText(u"ann"_s);
        reset.window->show();
        QCOMPARE(reset.field->selectedText(), u"ann"_s);
        QCOMPARE(reset.window->focusWidget(), reset.field.data());
    }

    void backNeedsTheLoginScreen()
    {
        const Reset wrong(u"OtherVC"_s);
        wrong.click(u"backToLoginButton"_s);
        QVERIFY(!wrong.hasMovedOn());
        const Reset right;
        right.click(u"backToLoginButton"_s);
        QVERIFY(right.hasMovedOn());
    }
};

QTEST_MAIN(ForgotVCTest)
#include "ForgotVCTest.moc"
