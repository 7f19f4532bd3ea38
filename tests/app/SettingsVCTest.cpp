#include "app/SettingsVC.h"
#include "platform/UserDefaults.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/StubScreen.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

class SettingsVCTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        qputenv("XDG_CONFIG_HOME", folder.path().toUtf8());
        // What an administrator or another program of the house would have put there.
        qputenv("XDG_CONFIG_DIRS", folder.path().toUtf8());
    }

    void eachActionNeedsItsScreen_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("className");
        QTest::addColumn<bool>("moves");
        QTest::newRow("home") << u"homeButton"_s << u"HomeVC"_s << u"HomeVC"_s << true;
        QTest::newRow("password") << u"changePasswordButton"_s << u"ForgotVC"_s << u"ForgotVC"_s << true;
        QTest::newRow("log out") << u"logoutButton"_s << u"LoginVC"_s << u"ViewController"_s << true;
        QTest::newRow("home of another class") << u"homeButton"_s << u"HomeVC"_s << u"OtherVC"_s << false;
        QTest::newRow("no reset screen") << u"changePasswordButton"_s << u"x"_s << u"ForgotVC"_s << false;
        QTest::newRow("login of another class") << u"logoutButton"_s << u"LoginVC"_s << u"LoginVC"_s << false;
    }

    void eachActionNeedsItsScreen()
    {
        QFETCH(QString, button);
        QFETCH(QString, identifier);
        QFETCH(QString, className);
        QFETCH(bool, moves);
        writeDefaults("token=t\n");
        const std::shared_ptr<Storyboard> storyboard = Storyboard::make();
        storyboard->add(u"SettingsVC"_s, u"SettingsVC"_s, Screen::make<SettingsVC>);
        storyboard->add(identifier, className, Screen::make<StubScreen>);
        const std::shared_ptr<Screen> screen = storyboard->instantiate(u"SettingsVC"_s);
        const std::unique_ptr<Window> window(Window::windowWithContentViewController(screen));
        window->show();
        const qsizetype windows = Window::windows().size();
        window->findChild<QAbstractButton *>(button)->click();
        QCOMPARE(window->contentViewController() != screen, moves);
        QCOMPARE(Window::windows().size(), windows);
        // Logging out empties them whatever comes of the screen; nothing else does.
        QCOMPARE(UserDefaults::standardUserDefaults().dictionaryRepresentation().isEmpty(),
                 button == u"logoutButton"_s);
    }

    void loggingOutEmptiesTheDefaultsAndNothingElse_data()
    {
        QTest::addColumn<QByteArray>("defaults");
        QTest::newRow("no token") << QByteArray("other=1\n");
        QTest::newRow("groups and lists") << QByteArray("token=t\nlist=a, b\n[window]\nsize=1\ndeep\\er=2\n");
        QTest::newRow("keys that need quoting")
            << QByteArray("a%20b=1\n%U00e9=2\nc%5Cd=3\n[%General]\nx=4\n");
        QTest::newRow("differing in case") << QByteArray("token=1\nTOKEN=2\nToken=3\n");
        QTest::newRow("damaged") << QByteArray("token=t\nno key here\n=nor here\n[]\nb=1\n");
    }

    void loggingOutEmptiesTheDefaultsAndNothingElse()
    {
        QFETCH(QByteArray, defaults);
        writeDefaults(defaults);
        const QString beside = folder.filePath(u"com.velmora.conf"_s);
        QFile neighbour(beside);
        QVERIFY(neighbour.open(QIODevice::WriteOnly));
        neighbour.write("token=other\n");
        neighbour.close();

        FakeSecretStore &store = FakeSecretStore::install();
        store.items = {{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
        const ScriptedServer server;
        OutputCapture output;
        const std::shared_ptr<SettingsVC> screen = Screen::make<SettingsVC>();
        screen->loadedView();
        screen->logoutButtonClicked();

        QVERIFY(UserDefaults::standardUserDefaults().dictionaryRepresentation().isEmpty());
        QFile file(UserDefaults::filePath());
        QVERIFY(!file.open(QIODevice::ReadOnly) || file.readAll().trimmed().isEmpty());
        QVERIFY(QFile::exists(beside));
        const QStringList lines = output.lines();
        output.stop();
        QCOMPARE(lines.filter(u"store"_s), QStringList());
        QCOMPARE(store.items.size(), 2);
        QCOMPARE(server.connections, 0);
    }

private:
    static void writeDefaults(const QByteArray &content)
    {
        QFile file(UserDefaults::filePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QTemporaryDir folder;
};

QTEST_MAIN(SettingsVCTest)
#include "SettingsVCTest.moc"
