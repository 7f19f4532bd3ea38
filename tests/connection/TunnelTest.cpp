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

/// The whole chain of a press.
const QStringList chain =
    QString(
        u"log connecting|store get token|print response.data: "_s + QString::fromUtf8(details) +
        u"|log connect to gw.example, psk %1|vpn load|log configure VPN preferences|"
        "store set sharedSecret psk %1|log set shared secret|store set password vpnpw|log set vpn password|"
        "store get username|store attributes password|store attributes sharedSecret|"
        "vpn save|vpn load|vpn start"_s)
        .split(u'|');

} // namespace

class TunnelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachFailureEndsTheChainWhereItIs_data()
    {
        const QString why = u"print "_s + refused.description();
        QTest::addColumn<qsizetype>("failing");
        QTest::addColumn<QStringList>("said");
        QTest::newRow("no details") << qsizetype(1) << QStringList();
        QTest::newRow("first load") << chain.indexOf(u"vpn load"_s) << QStringList{u"log error, dom / 7"_s};
        for (const QString &step : {u"vpn save"_s, u"vpn load"_s})
            QTest::addRow("second %s", qPrintable(step))
                << chain.lastIndexOf(step) << QStringList{u"print VPN Preferences error: 2"_s};
        QTest::newRow("start") << chain.size() - 1
                               << QStringList{why, u"print VPN Preferences error: 3"_s, why};
    }
    void eachFailureEndsTheChainWhereItIs()
    {
        QFETCH(const qsizetype, failing);
        QFETCH(const QStringList, said);
        HomeFixture home;
        home.loadWithoutService();
        QCOMPARE(home.newLines().last(), u"log Error loading VPN config from preferences: nil"_s);
        for (qsizetype step = 0; step < chain.size(); ++step)
            home.vpn.outcomes[chain[step]] << (step == failing ? std::optional(refused) : std::nullopt);
        if (failing > 1)
            home.server.answer(details);
        press(home, 7);
        QTRY_VERIFY(home.isAtRest());
        QCOMPARE(home.newLines(), chain.first(failing + 1) + said);
        QCOMPARE(home.text(u"connectStatusText"_s), u"Disconnected"_s);
        home.server.answer("{}");
        press(home, 7);
        QTRY_COMPARE(home.output.lines().last(), u"log incomplete response from server"_s);
    }

    void twoPressesRunTwoChains()
    {
        HomeFixture home;
        home.vpn.outcomes[u"vpn load"_s] << refused;
        home.loadWithoutService();
        QCOMPARE(home.newLines().last(),
                 u"log Error loading VPN config from preferences: "_s + refused.description());
        home.vpn.currentStatus = VPNStatus::Connecting;
        home.server.hold();
        home.server.hold();
        press(home, 7);
        QTRY_COMPARE(home.server.requests.size(), 2);
        QCOMPARE(home.server.requests.last().body,
                 QByteArray("{\"endpoint\":7,\"configurationType\":\"ipsec\"}"));
        press(home, 2);
        QTRY_COMPARE(home.server.requests.size(), 3);
        home.newLines();
        home.server.release(details);
        QTRY_COMPARE(home.output.lines(),
                     chain.sliced(2) + (QStringList{u"print VPN Status changed:"_s, u"print Connecting"_s,
                                                    u"print VPN started successfully.."_s}));
        VPNProtocolIPSec profile{
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
        // An item that the store does not give is absent, and stops nothing.
        home.store.failing = true;
        home.server.release(QByteArray(details).replace("gw.example", "later.example"));
        QTRY_COMPARE(home.output.lines().filter(u"started"_s).size(), 2);
        profile.serverAddress = u"later.example"_s;
        profile.username.reset();
        profile.passwordReference.reset();
        profile.sharedSecretReference.reset();
        QCOMPARE(home.vpn.saved.last(), profile);
    }

    void everyStatusHasItsRow()
    {
        // The printed name; the text; whether the button disconnects by its text, and by its press.
        const std::tuple<VPNStatus, bool, QString, QString, bool, bool> rows[] = {
            {VPNStatus::Invalid, false, u"Invalid"_s, u"Disconnected"_s, false, false},
            {VPNStatus::Invalid, true, u"Invalid"_s, u"Connected"_s, true, true},
            {VPNStatus::Disconnected, true, u"Disconnected"_s, u"Disconnected"_s, false, false},
            {VPNStatus::Connecting, true, u"Connecting"_s, u"Connecting"_s, true, false},
            {VPNStatus::Connected, true, u"Connected"_s, u"Connected"_s, true, true},
            {VPNStatus::Reasserting, true, u"Reasserting"_s, u"Reasserting Connection"_s, true, false},
            {VPNStatus::Disconnecting, true, u"Disconnecting"_s, u"Disconnecting"_s, true, false},
        };
        HomeFixture home;
        home.loadWithoutService();
        home.newLines();
        for (const auto &[status, enabled, printed, text, saysDisconnect, disconnects] : rows) {
            home.vpn.profileEnabled = enabled;
            home.vpn.post(status);
            // Without a choice there is nothing behind the first line.
            press(home, -1);
            const QStringList next = disconnects ? QStringList{u"log disconnecting"_s, u"vpn stop"_s}
                                                 : QStringList{u"log connecting"_s};
            QCOMPARE(home.newLines(),
                     QStringList({u"print VPN Status changed:"_s, u"print "_s + printed}) + next);
            QCOMPARE(home.text(u"connectStatusText"_s), text);
            QCOMPARE(home.text(u"connectText"_s), saysDisconnect ? u"Disconnect"_s : u"Quick Connect"_s);
            QCOMPARE(home.control<PowerButton>(u"connectButton"_s)->imageName(),
                     saysDisconnect ? u"power1"_s : u"power"_s);
        }
        QVERIFY(home.isAtRest());
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
