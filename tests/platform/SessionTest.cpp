#include "platform/desktop/ApplicationInstance.h"
#include "platform/desktop/DesktopAppearance.h"
#include "platform/keyring/SystemSecretStore.h"

#include <QDBusConnectionInterface>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString appearanceSpace = u"org.freedesktop.appearance"_s;
const QString interfaceSpace = u"org.gnome.desktop.interface"_s;

/// A settings portal on a bus connection of its own.
class FakePortal final : public QDBusVirtualObject
{
public:
    FakePortal()
    {
        bus.registerVirtualObject(portalPath, this);
        bus.registerService(u"org.freedesktop.portal.Desktop"_s);
    }
    void change(const QString &space, const QString &key, const QVariant &value)
    {
        bus.send(
            QDBusMessage::createSignal(portalPath, u"org.freedesktop.portal.Settings"_s, u"SettingChanged"_s)
            << space << key << QVariant::fromValue(QDBusVariant(value)));
    }
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &read, const QDBusConnection &) override
    {
        const QDBusVariant value(read.arguments().constFirst() == interfaceSpace ? QVariant(1.5)
                                                                                 : QVariant(1U));
        // The portal wraps the value twice.
        bus.send(read.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(value)))));
        return true;
    }

    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"portal"_s);
};

const QString service = u"com.velmora.Test"_s;
const QString busName = u"org.freedesktop.secrets"_s;
const QString root = u"/org/freedesktop/secrets"_s;

/// A keyring daemon of the private session bus on which this test runs.
struct Keyring
{
    Keyring() { start(); }
    ~Keyring() { kill(); }
    void start()
    {
        daemon.start(u"env"_s, {u"XDG_DATA_HOME="_s + home.path(), u"XDG_RUNTIME_DIR="_s + home.path(),
                                u"gnome-keyring-daemon"_s, u"--foreground"_s, u"--unlock"_s});
        // The password of the collection, an empty line.
        daemon.write("\n");
        daemon.closeWriteChannel();
        waitUntilOnBus(true);
    }
    void kill()
    {
        daemon.kill();
        daemon.waitForFinished();
        waitUntilOnBus(false);
    }
    void signal(int number) const { ::kill(static_cast<pid_t>(daemon.processId()), number); }
    static void call(const QString &method, const QVariantList &arguments)
    {
        QDBusMessage call =
            QDBusMessage::createMethodCall(busName, root, u"org.freedesktop.Secret.Service"_s, method);
        call.setArguments(arguments);
        QDBusConnection::sessionBus().call(call);
    }
    static void waitUntilOnBus(bool is)
    {
        const QDBusConnectionInterface *const bus = QDBusConnection::sessionBus().interface();
        QTRY_COMPARE_WITH_TIMEOUT(bus->isServiceRegistered(busName).value(), is, 20000);
    }

    QTemporaryDir home;
    QProcess daemon;
};

} // namespace

