#include "platform/keyring/SystemSecretStore.h"

#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

const QString service = u"com.velmora.Test"_s;
const QString busName = u"org.freedesktop.secrets"_s;
constexpr int eventMilliseconds = 20000;
constexpr int callMilliseconds = 2500;

/// A keyring daemon of the private session bus on which this test runs.
class Keyring
{
public:
    Keyring() { start(); }
    ~Keyring() { kill(); }
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
        QVERIFY2(QTest::qWaitFor([] { return isOnBus(); }, eventMilliseconds), daemon.readAllStandardError());
    }
    void kill()
    {
        daemon.kill();
        daemon.waitForFinished();
        QVERIFY(QTest::qWaitFor([] { return !isOnBus(); }));
    }
    void signal(int number) { ::kill(static_cast<pid_t>(daemon.processId()), number); }
    static void lock() { tell({u"Lock"_s, u"array:objpath:/org/freedesktop/secrets/aliases/default"_s}); }
    static void setDefaultCollection(const QString &name)
    {
        const QString path = u"objpath:/org/freedesktop/secrets/collection/"_s + name;
        tell({u"SetAlias"_s, u"string:default"_s, path});
    }

private:
    static bool isOnBus() { return QDBusConnection::sessionBus().interface()->isServiceRegistered(busName); }
    static void tell(QStringList call)
    {
        call.first().prepend(u"org.freedesktop.Secret.Service."_s);
        const QStringList first{u"--session"_s, u"--print-reply"_s, u"--dest="_s + busName,
                                u"/org/freedesktop/secrets"_s};
        QCOMPARE(QProcess::execute(u"dbus-send"_s, first + call), 0);
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
    void init() { store.emplace(); }
    void cleanup() { store.reset(); }

    void keepsItemsApartAndFollowsReferences()
    {
        Keyring keyring;
        QVERIFY(store->store(service, u"token"_s, u"tö ken\n"_s));
        QVERIFY(store->store(service, u"username"_s, QString()));
        QVERIFY(store->store(u"com.other"_s, u"token"_s, u"foreign"_s));
        QVERIFY(store->store(service, u"password"_s, u"one"_s));
        const auto reference = *store->persistentReference(service, u"password"_s);
        QVERIFY(reference);
        QVERIFY(store->store(service, u"password"_s, u"two"_s));
        QCOMPARE(*store->persistentReference(service, u"password"_s), reference);
        // Another session of the user.
        keyring.kill();
        keyring.start();
        QCOMPARE(read(u"token"_s), u"tö ken\n"_s);
        QCOMPARE(read(u"username"_s), u""_s);
        QCOMPARE(read(u"sharedSecret"_s), nothing);
        QCOMPARE(*store->persistentReference(service, u"sharedSecret"_s), std::nullopt);
        QCOMPARE(*store->resolve(*reference, service, u"password"_s), std::optional(u"two"_s));
        QCOMPARE(*store->resolve(*reference, service, u"sharedSecret"_s), std::nullopt);
        QCOMPARE(*store->resolve(*reference, u"com.other"_s, u"password"_s), std::nullopt);
        for (int time = 0; time < 2; ++time)
            QVERIFY(store->remove(service, u"password"_s));
        // The service may give the path to the next item.
        QVERIFY(store->store(service, u"sharedSecret"_s, u"other"_s));
        QCOMPARE(*store->resolve(*reference, service, u"password"_s), std::nullopt);
        QCOMPARE(*store->read(u"com.other"_s, u"token"_s), std::optional(u"foreign"_s));
    }

    void anotherDefaultCollectionBringsBackNothingOld()
    {
        Keyring keyring;
        QVERIFY(store->store(service, u"token"_s, u"old"_s));
        Keyring::setDefaultCollection(u"session"_s);
        QCOMPARE(read(u"token"_s), u"old"_s);
        QVERIFY(store->store(service, u"token"_s, u"new"_s));
        for (const QString &collection : {u"session"_s, u"login"_s}) {
            Keyring::setDefaultCollection(collection);
            QCOMPARE(read(u"token"_s), u"new"_s);
        }
        QVERIFY(store->remove(service, u"token"_s));
        QCOMPARE(read(u"token"_s), nothing);
        // An item of another collection is no substitute for one that is locked.
        QVERIFY(store->store(service, u"username"_s, u"in login"_s));
        Keyring::lock();
        QVERIFY(!store->read(service, u"username"_s));
        Keyring::setDefaultCollection(u"session"_s);
        QVERIFY(store->store(service, u"username"_s, u"in session"_s));
        Keyring::setDefaultCollection(u"login"_s);
        QVERIFY(!store->read(service, u"username"_s));
    }

    void losesNothingWhileItCannotWrite_data()
    {
        QTest::addColumn<int>("fault");
        QTest::newRow("locked") << int(Locked);
        QTest::newRow("absent") << int(Absent);
        QTest::newRow("stopped") << int(Stopped);
    }

    void losesNothingWhileItCannotWrite()
    {
        QFETCH(int, fault);
        Keyring keyring;
        QVERIFY(store->store(service, u"password"_s, u"one"_s));
        QVERIFY(store->store(service, u"token"_s, u"goes"_s));
        const auto written = *store->persistentReference(service, u"password"_s);
        store->unlock();
        QSignalSpy opened(&*store, &SecretStore::opened);
        QVERIFY(opened.wait());
        if (fault == Locked)
            Keyring::lock();
        else if (fault == Absent)
            keyring.kill();
        else
            keyring.signal(SIGSTOP);

        // The window waits once.
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!store->read(service, u"password"_s));
        QVERIFY(!store->resolve(*written, service, u"password"_s));
        QVERIFY(!store->store(service, u"password"_s, u"two"_s));
        QVERIFY(!store->remove(service, u"token"_s));
        QCOMPARE(read(u"password"_s), u"two"_s);
        QCOMPARE(read(u"token"_s), nothing);
        const auto reference = *store->persistentReference(service, u"password"_s);
        QCOMPARE(*store->resolve(*reference, service, u"password"_s), std::optional(u"two"_s));
        QVERIFY2(timer.elapsed() < callMilliseconds, qPrintable(QString::number(timer.elapsed())));
        if (fault != Stopped)
            QTRY_COMPARE(store->missing().value(0),
                         fault == Locked ? MissingPart::UnlockedKeyring : MissingPart::SecretService);

        opened.clear();
        if (fault == Locked)
            keyring.kill();
        if (fault == Stopped)
            keyring.signal(SIGCONT);
        else
            keyring.start();
        QVERIFY(opened.wait(eventMilliseconds));
        QCOMPARE(store->missing(), QList<MissingPart>());
        // Another process finds what this one has written.
        QCOMPARE(*store->persistentReference(service, u"password"_s), written);
        store.emplace();
        QCOMPARE(read(u"password"_s), u"two"_s);
        QCOMPARE(read(u"token"_s), nothing);
        QCOMPARE(*store->resolve(*reference, service, u"password"_s), std::optional(u"two"_s));
    }

private:
    enum Fault { Locked, Absent, Stopped };

    QString read(const QString &key)
    {
        const auto text = store->read(service, key);
        return text && *text ? **text : nothing;
    }

    const QString nothing = u"nothing"_s;
    std::optional<SystemSecretStore> store;
};

QTEST_GUILESS_MAIN(SystemSecretStoreTest)
#include "SystemSecretStoreTest.moc"
