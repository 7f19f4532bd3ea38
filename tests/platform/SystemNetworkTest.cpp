#include "platform/vpn/SystemNetworkVPNManager.h"
#include "tests/support/FakeSecretStore.h"

#include <QDBusArgument>
#include <QDBusPendingReply>
#include <QDBusVirtualObject>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QString nm = u"org.freedesktop.NetworkManager"_s;
const QString root = u"/org/freedesktop/NetworkManager"_s;
const QVariant profilePath = QVariant::fromValue(QDBusObjectPath(root + u"/Settings/1"_s));

/// NetworkManager on the test's own bus: holds one profile, refuses what it is told to refuse, and can fall
/// silent.
class Daemon final : public QDBusVirtualObject
{
public:
    Daemon()
    {
        bus.registerVirtualObject(u"/"_s, this, QDBusConnection::SubPath);
        bus.registerService(nm);
    }
    ~Daemon() override { QDBusConnection::disconnectFromBus(u"daemon"_s); }

    QStringList permissions() const { return saved[u"connection"_s][u"permissions"_s].toStringList(); }
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override
    {
        last = message;
        const QString method = message.member();
        calls << method;
        if (method == u"GetConnectionByUuid" && saved.isEmpty())
            refusals[method] = {nm + u".Settings.InvalidConnection"_s, {}};
        if (silent)
            return true;
        if (const auto [error, words] = refusals.take(method); !error.isEmpty())
            return bus.send(message.createErrorReply(error, words));
        if (method == u"AddConnection2" || method == u"Update2")
            saved = qdbus_cast<SystemNetworkSettings>(message.arguments().constFirst());
        const QMap<QString, QVariant> replies{{u"GetAll"_s, QVariantMap()},
                                              {u"GetSettings"_s, QVariant::fromValue(saved)}};
        return bus.send(message.createReply(replies.value(method, profilePath)));
    }

    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"daemon"_s);
    SystemNetworkSettings saved;
    bool silent = false;
    /// For the next call of each method: the error's name and its message.
    QMap<QString, QPair<QString, QString>> refusals;
    QStringList calls;
    QDBusMessage last;
};

constexpr auto load = &SystemNetworkVPNManager::loadFromPreferences;
constexpr auto save = &SystemNetworkVPNManager::saveToPreferences;
constexpr auto start = &SystemNetworkVPNManager::startVPNTunnel;

struct World
{
    World()
    {
        manager.setProtocolConfiguration({.serverAddress = u"gate.example"_s,
                                          .localIdentifier = u"client"_s,
                                          .username = u"jörg@example"_s,
                                          .passwordReference = "ref:password",
                                          .sharedSecretReference = "ref:sharedSecret"});
    }
    /// The name of the operation's error, or "done".
    QString outcome(void (SystemNetworkVPNManager::*operation)(VPNCompletion))
    {
        QString seen;
        (manager.*operation)(
            [&seen](const auto &error) { seen = error ? error->domain.section(u'.', -1) : u"done"_s; });
        return QTest::qWaitFor([&seen] { return !seen.isEmpty(); }, 20000) ? seen : u"no end"_s;
    }
    /// The secrets in the client's answer to `caller`, or the words of its refusal.
    QString secrets(const SystemNetworkSettings &connection, const QString &setting = u"vpn"_s,
                    const std::optional<QDBusConnection> &caller = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(daemon.last.service(), root + u"/SecretAgent"_s,
                                                              nm + u".SecretAgent"_s, u"GetSecrets"_s);
        message.setArguments({QVariant::fromValue(connection), profilePath, setting, QStringList(), 0U});
        QDBusPendingReply<SystemNetworkSettings> reply = caller.value_or(daemon.bus).asyncCall(message);
        static_cast<void>(QTest::qWaitFor([&reply] { return reply.isFinished(); }));
        const auto given = qdbus_cast<QMap<QString, QString>>(reply.value()[u"vpn"_s][u"secrets"_s]);
        return reply.isError() ? reply.error().message() : QStringList(given.values()).join(u' ');
    }

    Daemon daemon;
    SystemNetworkVPNManager manager;
};

} // namespace

