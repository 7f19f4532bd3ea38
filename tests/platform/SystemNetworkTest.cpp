#include "platform/vpn/SystemNetworkVPNManager.h"
#include "tests/support/FakeNetworkDaemon.h"
#include "tests/support/FakeSecretStore.h"

#include <QDBusReply>
#include <QTemporaryDir>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

const QString nm = u"org.freedesktop.NetworkManager"_s;
const QString privateRefusal = u"The 'vpnc' plugin doesn't support private connections."_s;

const VPNProtocolIPSec fullProtocol{.serverAddress = u"gate.example"_s,
                                    .localIdentifier = u"client"_s,
                                    .authenticationMethod = VPNIKEAuthenticationMethod::SharedSecret,
                                    .username = u"jörg@example"_s,
                                    .passwordReference = "ref:password",
                                    .sharedSecretReference = "ref:sharedSecret",
                                    .useExtendedAuthentication = true};

struct World
{
    /// Waits for the outcomes of `count` operations; the name of each error, an empty text for a success.
    static QStringList outcomes(int count, const std::function<void(const VPNCompletion &)> &ask)
    {
        QStringList seen;
        ask([&seen](const auto &error) { seen << (error ? error->domain.section(u'.', -1) : QString()); });
        if (!seen.isEmpty())
            return {u"answered within the call"_s};
        static_cast<void>(QTest::qWaitFor([&] { return seen.size() == count; }, 20000));
        return seen;
    }
    QString load()
    {
        return outcomes(1, [this](const auto &over) { manager.loadFromPreferences(over); }).join(u'+');
    }
    QString save(const VPNProtocolIPSec &protocol = fullProtocol)
    {
        manager.setProtocolConfiguration(protocol);
        return outcomes(1, [this](const auto &over) { manager.saveToPreferences(over); }).join(u'+');
    }
    QString start()
    {
        return outcomes(1, [this](const auto &over) { manager.startVPNTunnel(over); }).join(u'+');
    }
    QStringList all()
    {
        return outcomes(3, [this](const auto &over) {
            manager.loadFromPreferences(over);
            manager.saveToPreferences(over);
            manager.startVPNTunnel(over);
            manager.stopVPNTunnel();
        });
    }
    /// The number of secrets in the client's answer to `caller`, or the words of its refusal.
    QString secrets(const SystemNetworkSettings &connection, const QString &setting = u"vpn"_s,
                    const std::optional<QDBusConnection> &caller = {})
    {
        QDBusMessage message =
            QDBusMessage::createMethodCall(daemon.client, u"/org/freedesktop/NetworkManager/SecretAgent"_s,
                                           u"org.freedesktop.NetworkManager.SecretAgent"_s, u"GetSecrets"_s);
        message.setArguments({QVariant::fromValue(connection), QVariant::fromValue(QDBusObjectPath(u"/1"_s)),
                              setting, QStringList(), 0U});
        const QDBusPendingCall call = caller.value_or(daemon.bus).asyncCall(message);
        static_cast<void>(QTest::qWaitFor([&call] { return call.isFinished(); }));
        const QDBusReply<SystemNetworkSettings> reply(call.reply());
        const auto texts =
            qdbus_cast<QMap<QString, QString>>(reply.value().value(u"vpn"_s).value(u"secrets"_s));
        return reply.isValid() ? QStringList(texts.values()).join(u' ') : reply.error().message();
    }

    QTemporaryDir plugins;
    FakeNetworkDaemon daemon;
    SystemNetworkVPNManager manager{SystemNetworkVPNManager::Secrets::Offered, {plugins.filePath(u"VPN"_s)}};
};

} // namespace

