#include "platform/keyring/SystemSecretStore.h"

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
constexpr qint64 callMilliseconds = 2500;
constexpr qint64 atOnceMilliseconds = 200;
constexpr int eventMilliseconds = 20000;

bool isOnBus()
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(u"org.freedesktop.secrets"_s);
}

/// A keyring daemon of the private session bus on which this test runs.
class Keyring
{
public:
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
        QVERIFY2(QTest::qWaitFor(isOnBus, eventMilliseconds), daemon.readAllStandardError());
    }
    void kill()
    {
        daemon.kill();
        daemon.waitForFinished();
        QVERIFY(QTest::qWaitFor([] { return !isOnBus(); }));
    }
    void restart()
    {
        kill();
        start();
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
        QMap<QString, QString> items{{only + u"/1"_s, u"old"_s}};
        bool itemsAreLocked = false;
        QString silentMethod;
        QStringList calls;
    };

    HabitualService()
    {
        moveToThread(&thread);
        thread.start();
        run([this] {
            bus.registerVirtualObject(u"/"_s, this, QDBusConnection::SubPath);
            bus.registerService(u"org.freedesktop.secrets"_s);
        });
    }
    ~HabitualService() override
    {
        QDBusConnection::disconnectFromBus(bus.name());
        thread.quit();
        thread.wait();
    }

    /// Runs it between two calls.
    void run(const std::function<void()> &function)
    {
        QMetaObject::invokeMethod(this, function, Qt::BlockingQueuedConnection);
    }
    void set(const std::function<void(State &)> &change)
    {
        run([this, change] { change(state); });
    }
    /// Since the last time that this was called.
    QStringList calls()
    {
        QStringList made;
        set([&made](State &now) { made = std::exchange(now.calls, {}); });
        return made;
    }
    void emitSignal(const QString &object, const QString &signal, const QVariantList &arguments)
    {
        QDBusMessage message =
            QDBusMessage::createSignal(object, signal.section(u'.', 0, -2), signal.section(u'.', -1));
        message.setArguments(arguments);
        bus.send(message);
    }
    void endPrompt(const QString &prompt, bool dismissed)
    {
        emitSignal(prompt, u"org.freedesktop.Secret.Prompt.Completed"_s, {dismissed, variant(QString())});
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &call, const QDBusConnection &) override
    {
        const QString method = call.member();
        state.calls << (method == u"Unlock"_s || method == u"Prompt"_s ? method + argumentOf(call) : method);
        if (method != state.silentMethod)
            bus.send(call.createReply(answer(method, call)));
        return true;
    }

    static inline const QString only = u"/org/freedesktop/secrets/collection/only"_s;

