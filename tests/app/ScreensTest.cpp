#include "account/ForgotVC.h"
#include "account/ViewController.h"
#include "app/MainStoryboard.h"
#include "app/SettingsVC.h"
#include "connection/HomeVC.h"
#include "notices/Notification1VC.h"
#include "notices/Notification2VC.h"
#include "notices/Notification3VC.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/ScriptedServer.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QPushButton>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

template<class T>
bool shows(const Window *window)
{
    return std::dynamic_pointer_cast<T>(window->contentViewController()) != nullptr;
}

QWidget *control(const Window *window, const QString &name)
{
    return window->findChild<QWidget *>(name);
}

void click(const Window *window, const QString &name)
{
    window->findChild<QAbstractButton *>(name)->click();
}

} // namespace

/// How the real screens lead to one another.
class ScreensTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        store = &FakeSecretStore::install();
        FakeVPNManager::install();
        storyboard = makeMainStoryboard();
    }

    void cleanup() { qDeleteAll(Window::windows()); }

    void homeSettingsResetAndBackThroughTheLogin()
    {
        store->items = {{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
        const Window *const window = open(u"LoginVC"_s);
        QVERIFY(shows<HomeVC>(window));
        click(window, u"settingsButton"_s);
        QVERIFY(shows<SettingsVC>(window));
        click(window, u"changePasswordButton"_s);
        QVERIFY(shows<ForgotVC>(window));
        click(window, u"backToLoginButton"_s);
        QVERIFY(shows<HomeVC>(window));
        // The same way without what the login screen looks for.
        store->items.clear();
        click(window, u"settingsButton"_s);
        click(window, u"logoutButton"_s);
        QVERIFY(shows<ViewController>(window));
        click(window, u"forgotPasswordButton"_s);
        QVERIFY(shows<ForgotVC>(window));
        QCOMPARE(Window::windows().size(), 1);
    }

    void homePresentsItsNotices()
    {
        const Window *const window = open(u"HomeVC"_s);
        click(window, u"button2"_s);
        const Window *const first = Window::windows().constLast();
        QVERIFY(shows<Notification1VC>(first));
        QCOMPARE(first->windowModality(), Qt::ApplicationModal);
        click(first, u"closeButton"_s);

        click(window, u"button3"_s);
        const Window *const second = Window::windows().constLast();
        QVERIFY(shows<Notification2VC>(second));
        QCOMPARE(second->windowModality(), Qt::ApplicationModal);
        click(second, u"updateButton"_s);
        QVERIFY(control(window, u"installModal"_s)->isVisible());

        click(window, u"recentButton"_s);
        const Window *const third = Window::windows().constLast();
        QVERIFY(shows<Notification3VC>(third));
        QCOMPARE(third->windowModality(), Qt::NonModal);
        // One is enough: the second press brings it to the front.
        click(window, u"recentButton"_s);
        QCOMPARE(Window::windows().size(), 2);
        click(third, u"closeButton"_s);
        click(window, u"recentButton"_s);
        QCOMPARE(Window::windows().size(), 2);
    }

    void aScreenThatIsMissingOrOfAnotherClassLeadsNowhere_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::newRow("absent") << u"Unused"_s;
        QTest::newRow("of another class") << QString();
    }

    void aScreenThatIsMissingOrOfAnotherClassLeadsNowhere()
    {
        QFETCH(QString, identifier);
        const std::shared_ptr<Storyboard> odd = Storyboard::make();
        odd->add(u"HomeVC"_s, u"HomeVC"_s, Screen::make<HomeVC>);
        for (const QString &name : {u"Notification1VC"_s, u"Notification2VC"_s, u"SettingsVC"_s})
            odd->add(identifier.isEmpty() ? name : identifier, u"OtherVC"_s, Screen::make<SettingsVC>);
        storyboard = odd;
        const Window *const window = open(u"HomeVC"_s);
        for (const QString &button : {u"button2"_s, u"button3"_s, u"settingsButton"_s, u"recentButton"_s})
            click(window, button);
        QVERIFY(shows<HomeVC>(window));
        QCOMPARE(Window::windows().size(), 1);
    }

    void theKeyboardReachesEveryControl_data()
    {
        QTest::addColumn<QString>("identifier");
        for (const char *const name :
             {"SettingsVC", "ForgotVC", "Notification1VC", "Notification2VC", "Notification3VC"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }

    void theKeyboardReachesEveryControl()
    {
        QFETCH(QString, identifier);
        Window *const window = open(identifier);
        QVERIFY(QTest::qWaitForWindowActive(window));
        const QList<QAbstractButton *> buttons = window->findChildren<QAbstractButton *>();
        QSet<QWidget *> reached;
        for (int presses = 0; presses < 12; ++presses) {
            QTest::keyClick(window->focusWidget() != nullptr ? window->focusWidget() : window, Qt::Key_Tab);
            reached.insert(window->focusWidget());
        }
        QSet<QChar> mnemonics;
        for (QAbstractButton *const button : buttons) {
            QVERIFY2(reached.contains(button), qUtf8Printable(button->objectName()));
            QVERIFY2(!button->text().isEmpty() || !button->accessibleName().isEmpty(),
                     qUtf8Printable(button->objectName()));
            const qsizetype ampersand = button->text().indexOf(u'&');
            if (ampersand < 0)
                continue;
            const QChar mnemonic = button->text().at(ampersand + 1).toLower();
            QVERIFY2(!mnemonics.contains(mnemonic), qUtf8Printable(button->text()));
            mnemonics.insert(mnemonic);
        }
        for (const QPushButton *const button : window->findChildren<QPushButton *>()) {
            if (identifier.startsWith(u"Notification") && button->isDefault())
                QVERIFY(open(identifier)->focusWidget()->objectName() == button->objectName());
        }
    }

private:
    Window *open(const QString &identifier)
    {
        Window *const window = Window::windowWithContentViewController(storyboard->instantiate(identifier));
        window->makeKeyAndOrderFront();
        return window;
    }

    FakeSecretStore *store = nullptr;
    std::shared_ptr<Storyboard> storyboard;
    ScriptedServer server;
};

QTEST_MAIN(ScreensTest)
#include "ScreensTest.moc"
