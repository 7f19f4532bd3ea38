#include "platform/keyring/SystemSecretStore.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>
#include <functional>
#include <utility>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

const QString service = u"com.velmora.Test"_s;
const QString busName = u"org.freedesktop.secrets"_s;
const QString only = u"/org/freedesktop/secrets/collection/only"_s;
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

/// A Secret Service with the habits of KeePassXC and KWallet. It answers from a thread of its own, while the
/// store blocks.
class HabitualService final : public QDBusVirtualObject
{
public:
    struct State
    {
        QString collection = only;
        /// By path; those further on are newer.
        QMap<QString, QByteArray> items{{only + u"/1"_s, "old"}};
        bool itemsAreLocked = false;
        QString silentMethod;
        QString calls;
    };

    HabitualService()
    {
        moveToThread(&thread);
        thread.start();
        set([this](State &) {
            bus.registerVirtualObject(u"/"_s, this, QDBusConnection::SubPath);
            bus.registerService(busName);
        });
    }
    ~HabitualService() override
    {
        QDBusConnection::disconnectFromBus(bus.name());
        thread.quit();
        thread.wait();
    }

    /// Changes the state between two calls.
    void set(const std::function<void(State &)> &change)
    {
        QMetaObject::invokeMethod(
            this, [&] { change(state); }, Qt::BlockingQueuedConnection);
    }
    /// Waits for this call; what was called since the last time, each with the path that it is about.
    QString callsUntil(const QString &last)
    {
        QString calls;
        const auto hasCome = [&] {
            set([&calls](State &now) { calls += std::exchange(now.calls, {}); });
            return calls.contains(last);
        };
        if (!QTest::qWaitFor(hasCome, eventMilliseconds))
            QTest::qFail(qPrintable(u"no "_s + last + u" in "_s + calls), __FILE__, __LINE__);
        return calls;
    }
    void emitSignal(const QString &object, const QString &interface, const QString &signal,
                    const QVariantList &arguments)
    {
        QDBusMessage message =
            QDBusMessage::createSignal(object, u"org.freedesktop.Secret."_s + interface, signal);
        message.setArguments(arguments);
        bus.send(message);
    }
    void endPrompt(const QString &prompt, bool dismissed)
    {
        emitSignal(prompt, u"Prompt"_s, u"Completed"_s, {dismissed, variant(QString())});
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &call, const QDBusConnection &) override
    {
        state.calls += call.member() + call.path() + u' ';
        if (call.member() == u"Unlock"_s) {
            for (const auto &object : qdbus_cast<QList<QDBusObjectPath>>(call.arguments().constFirst()))
                state.calls += u"Unlock of "_s + object.path();
        }
        if (call.member() != state.silentMethod)
            bus.send(call.createReply(answer(call.member(), call)));
        return true;
    }

private:
    static QVariant variant(const QVariant &value) { return QVariant::fromValue(QDBusVariant(value)); }
    static QVariant path(const QString &text) { return QVariant::fromValue(QDBusObjectPath(text)); }
    QVariantList answer(const QString &method, const QDBusMessage &call) const
    {
        QList<QDBusObjectPath> found;
        for (const QString &item : state.items.keys())
            found << QDBusObjectPath(item);
        QList<QDBusObjectPath> locked;
        if (state.itemsAreLocked)
            locked.swap(found);
        QDBusArgument secret;
        secret.beginStructure();
        secret << QDBusObjectPath(u"/session"_s) << QByteArray() << state.items.value(call.path())
               << u"text"_s;
        secret.endStructure();
        const bool isTime = call.arguments().value(1) == u"Modified"_s;
        const qulonglong time = state.items.keys().indexOf(call.path());
        const QMap<QString, QVariantList> answers{
            {u"ReadAlias"_s, {path(state.collection)}},
            {u"Get"_s, {isTime ? variant(time) : variant(state.collection != only)}},
            {u"SearchItems"_s, {QVariant::fromValue(found), QVariant::fromValue(locked)}},
            {u"OpenSession"_s, {variant(QString()), path(u"/session"_s)}},
            {u"GetSecret"_s, {QVariant::fromValue(secret)}},
            {u"Unlock"_s, {QVariant::fromValue(QList<QDBusObjectPath>()), path(u"/unlock"_s)}},
            {u"CreateItem"_s, {path(u"/"_s), path(u"/create"_s)}},
            {u"CreateCollection"_s, {path(u"/"_s), path(u"/create"_s)}}};
        return answers.value(method);
    }