private:
    static QString argumentOf(const QDBusMessage &call)
    {
        if (call.member() == u"Prompt"_s)
            return call.path();
        return qdbus_cast<QList<QDBusObjectPath>>(call.arguments().constFirst()).value(0).path();
    }
    static QVariant variant(const QVariant &value) { return QVariant::fromValue(QDBusVariant(value)); }
    static QVariant path(const QString &text) { return QVariant::fromValue(QDBusObjectPath(text)); }
    QVariantList answer(const QString &method, const QDBusMessage &call) const
    {
        QList<QDBusObjectPath> found;
        for (const QString &item : state.items.keys())
            found << QDBusObjectPath(item);
        const QList<QDBusObjectPath> none;
        if (method == u"ReadAlias"_s)
            return {path(state.collection)};
        if (method == u"Get"_s && call.arguments().constLast() == u"Modified"_s)
            return {variant(qulonglong(state.items.keys().indexOf(call.path())))};
        if (method == u"Get"_s)
            return {variant(false)};
        if (method == u"SearchItems"_s)
            return {QVariant::fromValue(state.itemsAreLocked ? none : found),
                    QVariant::fromValue(state.itemsAreLocked ? found : none)};
        if (method == u"OpenSession"_s)
            return {variant(QString()), path(u"/session"_s)};
        if (method == u"GetSecret"_s)
            return {QVariant::fromValue(Secret{QDBusObjectPath(u"/session"_s),
                                               {},
                                               state.items.value(call.path()).toUtf8(),
                                               u"text/plain"_s})};
        if (method == u"Unlock"_s)
            return {QVariant::fromValue(none), path(u"/unlock"_s)};
        if (method == u"CreateItem"_s || method == u"CreateCollection"_s)
            return {path(u"/"_s), path(u"/create"_s)};
        return {};
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

    void keepsItemsApart()
    {
        Keyring keyring;
        keyring.start();
        QVERIFY(store->store(service, u"token"_s, u"tö ken\n"_s));
        QVERIFY(store->store(service, u"username"_s, QString()));
        QVERIFY(store->store(u"com.other"_s, u"token"_s, u"foreign"_s));
        store.emplace();
        QCOMPARE(read(u"token"_s), u"tö ken\n"_s);
        QCOMPARE(*store->read(service, u"username"_s), std::optional(QString()));
        QCOMPARE(*store->read(service, u"password"_s), std::nullopt);
        QCOMPARE(*store->persistentReference(service, u"password"_s), std::nullopt);
        QVERIFY(store->remove(service, u"token"_s));
        QVERIFY(store->remove(service, u"token"_s));
        QCOMPARE(*store->read(service, u"token"_s), std::nullopt);
        QCOMPARE(*store->read(u"com.other"_s, u"token"_s), std::optional(u"foreign"_s));
    }

    void anotherDefaultCollectionBringsBackNothingOld()
    {
        Keyring keyring;
        keyring.start();
        QVERIFY(store->store(service, u"token"_s, u"old"_s));
        Keyring::setDefaultCollection(u"session"_s);
        QCOMPARE(read(u"token"_s), u"old"_s);
        QVERIFY(store->store(service, u"token"_s, u"new"_s));
        for (const QString &collection : {u"session"_s, u"login"_s}) {
            Keyring::setDefaultCollection(collection);
            QCOMPARE(read(u"token"_s), u"new"_s);
        }
        QVERIFY(store->remove(service, u"token"_s));
        QCOMPARE(*store->read(service, u"token"_s), std::nullopt);
        // One that is locked is not made up for by another.
        QVERIFY(store->store(service, u"username"_s, u"in login"_s));
        Keyring::lock();
        QVERIFY(!store->read(service, u"username"_s));
        Keyring::setDefaultCollection(u"session"_s);
        QVERIFY(store->store(service, u"username"_s, u"in session"_s));
        Keyring::setDefaultCollection(u"login"_s);
        QVERIFY(!store->read(service, u"username"_s));
    }

    void aReferenceFollowsTheValueAndNothingElse()
    {
        Keyring keyring;
        keyring.start();
        QVERIFY(store->store(service, u"password"_s, u"one"_s));
        const auto reference = *store->persistentReference(service, u"password"_s);
        QVERIFY(reference);
        QVERIFY(store->store(service, u"password"_s, u"two"_s));
        QCOMPARE(*store->persistentReference(service, u"password"_s), reference);
        keyring.restart();
        QCOMPARE(*store->resolve(*reference, service, u"password"_s), std::optional(u"two"_s));
        QCOMPARE(*store->resolve(*reference, service, u"sharedSecret"_s), std::nullopt);
        QCOMPARE(*store->resolve(*reference, u"com.other"_s, u"password"_s), std::nullopt);
        QVERIFY(store->remove(service, u"password"_s));
        QCOMPARE(*store->resolve(*reference, service, u"password"_s), std::nullopt);
        // The service may give the path to the next item.
        QVERIFY(store->store(service, u"token"_s, u"other"_s));
        QCOMPARE(*store->resolve(*reference, service, u"password"_s), std::nullopt);
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
        keyring.start();
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

        QElapsedTimer timer;
        timer.start();
        QVERIFY(!store->read(service, u"password"_s));
        QVERIFY(timer.elapsed() < callMilliseconds);
        timer.start();
        QVERIFY(!store->resolve(*written, service, u"password"_s));
        QVERIFY(!store->store(service, u"password"_s, u"two"_s));
        QVERIFY(!store->remove(service, u"token"_s));
        QCOMPARE(read(u"password"_s), u"two"_s);
        QCOMPARE(*store->read(service, u"token"_s), std::nullopt);
        const auto reference = *store->persistentReference(service, u"password"_s);
        QCOMPARE(*store->resolve(*reference, service, u"password"_s), std::optional(u"two"_s));
        QVERIFY2(timer.elapsed() < atOnceMilliseconds, qPrintable(QString::number(timer.elapsed())));
        const QList<MissingPart> lacking{fault == Locked ? MissingPart::UnlockedKeyring
                                                         : MissingPart::SecretService};
        if (fault != Stopped)
            QTRY_COMPARE(store->missing(), lacking);

        opened.clear();
        if (fault == Stopped)
            keyring.signal(SIGCONT);
        else if (fault == Locked)
            keyring.restart();
        else
            keyring.start();
        QVERIFY(opened.wait(eventMilliseconds));
        QCOMPARE(store->missing(), QList<MissingPart>());
        // Another process finds what this one has written.
        SystemSecretStore other;
        QCOMPARE(*other.read(service, u"password"_s), std::optional(u"two"_s));
        QCOMPARE(*other.read(service, u"token"_s), std::nullopt);
        QCOMPARE(*other.resolve(*reference, service, u"password"_s), std::optional(u"two"_s));
        QCOMPARE(*store->persistentReference(service, u"password"_s), written);
    }

    void itemsLockedOneByOneAreUnlockedByName()
    {
        HabitualService habitual;
        habitual.set([](auto &now) { now.itemsAreLocked = true; });
        QVERIFY(!store->read(service, u"token"_s));
        QVERIFY(!store->store(service, u"token"_s, u"new"_s));
        QCoreApplication::processEvents();
        const QStringList unasked = habitual.calls();
        QVERIFY2(unasked.filter(u"Prompt"_s).isEmpty(), qPrintable(unasked.join(u' ')));
        store->unlock();
        QStringList calls;
        QTRY_VERIFY2((calls += habitual.calls()).contains(u"Prompt/unlock"_s), qPrintable(calls.join(u' ')));
        QVERIFY2(calls.contains(u"Unlock"_s + HabitualService::only + u"/1"_s), qPrintable(calls.join(u' ')));
        QCOMPARE(store->missing(), QList{MissingPart::UnlockedKeyring});
        // A user who says no is not asked again; one who says yes later is heard.
        habitual.endPrompt(u"/unlock"_s, true);
        calls.clear();
        QTRY_VERIFY((calls += habitual.calls()).contains(u"SearchItems"_s));
        QVERIFY2(calls.filter(u"Unlock"_s).isEmpty(), qPrintable(calls.join(u' ')));
        QVERIFY2(!calls.contains(u"Dismiss"_s), qPrintable(calls.join(u' ')));
        QSignalSpy opened(&*store, &SecretStore::opened);
        habitual.set([](auto &now) { now.itemsAreLocked = false; });
        habitual.emitSignal(u"/org/freedesktop/secrets"_s,
                            u"org.freedesktop.Secret.Service.CollectionChanged"_s, {});
        QVERIFY(opened.wait());
        QTRY_VERIFY((calls += habitual.calls()).contains(u"CreateItem"_s));
    }

    void aTextAnswersFromMemoryUntilItsPromptHasStoredIt()
    {
        HabitualService habitual;
        QVERIFY(store->store(service, u"token"_s, u"new"_s));
        QStringList calls;
        QTRY_VERIFY((calls += habitual.calls()).contains(u"Prompt/create"_s));
        QCOMPARE(read(u"token"_s), u"new"_s);
        habitual.set([](auto &now) { now.items.first() = u"changed by another program"_s; });
        habitual.endPrompt(u"/create"_s, false);
        QTRY_COMPARE(read(u"token"_s), u"changed by another program"_s);
    }

    void aReferenceThatLeadsNowhereIsLookedUpByAttributes()
    {
        HabitualService habitual;
        const QByteArray reference = **store->persistentReference(service, u"token"_s);
        habitual.set([](auto &now) {
            now.items = {{HabitualService::only + u"/7"_s, u"older"_s},
                         {HabitualService::only + u"/8"_s, u"newer"_s}};
        });
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
        QStringList calls;
        QTRY_VERIFY((calls += habitual.calls()).contains(u"Prompt/create"_s));
        QVERIFY2(sinceTheWord.elapsed() > 1000, "asked before the user can have read why");
        QVERIFY2(calls.contains(u"CreateCollection"_s), qPrintable(calls.join(u' ')));
        habitual.set([](auto &now) { now.collection = HabitualService::only; });
        habitual.endPrompt(u"/create"_s, false);
        QTRY_VERIFY((calls += habitual.calls()).contains(u"CreateItem"_s));
        QCOMPARE(store->missing(), QList<MissingPart>());
    }

    void aCallThatStaysSilentIsWaitedForOnce()
    {
        HabitualService habitual;
        QCOMPARE(read(u"token"_s), u"old"_s);
        habitual.set([](auto &now) { now.silentMethod = u"GetSecret"_s; });
        QElapsedTimer timer;
        timer.start();
        // Other calls are answered all the time.
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
        return text && *text ? **text : u"nothing"_s;
    }

    std::optional<SystemSecretStore> store;
};

QTEST_GUILESS_MAIN(SystemSecretStoreTest)
#include "SystemSecretStoreTest.moc"