/// The parts of the session that the client talks to, on a session bus of its own.
class SessionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSecondStartIsPassedOnWithItsTokenWhereThereIsABus()
    {
        ApplicationInstance first;
        QCOMPARE(first.claim({}), ApplicationInstance::Role::First);
        QSignalSpy activations(&first, &ApplicationInstance::activationRequested);
        const auto roleOfStart = [](const QString &setting) {
            return ApplicationInstance::Role(
                QProcess::execute(u"env"_s, {setting, QCoreApplication::applicationFilePath(), u"start"_s}));
        };
        for (const QString &variable : {u"XDG_ACTIVATION_TOKEN"_s, u"DESKTOP_STARTUP_ID"_s}) {
            // The event loop of the first does not run meanwhile.
            QCOMPARE(roleOfStart(variable + u"=token"_s), ApplicationInstance::Role::Second);
            QTRY_COMPARE(activations.size(), 1);
            QCOMPARE(activations.takeFirst().at(0).toString(), u"token"_s);
        }
        QCOMPARE(roleOfStart(u"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent"_s),
                 ApplicationInstance::Role::First);
    }

    void thePortalIsWaitedForAndItsChangesAreFollowed()
    {
        FakePortal portal;
        Appearance seen;
        const DesktopAppearance appearance([&seen](const Appearance &now) { seen = now; });
        QCOMPARE(seen, (Appearance{.isDark = true, .hasHighContrast = true, .textScale = 1.5}));
        portal.change(appearanceSpace, u"contrast"_s, u"high"_s);
        portal.change(interfaceSpace, u"color-scheme"_s, 0U);
        portal.change(appearanceSpace, u"color-scheme"_s, 2U);
        portal.change(interfaceSpace, u"text-scaling-factor"_s, 1e9);
        QTRY_COMPARE(seen, (Appearance{.isDark = false, .hasHighContrast = true, .textScale = 3}));
    }

    void keepsItemsApartAndFollowsReferences()
    {
        Keyring keyring;
        store.emplace();
        write(u"token"_s, u"tö ken\n"_s);
        write(u"username"_s, QString());
        write(u"password"_s, u"one"_s);
        const QByteArray reference = **store->persistentReference(service, u"password"_s);
        write(u"password"_s, u"two"_s);
        QVERIFY(store->store(u"com.other"_s, u"token"_s, u"foreign"_s));
        // Another session of the user.
        keyring.kill();
        keyring.start();
        QCOMPARE(read(u"token"_s), u"tö ken\n"_s);
        QCOMPARE(read(u"username"_s), u""_s);
        QCOMPARE(read(u"sharedSecret"_s), nothing);
        QCOMPARE(*store->resolve(reference, service, u"password"_s), std::optional(u"two"_s));
        QCOMPARE(*store->resolve(reference, service, u"sharedSecret"_s), std::nullopt);
        QVERIFY(store->remove(service, u"password"_s));
        // The service may give the path to the next item.
        write(u"sharedSecret"_s, u"other"_s);
        QCOMPARE(*store->resolve(reference, service, u"password"_s), std::nullopt);
        // Another default collection brings back nothing old.
        for (const QString &name : {u"session"_s, u"login"_s}) {
            const QDBusObjectPath collection(root + u"/collection/"_s + name);
            Keyring::call(u"SetAlias"_s, {u"default"_s, QVariant::fromValue(collection)});
            QCOMPARE(read(u"token"_s), name == u"session" ? u"tö ken\n"_s : u"new"_s);
            write(u"token"_s, u"new"_s);
        }
    }

    void losesNothingWhileItCannotWrite()
    {
        enum Fault { Locked, Absent, Stopped };
        for (const Fault fault : {Locked, Absent, Stopped}) {
            Keyring keyring;
            store.emplace();
            write(u"password"_s, u"one"_s);
            write(u"token"_s, u"goes"_s);
            store->unlock();
            QSignalSpy opened(&*store, &SecretStore::opened);
            QTRY_VERIFY(!opened.isEmpty());
            const QDBusObjectPath collection(root + u"/aliases/default"_s);
            if (fault == Locked)
                Keyring::call(u"Lock"_s, {QVariant::fromValue(QList{collection})});
            else
                fault == Absent ? keyring.kill() : keyring.signal(SIGSTOP);

            // The window waits once.
            QElapsedTimer timer;
            timer.start();
            QVERIFY(!store->store(service, u"password"_s, u"two"_s));
            QVERIFY(!store->remove(service, u"token"_s));
            QCOMPARE(read(u"password"_s), u"two"_s);
            QCOMPARE(read(u"token"_s), nothing);
            const QByteArray kept = **store->persistentReference(service, u"password"_s);
            QCOMPARE(*store->resolve(kept, service, u"password"_s), std::optional(u"two"_s));
            QVERIFY2(timer.elapsed() < 2500, qPrintable(QString::number(timer.elapsed())));
            const auto missing = fault == Locked ? MissingPart::UnlockedKeyring : MissingPart::SecretService;
            QTRY_VERIFY(fault == Stopped || store->missing().contains(missing));

            opened.clear();
            if (fault == Locked)
                keyring.kill();
            fault == Stopped ? keyring.signal(SIGCONT) : keyring.start();
            QTRY_VERIFY(!opened.isEmpty());
            // Another process finds what this one has written.
            store.emplace();
            QCOMPARE(read(u"password"_s), u"two"_s);
            QCOMPARE(read(u"token"_s), nothing);
            QCOMPARE(*store->resolve(kept, service, u"password"_s), std::optional(u"two"_s));
        }
    }

private:
    void write(const QString &key, const QString &text) { QVERIFY(store->store(service, key, text)); }
    QString read(const QString &key)
    {
        const auto text = store->read(service, key);
        return text && *text ? **text : nothing;
    }

    const QString nothing = u"nothing"_s;
    std::optional<SystemSecretStore> store;
};

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    if (argc > 1 && argv[1] == "start"_ba)
        return int(ApplicationInstance().claim(ApplicationInstance::activationTokenOfStart()));
    SessionTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "SessionTest.moc"