    QThread thread;
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"habitual"_s);
    State state;
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

    void itemsLockedOneByOneAreUnlockedByName()
    {
        HabitualService habitual;
        habitual.set([](auto &now) { now.itemsAreLocked = true; });
        QVERIFY(!store->read(service, u"token"_s));
        QVERIFY(!store->store(service, u"token"_s, u"new"_s));
        store->unlock();
        QString calls = habitual.callsUntil(u"Prompt/unlock"_s);
        QVERIFY2(calls.count(u"Unlock of"_s) == 1 && calls.contains(u"Unlock of "_s + only + u"/1"_s),
                 qPrintable(calls));
        QCOMPARE(store->missing(), QList{MissingPart::UnlockedKeyring});
        // A user who says no is not asked again; one who says yes later is heard.
        habitual.endPrompt(u"/unlock"_s, true);
        calls = habitual.callsUntil(u"SearchItems"_s);
        habitual.set([](auto &now) { now.itemsAreLocked = false; });
        habitual.emitSignal(u"/org/freedesktop/secrets"_s, u"Service"_s, u"CollectionChanged"_s, {});
        calls += habitual.callsUntil(u"CreateItem"_s);
        QVERIFY2(!calls.contains(u"Unlock"_s) && !calls.contains(u"Dismiss"_s), qPrintable(calls));
    }

    void aTextAnswersFromMemoryUntilItsPromptHasStoredIt()
    {
        HabitualService habitual;
        QVERIFY(store->store(service, u"token"_s, u"new"_s));
        habitual.callsUntil(u"Prompt/create"_s);
        QCOMPARE(read(u"token"_s), u"new"_s);
        habitual.set([](auto &now) { now.items.first() = "changed by another program"; });
        habitual.endPrompt(u"/create"_s, false);
        QTRY_COMPARE(read(u"token"_s), u"changed by another program"_s);
    }

    void aReferenceThatLeadsNowhereIsLookedUpByAttributes()
    {
        HabitualService habitual;
        const QByteArray reference = **store->persistentReference(service, u"token"_s);
        habitual.set([](auto &now) { now.items = {{only + u"/7"_s, "older"}, {only + u"/8"_s, "newer"}}; });
        QCOMPARE(*store->resolve(reference, service, u"token"_s), std::optional(u"newer"_s));
    }

    void aNewUserIsMadeAKeyring()
    {
        HabitualService habitual;
        habitual.set([](auto &now) { now.collection = u"/"_s; });
        QVERIFY(!store->store(service, u"token"_s, u"new"_s));
        QSignalSpy missing(&*store, &SecretStore::missingChanged);
        store->unlock();
        QVERIFY(missing.wait());
        QCOMPARE(store->missing(), QList{MissingPart::DefaultKeyring});
        QElapsedTimer sinceTheWord;
        sinceTheWord.start();
        const QString calls = habitual.callsUntil(u"Prompt/create"_s);
        QVERIFY2(sinceTheWord.elapsed() > 1000, "asked before the user can have read why");
        QVERIFY2(calls.contains(u"CreateCollection"_s), qPrintable(calls));
        habitual.set([](auto &now) { now.collection = only; });
        habitual.endPrompt(u"/create"_s, false);
        habitual.callsUntil(u"CreateItem"_s);
        QCOMPARE(store->missing(), QList<MissingPart>());
    }

    void aCallThatStaysSilentIsWaitedForOnce()
    {
        HabitualService habitual;
        QCOMPARE(read(u"token"_s), u"old"_s);
        habitual.set([](auto &now) { now.silentMethod = u"GetSecret"_s; });
        QElapsedTimer timer;
        timer.start();
        // The service answers other calls all the time.
        for (int press = 0; press < 5; ++press) {
            QVERIFY(!store->read(service, u"token"_s));
            QCoreApplication::processEvents();
        }
        QVERIFY2(timer.elapsed() < callMilliseconds, qPrintable(QString::number(timer.elapsed())));
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
