#include "platform/keyring/SystemSecretStore.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
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
    void start()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const QString &variable : {u"HOME"_s, u"XDG_DATA_HOME"_s, u"XDG_RUNTIME_DIR"_s})
            environment.insert(variable, home.path());
        daemon.setProcessEnvironment(environment);
        daemon.start(u"gnome-keyring-daemon"_s,
                     {u"--foreground"_s, u"--unlock"_s, u"--components=secrets"_s});
        // The password of the collection, an empty line.
        daemon.write("\n");
        daemon.closeWriteChannel();
        QVERIFY2(QTest::qWaitFor([] { return isOnBus(); }, 20000), daemon.readAllStandardError());
    }
    void kill()
    {
        daemon.kill();
        daemon.waitForFinished();
        QVERIFY(QTest::qWaitFor([] { return !isOnBus(); }));
    }
    void signal(int number) { ::kill(static_cast<pid_t>(daemon.processId()), number); }

    static void lock() { tell(u"Lock"_s, {u"array:objpath:/org/freedesktop/secrets/aliases/default"_s}); }
    static void setDefaultCollection(const QString &name)
    {
        tell(u"SetAlias"_s, {u"string:default"_s, u"objpath:/org/freedesktop/secrets/collection/"_s + name});
    }

private:
    static void tell(const QString &method, const QStringList &arguments)
    {
        const QStringList call{u"--session"_s, u"--print-reply"_s, u"--dest=org.freedesktop.secrets"_s,
                               u"/org/freedesktop/secrets"_s, u"org.freedesktop.Secret.Service."_s + method};
        QCOMPARE(QProcess::execute(u"dbus-send"_s, call + arguments), 0);
    }
    static bool isOnBus()
    {
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(u"org.freedesktop.secrets"_s);
    }

    QTemporaryDir home;
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
        keyring.emplace();
        keyring->start();
    }
    void cleanup() { keyring->kill(); }

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
        QVERIFY(store.unlock());
    }

    void theDefaultCollectionGoesBeforeOthers()
    {
        QVERIFY(store.store(service, u"token"_s, u"old"_s));
        Keyring::setDefaultCollection(u"session"_s);
        QVERIFY(store.store(service, u"token"_s, u"new"_s));
        QCOMPARE(*store.read(service, u"token"_s), std::optional(u"new"_s));
        Keyring::setDefaultCollection(u"login"_s);
        QCOMPARE(*store.read(service, u"token"_s), std::optional(u"old"_s));
        QVERIFY(store.remove(service, u"token"_s));
        QCOMPARE(*store.read(service, u"token"_s), std::nullopt);
        // A locked one is not made up for by another.
        QVERIFY(store.store(service, u"token"_s, u"latest"_s));
        Keyring::setDefaultCollection(u"session"_s);
        QVERIFY(store.store(service, u"token"_s, u"other"_s));
        Keyring::setDefaultCollection(u"login"_s);
        Keyring::lock();
        QVERIFY(!store.read(service, u"token"_s));
    }

    void aReferenceFollowsTheValueAndNothingElse()
    {
        QVERIFY(store.store(service, u"password"_s, u"one"_s));
        const auto reference = *store.persistentReference(service, u"password"_s);
        QVERIFY(reference);
        QVERIFY(store.store(service, u"password"_s, u"two"_s));
        QCOMPARE(*store.persistentReference(service, u"password"_s), reference);
        keyring->kill();
        keyring->start();
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

    void failsWithinItsBound_data()
    {
        QTest::addColumn<bool>("hangs");
        QTest::newRow("locked") << false;
        QTest::newRow("stopped answering") << true;
    }

    void failsWithinItsBound()
    {
        QFETCH(bool, hangs);
        QVERIFY(store.store(service, u"password"_s, u"one"_s));
        const auto reference = *store.persistentReference(service, u"password"_s);
        if (hangs)
            keyring->signal(SIGSTOP);
        else
            Keyring::lock();
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!store.read(service, u"password"_s));
        QVERIFY(!store.store(service, u"password"_s, u"two"_s));
        QVERIFY(!store.persistentReference(service, u"password"_s));
        QVERIFY(!store.resolve(*reference, service, u"password"_s));
        QVERIFY(timer.elapsed() < 4 * operationBoundMilliseconds);
        // The next call works once the fault is over.
        if (hangs) {
            keyring->signal(SIGCONT);
        } else {
            keyring->kill();
            keyring->start();
        }
        QCOMPARE(*store.read(service, u"password"_s), std::optional(u"one"_s));
    }

private:
    SystemSecretStore store;
    std::optional<Keyring> keyring;
};

QTEST_GUILESS_MAIN(SystemSecretStoreTest)
#include "SystemSecretStoreTest.moc"