/// The daemon's moods that the real one does not show on demand. The private session bus passes for the
/// system's.
class SystemNetworkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS")); }

    void saysThatTheDaemonIsGone()
    {
        World world;
        QCOMPARE(world.outcome(save), u"done"_s);
        // The bus says so until the client hears that the daemon has gone.
        world.daemon.refusals[u"GetConnectionByUuid"_s] = {u"org.freedesktop.DBus.Error.NameHasNoOwner"_s,
                                                           {}};
        QCOMPARE(world.outcome(load), u"ServiceUnknown"_s);
        world.daemon.bus.unregisterService(nm);
        QTRY_VERIFY(world.manager.missing().contains(MissingPart::NetworkManager));
    }

    void isEnabledOnceTheDaemonHasTheProfile()
    {
        World world;
        world.manager.setEnabled(true);
        QCOMPARE(world.outcome(save), u"done"_s);
        QVERIFY(world.manager.isEnabled());
        // The daemon hangs in a save and removes the profile meanwhile.
        world.daemon.silent = true;
        world.manager.setEnabled(true);
        QString saved;
        world.manager.saveToPreferences([&saved](const auto &error) { saved = error ? u"no"_s : u"yes"_s; });
        QTRY_COMPARE(world.daemon.last.member(), u"Update2"_s);
        world.daemon.bus.send(
            QDBusMessage::createSignal(root + u"/Settings"_s, nm + u".Settings"_s, u"ConnectionRemoved"_s)
            << profilePath);
        QTRY_COMPARE(world.manager.status(), VPNStatus::Invalid);
        QVERIFY(!world.manager.isEnabled());
        world.daemon.bus.send(world.daemon.last.createErrorReply(QDBusError::UnknownMethod, {}));
        QTRY_COMPARE(saved, u"no"_s);
        QVERIFY(!world.manager.isEnabled());
    }

    void onlyThatRefusalOpensTheProfile()
    {
        const QString refusal = u"The 'vpnc' plugin doesn't support private connections."_s;
        const QString unavailable = u".ConnectionNotAvailable"_s;
        const std::tuple<QString, QString, QString, bool> rows[] = {
            {u"ActivateConnection"_s, unavailable, u"The VPN service was not installed."_s, false},
            {u"ActivateConnection"_s, unavailable, refusal, true},
            {u"Update2"_s, u".Settings.PermissionDenied"_s, refusal, false},
            {u"Update2"_s, unavailable, refusal, true},
        };
        for (const auto &[method, error, words, opens] : rows) {
            World world;
            QCOMPARE(world.outcome(save), u"done"_s);
            const QStringList own = world.daemon.permissions();
            QCOMPARE(own.size(), 1);
            world.daemon.refusals[method] = {nm + error, words};
            QCOMPARE(world.outcome(method == u"Update2" ? save : start),
                     opens ? u"done"_s : error.section(u'.', -1));
            QCOMPARE(world.daemon.permissions(), opens ? QStringList() : own);
            QCOMPARE(world.daemon.calls.count(method), opens ? 2 : 1);
            QCOMPARE(world.outcome(save), u"done"_s);
            QCOMPARE(world.daemon.permissions(), own);
        }
    }

    void theAgentAnswersForWhatWasSavedAlone()
    {
        FakeSecretStore &store = FakeSecretStore::install();
        store.items = {{u"password"_s, u"pä ss"_s}, {u"sharedSecret"_s, u"s3cret"_s}, {u"token"_s, u"t"_s}};
        World world;
        QCOMPARE(world.outcome(save), u"done"_s);
        const SystemNetworkSettings saved = world.daemon.saved;
        QCOMPARE(world.secrets(saved), u"s3cret pä ss"_s);
        const QString notOurs = u"this is not the client's profile"_s;
        QCOMPARE(world.secrets(saved, u"proxy"_s), notOurs);
        QCOMPARE(world.secrets(saved, u"vpn"_s, QDBusConnection::sessionBus()),
                 u"the caller is not NetworkManager"_s);
        const QString notAsSaved = u"the profile's gateway or user is not the one that the client saved"_s;
        const std::tuple<QString, QString, QString, QString> rows[] = {
            {u"vpn"_s, u"IPSec gateway"_s, u"evil"_s, notAsSaved},
            {u"vpn"_s, u"Xauth username"_s, u"eve"_s, notAsSaved},
            {u"user"_s, u"velmora.application"_s, u"other"_s, notOurs},
            {u"user"_s, u"velmora.password-reference"_s, u"cmVmOnRva2Vu"_s,
             u"the keyring has no \"password\" at the profile's reference"_s},
        };
        for (const auto &[setting, key, value, refusal] : rows) {
            SystemNetworkSettings altered = saved;
            auto data = qdbus_cast<QMap<QString, QString>>(altered[setting][u"data"_s]);
            data[key] = value;
            altered[setting][u"data"_s] = QVariant::fromValue(data);
            QCOMPARE(world.secrets(altered), refusal);
        }
        for (const QString &broken : {u"a\nb"_s, u"a\rb"_s, u"a\0b"_s}) {
            store.items[u"password"_s] = broken;
            QCOMPARE(world.secrets(saved), u"\"password\" holds a null character or a line break"_s);
        }
        VPNProtocolIPSec protocol = *world.manager.protocolConfiguration();
        protocol.serverAddress = u"gate.example\0.evil"_s;
        world.manager.setProtocolConfiguration(protocol);
        QCOMPARE(world.outcome(save), u"InvalidArgs"_s);
    }

    /// A tunnel that the daemon began anew is told from others that come up after one was lost.
    void afterATunnelThatWasUp()
    {
        using enum VPNStatus;
        using Tunnel = SystemNetworkTunnel;
        using Facts = SystemNetworkStatus::Facts;
        const auto running = [](const SystemNetworkTunnels &tunnels = {}) {
            return Facts{.daemonRuns = true, .hasProfile = true, .tunnels = tunnels};
        };
        const Facts none = running();
        const Facts anew = running({{2, {.state = Tunnel::State::Activating}}});
        const Facts ended = running({{1, {.state = Tunnel::State::Deactivating, .endedOnRequest = true}}});
        const Facts begunByUs{.daemonRuns = true, .hasProfile = true, .startUnderWay = true, .tunnels = {}};
        const QList<std::tuple<std::chrono::milliseconds, Facts, VPNStatus>> rows[] = {
            {{10ms, none, Disconnected}, {1s, anew, Reasserting}, {2s, anew, Reasserting}},
            {{10ms, none, Disconnected}, {1011ms, anew, Connecting}},
            {{10ms, begunByUs, Connecting}, {30ms, anew, Connecting}},
            {{10ms, ended, Disconnecting}, {20ms, anew, Connecting}},
            {{10ms, Facts(), Disconnected}, {20ms, anew, Connecting}},
        };
        for (const auto &steps : rows) {
            SystemNetworkStatus machine;
            QVERIFY(machine.update(running({{1, {.state = Tunnel::State::Activated}}}), {}));
            for (const auto &[at, facts, expected] : steps) {
                static_cast<void>(machine.update(facts, SystemNetworkStatus::Time() + at));
                QCOMPARE(machine.status(), expected);
            }
        }
    }
};

QTEST_GUILESS_MAIN(SystemNetworkTest)
#include "SystemNetworkTest.moc"
