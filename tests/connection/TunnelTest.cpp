#include "connection/StatusCard.h"
#include "tests/support/DeathTest.h"
#include "tests/support/HomeFixture.h"
#include "ui/Window.h"

#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

const QByteArray details = "{\"success\":true,\"address\":\"gw.example\",\"configuration\":\"psk %1\","
                           "\"configurationType\":\"ipsec\",\"password\":\"vpnpw\"}";
const PlatformError refused{u"dom"_s, 7, u"why"_s};
const QString described = refused.description();

const QString loaded = u"log Error loading VPN config from preferences: "_s;
const QStringList asked{u"log connecting"_s, u"store get token"_s};
const QStringList replied{u"print response.data: "_s + QString::fromUtf8(details),
                          u"log connect to gw.example, psk %1"_s, u"vpn load"_s};
const QStringList configured{
    u"log configure VPN preferences"_s, u"store set sharedSecret psk %1"_s, u"log set shared secret"_s,
    u"store set password vpnpw"_s,      u"log set vpn password"_s,          u"store get username"_s,
    u"store attributes password"_s,     u"store attributes sharedSecret"_s, u"vpn save"_s};
const QStringList chain = asked + replied + configured + QStringList{u"vpn load"_s, u"vpn start"_s};

} // namespace

class TunnelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loadsThenConnectsStepByStep()
    {
        HomeFixture home;
        home.vpn.loads.enqueue(refused);
        home.loadWithoutService();
        QCOMPARE(home.newLines(),
                 (QStringList{u"print VPN Status changed:"_s, u"print Invalid"_s, u"vpn load"_s,
                              u"store get token"_s, u"log viewDidLoad"_s, loaded + described}));
        home.server.answer(details);
        home.vpn.currentStatus = VPNStatus::Connecting;
        press(home, 7);
        QTRY_COMPARE(home.output.lines(),
                     chain + (QStringList{u"print VPN Status changed:"_s, u"print Connecting"_s,
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

    void withoutDetailsNothingIsTouched()
    {
        HomeFixture home;
        home.loadWithoutService();
        home.newLines();
        press(home, 7);
        QTRY_VERIFY(home.isAtRest());
        QCOMPARE(home.newLines(), asked);
        home.server.answer("{}");
        press(home, 7);
        QTRY_VERIFY(home.isAtRest());
        QCOMPARE(home.newLines().last(), u"log incomplete response from server"_s);
    }

    void eachFailureEndsTheChainWhereItIs_data()
    {
        QTest::addColumn<qsizetype>("lastCall");
        QTest::addColumn<QStringList>("said");
        const QString error2 = u"print VPN Preferences error: 2"_s;
        const QString error = u"print "_s + described;
        QTest::newRow("first load") << chain.indexOf(u"vpn load"_s) << QStringList{u"log error, dom / 7"_s};
        QTest::newRow("save") << chain.indexOf(u"vpn save"_s) << QStringList{error2};
        QTest::newRow("second load") << chain.lastIndexOf(u"vpn load"_s) << QStringList{error2};
        QTest::newRow("start") << chain.indexOf(u"vpn start"_s)
                               << QStringList{error, u"print VPN Preferences error: 3"_s, error};
    }

    void eachFailureEndsTheChainWhereItIs()
    {
        QFETCH(qsizetype, lastCall);
        QFETCH(QStringList, said);
        HomeFixture home;
        home.loadWithoutService();
        QCOMPARE(home.newLines().last(), loaded + u"nil"_s);
        const auto outcome = [lastCall](qsizetype call) {
            return call == lastCall ? std::optional(refused) : std::nullopt;
        };
        home.vpn.loads = {{outcome(chain.indexOf(u"vpn load"_s)), outcome(chain.lastIndexOf(u"vpn load"_s))}};
        home.vpn.saves = {{outcome(chain.indexOf(u"vpn save"_s))}};
        if (chain.at(lastCall) == u"vpn start"_s)
            home.vpn.starts.enqueue(refused);
        home.server.answer(details);
        press(home, 7);
        QTRY_VERIFY(home.isAtRest());
        QCOMPARE(home.newLines(), chain.first(lastCall + 1) + said);
        QCOMPARE(home.text(u"connectStatusText"_s), u"Disconnected"_s);
        home.vpn.loads.clear();
        home.server.answer(details);
        press(home, 7);
        QTRY_COMPARE(home.output.lines().last(), u"print VPN started successfully.."_s);
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
        QTRY_COMPARE(home.vpn.saved.size(), 1);
        // What the store does not give is absent, and stops nothing.
        home.store.failing = true;
        home.server.release(QByteArray(details).replace("gw.example", "later.example"));
        QTRY_COMPARE(home.output.lines().filter(u"started"_s).size(), 2);
        VPNProtocolIPSec later = home.vpn.saved.first();
        later.serverAddress = u"later.example"_s;
        later.username.reset();
        later.passwordReference.reset();
        later.sharedSecretReference.reset();
        QCOMPARE(home.vpn.saved.last(), later);
    }

    void everyStatusHasItsRow()
    {
        const QString connect = u"Quick Connect"_s;
        const QString disconnect = u"Disconnect"_s;
        const QStringList starts{u"log connecting"_s};
        const QStringList ends{u"log disconnecting"_s, u"vpn stop"_s};
        struct Row
        {
            VPNStatus status;
            bool enabled;
            QString printed, statusText, buttonText;
            QStringList nextPress;
        };
        const Row rows[] = {
            {VPNStatus::Invalid, false, u"Invalid"_s, u"Disconnected"_s, connect, starts},
            {VPNStatus::Invalid, true, u"Invalid"_s, u"Connected"_s, disconnect, ends},
            {VPNStatus::Disconnected, true, u"Disconnected"_s, u"Disconnected"_s, connect, starts},
            {VPNStatus::Connecting, true, u"Connecting"_s, u"Connecting"_s, disconnect, starts},
            {VPNStatus::Connected, true, u"Connected"_s, u"Connected"_s, disconnect, ends},
            {VPNStatus::Reasserting, true, u"Reasserting"_s, u"Reasserting Connection"_s, disconnect, starts},
            {VPNStatus::Disconnecting, true, u"Disconnecting"_s, u"Disconnecting"_s, disconnect, starts},
        };
        HomeFixture home;
        home.loadWithoutService();
        home.newLines();
        for (const Row &row : rows) {
            home.vpn.profileEnabled = row.enabled;
            home.vpn.post(row.status);
            // Without a choice there is nothing behind the first line.
            press(home, -1);
            QCOMPARE(home.newLines(),
                     (QStringList{u"print VPN Status changed:"_s, u"print "_s + row.printed}) +
                         row.nextPress);
            QCOMPARE(home.text(u"connectStatusText"_s), row.statusText);
            QCOMPARE(home.text(u"connectText"_s), row.buttonText);
            QCOMPARE(home.control<PowerButton>(u"connectButton"_s)->imageName(),
                     row.buttonText == connect ? u"power"_s : u"power1"_s);
        }
        QVERIFY(home.isAtRest());
    }

    void anUnknownStatusIsFatal()
    {
        HomeFixture home;
        home.loadWithoutService();
        // Qt paints with threads, which a forked copy does not have.
        home.window->hide();
        QVERIFY(runsToItsDeath([&home] { home.vpn.post(static_cast<VPNStatus>(6)); }).aborted);
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
