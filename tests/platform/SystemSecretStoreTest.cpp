#include "platform/SystemSecretStore.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

const QString service = u"com.velmora.Test"_s;
constexpr qint64 operationBoundMilliseconds = 3000;

/// A keyring daemon of the private session bus on which this test runs.
class Keyring
{
public:
    explicit Keyring(const QString &home)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, home);
        environment.insert(u"XDG_DATA_HOME"_s, home);
        environment.insert(u"XDG_RUNTIME_DIR"_s, home);
        daemon.setProcessEnvironment(environment);
        daemon.start(u"gnome-keyring-daemon"_s,
                     {u"--foreground"_s, u"--unlock"_s, u"--components=secrets"_s});
        // The password of the collection, an empty line.
        daemon.write("\n");
        daemon.closeWriteChannel();
        if (!QTest::qWaitFor([] { return isOnBus(); }, 20000))
            qFatal("the keyring daemon does not come up: %s", daemon.readAllStandardError().constData());
    }
    ~Keyring() { kill(); }

    void kill()
    {
        daemon.kill();
        daemon.waitForFinished();
        QVERIFY(QTest::qWaitFor([] { return !isOnBus(); }));
    }
    void signal(int number) { ::kill(static_cast<pid_t>(daemon.processId()), number); }

    static void lock()
    {
        QDBusMessage call =
            QDBusMessage::createMethodCall(u"org.freedesktop.secrets"_s, u"/org/freedesktop/secrets"_s,
                                           u"org.freedesktop.Secret.Service"_s, u"Lock"_s);
        const QDBusObjectPath collection(u"/org/freedesktop/secrets/aliases/default"_s);
        call.setArguments({QVariant::fromValue(QList<QDBusObjectPath>{collection})});
        QCOMPARE(QDBusConnection::sessionBus().call(call).type(), QDBusMessage::ReplyMessage);
    }

private:
    static bool isOnBus()
    {
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(u"org.freedesktop.secrets"_s);
    }

    QProcess daemon;
};

} // namespace

/// Runs on a session bus of its own, on which nothing but this test starts a keyring.
class SystemSecretStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        home = std::make_unique<QTemporaryDir>();
        keyring = std::make_unique<Keyring>(home->path());
    }
    void cleanup() { keyring.reset(); }

    void keepsItemsApart()
    {
        QVERIFY(store.store(service, u"token"_s, u"tö ken\n"_s));
        QVERIFY(store.store(service, u"username"_s, QString()));
        QVERIFY(store.store(u"com.other"_s, u"token"_s, u"foreign"_s));
        QCOMPARE(*store.read(service, u"token"_s), std::optional(u"tö ken\n"_s));
        QCOMPARE(*store.read(service, u"username"_s), std::optional(QString()));
        QCOMPARE(*store.read(service, u"password"_s), std::nullopt);
        QCOMPARE(*store.persistentReference(service, u"password"_s), std::nullopt);
        QVERIFY(store.remove(service, u"token"_s));
        QVERIFY(store.remove(service, u"token"_s));
        QCOMPARE(*store.read(service, u"token"_s), std::nullopt);
        QCOMPARE(*store.read(u"com.other"_s, u"token"_s), std::optional(u"foreign"_s));
    }

    void aReferenceFollowsTheValueAndNothingElse()
    {
        QVERIFY(store.store(service, u"password"_s, u"one"_s));
        const auto reference = *store.persistentReference(service, u"password"_s);
        QVERIFY(reference);
        QVERIFY(store.store(service, u"password"_s, u"two"_s));
        QCOMPARE(*store.persistentReference(service, u"password"_s), reference);
        QCOMPARE(*store.resolve(*reference, service, u"password"_s), std::optional(u"two"_s));
        QCOMPARE(*store.resolve(*reference, service, u"sharedSecret"_s), std::nullopt);
        QCOMPARE(*store.resolve(*reference, u"com.other"_s, u"password"_s), std::nullopt);
        QCOMPARE(*store.resolve("no path", service, u"password"_s), std::nullopt);
        QVERIFY(store.remove(service, u"password"_s));
        const auto gone = store.resolve(*reference, service, u"password"_s);
        QVERIFY(!gone || !*gone);
        // The store may give the path to the next item.
        QVERIFY(store.store(service, u"token"_s, u"other"_s));
        const auto reused = store.resolve(*reference, service, u"password"_s);
        QVERIFY(!reused || !*reused);
    }

    void aReferenceSurvivesARestart()
    {
        QVERIFY(store.store(service, u"password"_s, u"one"_s));
        const auto reference = *store.persistentReference(service, u"password"_s);
        keyring.reset();
        keyring = std::make_unique<Keyring>(home->path());
        QCOMPARE(*store.resolve(*reference, service, u"password"_s), std::optional(u"one"_s));
    }

    void failsWithinItsBound_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::newRow("locked") << u"lock"_s;
        QTest::newRow("died") << u"die"_s;
        QTest::newRow("stopped answering") << u"hang"_s;
    }

    void failsWithinItsBound()
    {
        QFETCH(QString, fault);
        QVERIFY(store.store(service, u"password"_s, u"one"_s));
        const auto reference = *store.persistentReference(service, u"password"_s);
        if (fault == u"lock"_s)
            Keyring::lock();
        else if (fault == u"die"_s)
            keyring->kill();
        else
            keyring->signal(SIGSTOP);
        QElapsedTimer timer;
        const auto inTime = [&timer] {
            return timer.restart() < operationBoundMilliseconds;
        };
        timer.start();
        QVERIFY(!store.read(service, u"password"_s));
        QVERIFY(inTime());
        QVERIFY(!store.store(service, u"password"_s, u"two"_s));
        QVERIFY(inTime());
        QVERIFY(!store.persistentReference(service, u"password"_s));
        QVERIFY(inTime());
        QVERIFY(!store.resolve(*reference, service, u"password"_s));
        QVERIFY(inTime());
        // The next call works once the fault is over.
        if (fault == u"hang"_s)
            keyring->signal(SIGCONT);
        else {
            keyring.reset();
            keyring = std::make_unique<Keyring>(home->path());
        }
        QCOMPARE(*store.read(service, u"password"_s), std::optional(u"one"_s));
    }

    void unlockingAnUnlockedStoreAsksNobody() { QVERIFY(store.unlock()); }

private:
    SystemSecretStore store;
    std::unique_ptr<QTemporaryDir> home;
    std::unique_ptr<Keyring> keyring;
};

QTEST_GUILESS_MAIN(SystemSecretStoreTest)
#include "SystemSecretStoreTest.moc"
