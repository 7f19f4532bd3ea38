#include "connection/PowerButton.h"
#include "connection/StatusAppearance.h"
#include "tests/support/DeathTest.h"
#include "tests/support/HomeFixture.h"
#include "ui/Window.h"

#include <QProcess>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

const QByteArray details = "{\"success\":true,\"address\":\"gw.example\",\"configuration\":\"psk %1\","
                           "\"configurationType\":\"ipsec\",\"password\":\"vpnpw\"}";
const PlatformError refused{u"dom"_s, 7, u"why"_s};
const QString described = refused.description();

const QStringList asked{u"log connecting"_s, u"store get token"_s};
const QStringList replied{u"print response.data: "_s + QString::fromUtf8(details),
                          u"log connect to gw.example, psk %1"_s, u"vpn load"_s};
const QStringList configured{
    u"log configure VPN preferences"_s, u"store set sharedSecret psk %1"_s, u"log set shared secret"_s,
    u"store set password vpnpw"_s,      u"log set vpn password"_s,          u"store get username"_s,
    u"store attributes password"_s,     u"store attributes sharedSecret"_s, u"vpn save"_s};
const QStringList startedAgain{u"vpn load"_s, u"vpn start"_s};

} // namespace

class TunnelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loadingAppliesTheStatusThenLoadsThePreferences_data()
    {
        QTest::addColumn<std::optional<PlatformError>>("error");
        QTest::addColumn<QString>("said");
        QTest::newRow("success") << std::optional<PlatformError>() << u"nil"_s;
        QTest::newRow("failure") << std::optional(refused) << described;
    }

    void loadingAppliesTheStatusThenLoadsThePreferences()
    {
        QFETCH(std::optional<PlatformError>, error);
        QFETCH(QString, said);
        HomeFixture home;
        home.vpn.loads.enqueue(error);
        home.loadWithoutService();
        QCOMPARE(home.newLines(), (QStringList{u"print VPN Status changed:"_s, u"print Invalid"_s,
                                               u"vpn load"_s, u"store get token"_s, u"log viewDidLoad"_s,
                                               u"log Error loading VPN config from preferences: "_s + said}));
    }

    void connectsStepByStep()
    {
        HomeFixture home;
        home.loadWithoutService();
        home.newLines();
        home.server.answer(details);
        home.vpn.currentStatus = VPNStatus::Connecting;
        press(home, 7);
        QTRY_COMPARE(home.output.lines(),
                     asked + replied + configured + startedAgain +
                         (QStringList{u"print VPN Status changed:"_s, u"print Connecting"_s,
                                      u"print VPN started successfully.."_s}));
        QCOMPARE(home.server.requests.last().body,
                 QByteArray("{\"endpoint\":7,\"configurationType\":\"ipsec\"}"));
        const VPNProtocolIPSec profile{
            .serverAddress = u"gw.example"_s,
            .disconnectOnSleep = false,
            .localIdentifier = u"client"_s,
            .authenticationMethod = VPNIKEAuthenticationMethod::SharedSecret,
            .username = u"ann"_s,
            .passwordReference = "ref:password",
            .sharedSecretReference = "ref:sharedSecret",
            .useExtendedAuthentication = true,
        };
        QCOMPARE(home.vpn.saved, QList<VPNProtocolIPSec>{profile});
        QVERIFY(home.vpn.profileEnabled);
    }

    void eachFailureEndsTheSequenceWhereItIs_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("failing");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<bool>("rewritten");
        const QString error2 = u"print VPN Preferences error: 2"_s;
        QTest::newRow("first load") << details << u"load"_s
                                    << asked + replied + QStringList{u"log error, dom / 7"_s} << false;
        QTest::newRow("save") << details << u"save"_s << asked + replied + configured + QStringList{error2}
                              << true;
        QTest::newRow("second load") << details << u"reload"_s
                                     << asked + replied + configured + QStringList{u"vpn load"_s, error2}
                                     << true;
        QTest::newRow("start") << details << u"start"_s
                               << asked + replied + configured + startedAgain +
                                      QStringList{u"print "_s + described,
                                                  u"print VPN Preferences error: 3"_s,
                                                  u"print "_s + described}
                               << true;
    }

    void eachFailureEndsTheSequenceWhereItIs()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QString, failing);
        QFETCH(QStringList, lines);
        HomeFixture home;
        home.loadWithoutService();
        home.newLines();
        home.server.answer(reply);
        if (failing == u"load"_s)
            home.vpn.loads.enqueue(refused);
        if (failing == u"save"_s)
            home.vpn.saves.enqueue(refused);
        if (failing == u"reload"_s)
            home.vpn.loads = {{std::nullopt, refused}};
        if (failing == u"start"_s)
            home.vpn.starts.enqueue(refused);
        press(home, 7);
        QTRY_COMPARE(home.output.lines(), lines);
        QTEST(home.store.items.contains(u"sharedSecret"_s), "rewritten");
        QCOMPARE(home.text(u"connectStatusText"_s), u"Disconnected"_s);
        // The sequence has let go, and the next press starts from the beginning.
        QTRY_VERIFY(home.isAtRest());
        QCOMPARE(home.newLines(), lines);
        home.server.answer(details);
        press(home, 7);
        QTRY_COMPARE(home.output.lines().last(), u"print VPN started successfully.."_s);
    }

    void aReplyThatDoesNotDecodeTouchesNothing_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("key missing") << QByteArray(details).replace("\"password\"", "\"passwort\"");
        QTest::newRow("error object") << QByteArray("{\"error\":{\"message\":\"expired\"}}");
        QTest::newRow("empty") << QByteArray();
    }

    void aReplyThatDoesNotDecodeTouchesNothing()
    {
        QFETCH(QByteArray, reply);
        HomeFixture home;
        home.loadWithoutService();
        home.newLines();
        home.server.answer(reply);
        press(home, 7);
        QTRY_VERIFY(home.output.lines().contains(u"log incomplete response from server"_s));
        QVERIFY(!home.output.lines().contains(u"vpn load"_s));
        QVERIFY(!home.store.items.contains(u"sharedSecret"_s));
    }

    void aPressWithoutChoiceOnlyLogs()
    {
        HomeFixture home;
        home.loadWithoutService();
        home.newLines();
        const int before = home.server.connections;
        press(home, -1);
        QCOMPARE(home.newLines(), QStringList{u"log connecting"_s});
        QVERIFY(home.isAtRest());
        QCOMPARE(home.server.connections, before);
    }

    void anUnreachedServiceLeavesOnlyThePress()
    {
        HomeFixture home;
        home.loadWithoutService();
        home.newLines();
        press(home, 7);
        QTRY_VERIFY(home.isAtRest());
        QCOMPARE(home.newLines(), asked);
    }

    void aSilentStoreLeavesTheReferencesAbsent()
    {
        HomeFixture home;
        home.loadWithoutService();
        home.store.failing = true;
        home.server.answer(details);
        press(home, 7);
        QTRY_COMPARE(home.vpn.saved.size(), 1);
        QCOMPARE(home.vpn.saved.first().username, std::nullopt);
        QCOMPARE(home.vpn.saved.first().passwordReference, std::nullopt);
        QCOMPARE(home.vpn.saved.first().sharedSecretReference, std::nullopt);
    }

    void twoPressesRunTwoChains()
    {
        HomeFixture home;
        home.loadWithoutService();
        home.server.hold();
        home.server.hold();
        press(home, 1);
        QTRY_COMPARE(home.server.requests.size(), 2);
        press(home, 2);
        QTRY_COMPARE(home.server.requests.size(), 3);
        home.server.release(details);
        home.server.release(QByteArray(details).replace("gw.example", "later.example"));
        QTRY_COMPARE(home.output.lines().filter(u"started"_s).size(), 2);
        QCOMPARE(home.vpn.saved.size(), 2);
        QCOMPARE(home.vpn.protocol->serverAddress, u"later.example"_s);
    }

    void everyStatusHasItsRow_data()
    {
        QTest::addColumn<VPNStatus>("status");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<QString>("printed");
        QTest::addColumn<QString>("statusText");
        QTest::addColumn<QString>("buttonText");
        QTest::addColumn<QString>("nextPress");
        const auto row = [](const char *name, VPNStatus status, bool enabled, const QString &printed,
                            const QString &statusText, const QString &buttonText, const QString &nextPress) {
            QTest::newRow(name) << status << enabled << printed << statusText << buttonText << nextPress;
        };
        const QString connect = u"Quick Connect"_s;
        const QString disconnect = u"Disconnect"_s;
        const QString starts = u"log connecting"_s;
        const QString ends = u"log disconnecting"_s;
        row("invalid", VPNStatus::Invalid, false, u"Invalid"_s, u"Disconnected"_s, connect, starts);
        row("invalid but enabled", VPNStatus::Invalid, true, u"Invalid"_s, u"Connected"_s, disconnect, ends);
        row("disconnected", VPNStatus::Disconnected, true, u"Disconnected"_s, u"Disconnected"_s, connect,
            starts);
        row("connecting", VPNStatus::Connecting, true, u"Connecting"_s, u"Connecting"_s, disconnect, starts);
        row("connected", VPNStatus::Connected, true, u"Connected"_s, u"Connected"_s, disconnect, ends);
        row("reasserting", VPNStatus::Reasserting, true, u"Reasserting"_s, u"Reasserting Connection"_s,
            disconnect, starts);
        row("disconnecting", VPNStatus::Disconnecting, true, u"Disconnecting"_s, u"Disconnecting"_s,
            disconnect, starts);
    }

    void everyStatusHasItsRow()
    {
        QFETCH(VPNStatus, status);
        QFETCH(bool, enabled);
        QFETCH(QString, printed);
        QFETCH(QString, buttonText);
        QFETCH(QString, nextPress);
        HomeFixture home;
        home.loadWithoutService();
        home.newLines();
        home.vpn.profileEnabled = enabled;
        home.vpn.post(status);
        QCOMPARE(home.newLines(), (QStringList{u"print VPN Status changed:"_s, u"print "_s + printed}));
        QTEST(home.text(u"connectStatusText"_s), "statusText");
        QCOMPARE(home.text(u"connectText"_s), buttonText);
        QCOMPARE(home.control<PowerButton>(u"connectButton"_s)->imageName(),
                 buttonText == u"Quick Connect"_s ? u"power"_s : u"power1"_s);
        press(home, 7);
        QCOMPARE(home.newLines().first(), nextPress);
    }

    void anUnknownStatusIsFatal()
    {
        QVERIFY(runsToItsDeath([] { appearanceOf(static_cast<VPNStatus>(6), true); }).aborted);
        QVERIFY(!runsToItsDeath([] { appearanceOf(static_cast<VPNStatus>(5), true); }).aborted);
    }

    void aStartThatFailsWithoutAnErrorIsFatal()
    {
        const char *inner = "VELMORA_TEST_DIES_HERE";
        if (qEnvironmentVariableIsSet(inner)) {
            HomeFixture home;
            home.output.stop();
            home.loadWithoutService();
            home.server.answer(details);
            home.vpn.starts.enqueue(ForeignFailure{});
            press(home, 7);
            QTRY_VERIFY(!home.isAtRest() && home.vpn.starts.isEmpty() && home.isAtRest());
            return;
        }
        // In a process of its own: the event loop's threads do not survive a fork.
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QString::fromLatin1(inner), u"1"_s);
        process.setProcessEnvironment(environment);
        process.start(QCoreApplication::applicationFilePath(), {u"aStartThatFailsWithoutAnErrorIsFatal"_s});
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitStatus(), QProcess::CrashExit);
        QVERIFY(process.readAllStandardOutput().contains("\nFatal Error\n"));
    }

private:
    static void press(const HomeFixture &home, qint64 endpointId)
    {
        home.screen->selectedEndpointChanged(endpointId, home.control<QWidget>(u"countries"_s));
        home.control<PowerButton>(u"connectButton"_s)->click();
    }
};

QTEST_MAIN(TunnelTest)
#include "TunnelTest.moc"