/// The daemon's moods that the real one does not show on demand. The private session bus passes for the
/// system's.
class SystemNetworkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS")); }

    void saysWhatIsMissingAndWaitsForItsReturn()
    {
        World world;
        QCOMPARE(world.all(), QStringList(3, u"ServiceUnknown"_s));
        QCOMPARE(world.manager.status(), VPNStatus::Disconnected);
        QTRY_COMPARE(world.manager.missing(), (QList{MissingPart::NetworkManager, MissingPart::VPNPlugin}));
        const QDir folder(world.plugins.path());
        folder.mkdir(u"VPN"_s);
        QFile description(folder.filePath(u"VPN/nm-vpnc-service.name"_s));
        QVERIFY(description.open(QIODevice::WriteOnly));
        description.write("[VPN Connection]\nname=vpnc\nservice=org.freedesktop.NetworkManager.vpnc\n");
        description.close();
        QTRY_COMPARE(world.manager.missing(), QList{MissingPart::NetworkManager});
        world.daemon.come();
        QTRY_COMPARE(world.manager.missing(), QList<MissingPart>());
        QCOMPARE(world.save(), QString());
        // The client may or may not have heard of it when it asks.
        world.daemon.go();
        QCOMPARE(world.load(), u"ServiceUnknown"_s);
        QTRY_COMPARE(world.manager.missing(), QList{MissingPart::NetworkManager});
        // It takes its name before its objects are there.
        for (const QString &method : {u"GetAll"_s, u"GetConnectionByUuid"_s, u"Register"_s})
            world.daemon.refusals[method] = {QDBusError::errorString(QDBusError::UnknownMethod), {}};
        world.daemon.come();
        QTRY_COMPARE(world.manager.missing(), QList<MissingPart>());
        QCOMPARE(world.start(), QString());
        QTRY_COMPARE(world.manager.status(), VPNStatus::Connected);
    }

    void aSilentDaemonIsAnError()
    {
        World world;
        world.daemon.silent = true;
        world.daemon.come();
        QCOMPARE(world.all(), QStringList(3, u"NoReply"_s));
        QCOMPARE(world.manager.status(), VPNStatus::Invalid);
        QStringList later;
        {
            SystemNetworkVPNManager ends;
            ends.loadFromPreferences([&later](const auto &) { later << u"answered"_s; });
            QTRY_VERIFY(world.daemon.calls.count(u"GetAll"_s) > 1);
        }
        world.daemon.thaw();
        QCOMPARE(world.load(), QString());
        QVERIFY(later.isEmpty());
    }

    void isEnabledOnceTheDaemonHasTheProfile()
    {
        World world;
        world.daemon.come();
        world.manager.setEnabled(true);
        QCOMPARE(world.save(), QString());
        QVERIFY(world.manager.isEnabled());
        // The daemon hangs in a save and removes the profile meanwhile.
        world.daemon.silent = true;
        world.manager.setEnabled(true);
        QStringList saved;
        world.manager.saveToPreferences(
            [&saved](const auto &error) { saved << (error ? u"no"_s : u"yes"_s); });
        QTRY_COMPARE(world.daemon.calls.last(), u"Update2"_s);
        world.daemon.removeProfile();
        QTRY_COMPARE(world.manager.status(), VPNStatus::Invalid);
        QVERIFY(!world.manager.isEnabled());
        world.daemon.refusals[u"Update2"_s] = {QDBusError::errorString(QDBusError::UnknownMethod), {}};
        world.daemon.thaw();
        QTRY_COMPARE(saved, QStringList{u"no"_s});
        QVERIFY(!world.manager.isEnabled());
    }

    void readsBackWhatItSaved()
    {
        World world;
        world.daemon.come();
        VPNProtocolIPSec protocol = fullProtocol;
        VPNProtocolIPSec bare = protocol;
        bare.disconnectOnSleep = true;
        bare.username.reset();
        bare.passwordReference.reset();
        bare.sharedSecretReference = QByteArray("\0\xff=\n", 4);
        for (const VPNProtocolIPSec &each : {protocol, bare}) {
            QCOMPARE(world.save(each), QString());
            world.manager.setProtocolConfiguration({});
            QCOMPARE(world.load(), QString());
            QVERIFY(world.manager.protocolConfiguration() == each);
        }
        protocol.serverAddress = u"gate.example\0.evil"_s;
        QCOMPARE(world.save(protocol), u"InvalidArgs"_s);
        // Somebody else's profile is left as it is.
        world.daemon.saved[u"user"_s].clear();
        QCOMPARE(world.load(), u"UuidExists"_s);
        world.daemon.refusals[u"GetConnectionByUuid"_s] = {nm + u".Settings.PermissionDenied"_s, {}};
        QCOMPARE(world.load(), u"UuidExists"_s);
        QVERIFY(world.daemon.saved[u"user"_s].isEmpty());
    }

    void onlyThatRefusalOpensTheProfile()
    {
        const QString start = u"ActivateConnection"_s;
        const QString update = u"Update2"_s;
        const QString unavailable = u".ConnectionNotAvailable"_s;
        const std::tuple<QString, QString, QString, bool> rows[] = {
            {start, unavailable, u"The VPN service was not installed."_s, false},
            {start, u".PermissionDenied"_s, privateRefusal, false},
            {start, unavailable, privateRefusal, true},
            {update, u".Settings.PermissionDenied"_s, privateRefusal, false},
            {update, unavailable, privateRefusal, true},
        };
        for (const auto &[method, error, words, opens] : rows) {
            World world;
            world.daemon.come();
            QCOMPARE(world.save(), QString());
            const QStringList own = world.daemon.permissions();
            QCOMPARE(own.size(), 1);
            world.daemon.refusals[method] = {nm + error, words};
            QCOMPARE(method == update ? world.save() : world.start(),
                     opens ? QString() : error.section(u'.', -1));
            QCOMPARE(world.daemon.permissions(), opens ? QStringList() : own);
            QCOMPARE(world.daemon.calls.count(method), opens ? 2 : 1);
            QCOMPARE(world.save(), QString());
            QCOMPARE(world.daemon.permissions(), own);
        }
    }

    void theAgentAnswersForWhatWasSavedAlone()
    {
        FakeSecretStore &store = FakeSecretStore::install();
        store.items = {{u"password"_s, u"pä ss"_s}, {u"sharedSecret"_s, u"s3cret"_s}, {u"token"_s, u"t"_s}};
        World world;
        world.daemon.come();
        QCOMPARE(world.save(), QString());
        const SystemNetworkSettings saved = world.daemon.saved;
        QCOMPARE(world.secrets(saved), u"s3cret pä ss"_s);
        QCOMPARE(world.secrets(saved, u"proxy"_s), u"this is not the client's profile"_s);
        QCOMPARE(world.secrets(saved, u"vpn"_s, QDBusConnection::sessionBus()),
                 u"the caller is not NetworkManager"_s);
        const auto altered = [&saved](const QString &setting, const QString &key, const QString &value) {
            SystemNetworkSettings other = saved;
            auto data = qdbus_cast<QMap<QString, QString>>(other[setting][u"data"_s]);
            data[key] = value;
            other[setting][u"data"_s] = QVariant::fromValue(data);
            return other;
        };
        const QString notAsSaved = u"the profile's gateway or user is not the one that the client saved"_s;
        QCOMPARE(world.secrets(altered(u"vpn"_s, u"IPSec gateway"_s, u"evil"_s)), notAsSaved);
        QCOMPARE(world.secrets(altered(u"vpn"_s, u"Xauth username"_s, u"eve"_s)), notAsSaved);
        QCOMPARE(world.secrets(altered(u"user"_s, u"velmora.application"_s, u"other"_s)),
                 u"this is not the client's profile"_s);
        const QString token = QString::fromLatin1(QByteArray("ref:token").toBase64());
        QVERIFY(
            !world.secrets(altered(u"user"_s, u"velmora.password-reference"_s, token)).contains(u"s3cret"));
        for (const QString &broken : {u"a\nb"_s, u"a\rb"_s, u"a\0b"_s}) {
            store.items[u"password"_s] = broken;
            QCOMPARE(world.secrets(saved), u"\"password\" holds a null character or a line break"_s);
        }
        store.failing = true;
        QVERIFY(!world.secrets(saved).contains(u"s3cret"));
    }
};

QTEST_GUILESS_MAIN(SystemNetworkTest)
#include "SystemNetworkTest.moc"
