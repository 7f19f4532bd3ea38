#include "app/MainStoryboard.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/ScriptedServer.h"
#include "ui/Alert.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDesktopServices>
#include <QLineEdit>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// Dismisses each alert as soon as it is shown and keeps what it said.
struct AlertCatcher : QObject
{
    AlertCatcher() { qApp->installEventFilter(this); }

    QStringList alerts;
    /// Called once, while the next alert is open.
    std::function<void()> whileOpen;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *box = qobject_cast<MessageDialog *>(watched);
        if (box == nullptr || event->type() != QEvent::Show)
            return false;
        alerts << box->windowTitle() + u": "_s + box->accessibleDescription();
        const auto dismiss = [this, box] {
            if (const auto action = std::exchange(whileOpen, {}))
                action();
            box->accept();
        };
        return !QMetaObject::invokeMethod(box, dismiss, Qt::QueuedConnection);
    }
};

/// A screen of one or two fields in its window.
struct Shown
{
    void submit(const QString &username, const QString &password = u"pw"_s) const
    {
        fields.last()->setText(password);
        fields.first()->setText(username);
        QTest::keyClick(fields.first(), Qt::Key_Return);
    }
    bool hasMovedOn() const { return window->contentViewController() != screen; }

    ScreenIdentifier identifier = screens::login;
    std::shared_ptr<Storyboard> storyboard = makeMainStoryboard();
    std::shared_ptr<Screen> screen = storyboard->instantiate(identifier);
    std::unique_ptr<Window> window{Window::windowWithContentViewController(screen)};
    QList<QLineEdit *> fields = window->findChildren<QLineEdit *>();
};

} // namespace

class AccountScreensTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { FakeVPNManager::install(); }
    void init() { store.items.clear(); }

    void missingFieldsAreNamedOneAtATime()
    {
        const ScriptedServer server;
        const AlertCatcher catcher;
        const Shown login;
        login.submit(u""_s, u""_s);
        QCOMPARE(login.window->focusWidget(), login.fields.first());
        login.submit(u" "_s, u""_s);
        QCOMPARE(login.window->focusWidget(), login.fields.last());
        Shown{screens::forgot}.submit(u""_s);
        QCOMPARE(catcher.alerts,
                 (QStringList{u"Alert: Please enter user name"_s, u"Alert: Please enter password"_s,
                              u"Alert: Username is blank!"_s}));
        QCOMPARE(server.requests.size(), 0);
    }

    void eachClickSignsInAndTheReplyMayComeDuringAnAlert()
    {
        ScriptedServer server;
        server.hold();
        server.hold();
        AlertCatcher catcher;
        const Shown login;
        login.submit(u" ann"_s);
        login.submit(u" ann"_s);
        QTRY_COMPARE(server.requests.size(), 2);
        QVERIFY(server.requests.first().body.contains("\" ann\""));
        catcher.whileOpen = [&] {
            server.release("{\"token\":\"\"}");
            QTRY_VERIFY(login.hasMovedOn());
        };
        server.release("{}");
        QTRY_VERIFY(login.hasMovedOn());
        QCOMPARE(catcher.alerts, QStringList{u"Alert: "_s});
        QCOMPARE(store.items, (QMap<QString, QString>{{u"token"_s, u""_s}, {u"username"_s, u" ann"_s}}));
        QCOMPARE(login.fields.last()->text(), QString());
    }

    void aFailureSaysWhatTheServiceSaysAndReturnsTheKeyboard()
    {
        ScriptedServer server;
        AlertCatcher catcher;
        const Shown login;
        login.window->makeKeyAndOrderFront();
        QVERIFY(QTest::qWaitForWindowActive(login.window.get()));
        QAbstractButton *const link = login.window->findChild<QAbstractButton *>(u"forgotPasswordButton"_s);
        link->setFocus();
        catcher.whileOpen = [] {
            QVERIFY(QTest::qWaitForWindowActive(QApplication::activeModalWidget()));
        };
        server.answer("{\"error\":{\"message\":\"<b>No</b>\"}}", 401);
        login.submit(u"ann"_s);
        QTRY_COMPARE(catcher.alerts, QStringList{u"Alert: <b>No</b>"_s});
        QTRY_COMPARE(QApplication::focusWidget(), link);
        QCOMPARE(login.fields.last()->text(), u"pw"_s);
        QVERIFY(!login.hasMovedOn());
        QVERIFY(store.items.isEmpty());
    }

    void aReplyIsHandledWithTheFieldsOfThenAlsoWithoutTheWindow()
    {
        const AlertCatcher catcher;
        for (const ScreenIdentifier &identifier : {screens::login, screens::forgot}) {
            ScriptedServer server;
            server.hold();
            Shown shown{identifier};
            shown.submit(u"  "_s);
            QTRY_COMPARE(server.requests.size(), 1);
            shown.fields.first()->setText(u"<b>bob"_s);
            shown.window.reset();
            const std::weak_ptr<Screen> screen = std::exchange(shown.screen, nullptr);
            server.release("{\"token\":\"t\",\"success\":false}");
            QTRY_VERIFY(screen.expired());
        }
        QCOMPARE(store.items.value(u"username"_s), u"<b>bob"_s);
        QCOMPARE(catcher.alerts,
                 QStringList{u"Alert: If there is an account associated with <b>bob a reset link will be "
                             "sent to that address."_s});
    }

    void onlyBothItemsLeadHome()
    {
        const QMap<QString, QString> both{{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
        for (const QString &empty : both.keys()) {
            store.items = both;
            store.items[empty].clear();
            const Shown login;
            login.window->show();
            QVERIFY(!login.hasMovedOn());
            QCOMPARE(currentWindow(), login.window.get());
            QCOMPARE(login.window->styleMask() & WindowStyleMaskResizable, 0U);
            // A keyring may open while the screen waits.
            store.items = both;
            Q_EMIT store.opened();
            QVERIFY(login.hasMovedOn());
        }
    }

    void pagesOfTheSiteOpenInTheBrowser()
    {
        QDesktopServices::setUrlHandler(u"https"_s, this, "open");
        for (const auto &[screen, button] :
             {std::pair(screens::login, u"createAccountButton"_s), std::pair(screens::home, u"helpButton"_s)})
            Shown{screen}.window->findChild<QAbstractButton *>(button)->click();
        QCOMPARE(opened,
                 (QStringList{u"https://www.velmora.test/"_s, u"https://www.velmora.test/support"_s}));
    }

public Q_SLOTS:
    void open(const QUrl &url) { opened << url.toString(); }

private:
    FakeSecretStore &store = FakeSecretStore::install();
    QStringList opened;
};

QTEST_MAIN(AccountScreensTest)
#include "AccountScreensTest.moc"
