#include "platform/SecretStore.h"
#include "platform/SystemSecretStore.h"
#include "tests/lab/Lab.h"
#include "tests/lab/TunnelClient.h"

#include <QTest>

#include <algorithm>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// What may pass in the clear beside the tunnel: the tunnel itself, and the two ends of the cable finding
/// each other.
const QString besideTheTunnel = u"not arp and not host %1 and not net fe80::/10 and not dst net ff00::/8 and "
                                "not (src net 2001:db8:192::/64 and dst net 2001:db8:192::/64)"_s;

/// The daemon's routes to the gateway stay when it is killed, and lead where the default route leads; a vpnc
/// whose plugin was killed keeps its device, with a link-local address and no way to anywhere.
bool isHarmless(const QByteArray &route)
{
    return route.startsWith(qgetenv("VELMORA_LAB_GATEWAY")) ||
           route.startsWith(qgetenv("VELMORA_LAB_UPLINK_ROUTER") + ' ') || route.startsWith("fe80::");
}

} // namespace

/// What the router of the desktop's uplink sees while the tunnel is up, and after each way in which it ends.
class LeakTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (!Lab::isHere())
            QSKIP("this is no lab");
        SecretStore::setShared(std::make_unique<SystemSecretStore>());
        client.emplace();
    }

    void cleanup()
    {
        lab.ctl({u"gateway"_s, u"start"_s});
        lab.ctl({u"nm"_s, u"start"_s});
        client->stop();
        if (client->status() != VPNStatus::Invalid)
            QVERIFY(client->comesTo(VPNStatus::Disconnected));
        // The plugin that was killed leaves its child behind.
        lab.output(u"pkill"_s, {u"-KILL"_s, u"-x"_s, u"vpnc"_s});
    }

    void cleanupTestCase() { client.reset(); }

    void nothingPassesBesideAndAllIsAsBeforeAfter_data()
    {
        QTest::addColumn<QStringList>("end");
        const auto killed = [](const QString &pattern) {
            return QStringList{u"pkill"_s, u"-KILL"_s, u"-f"_s, pattern};
        };
        const auto labctl = [](const QString &words) {
            return u"labctl "_s.append(words).split(u' ');
        };
        QTest::newRow("a press") << QStringList();
        QTest::newRow("an end by another program") << QString(u"nmcli connection down Velmora"_s).split(u' ');
        QTest::newRow("vpnc killed") << killed(u"^/usr/sbin/vpnc "_s);
        QTest::newRow("plugin killed") << killed(u"nm-vpnc-service"_s);
        QTest::newRow("daemon killed") << labctl(u"nm kill"_s);
        QTest::newRow("daemon stopped") << labctl(u"nm stop"_s);
        QTest::newRow("profile deleted") << QString(u"nmcli connection delete Velmora"_s).split(u' ');
        QTest::newRow("gateway gone") << labctl(u"gateway stop"_s);
    }
    void nothingPassesBesideAndAllIsAsBeforeAfter()
    {
        QFETCH(const QStringList, end);
        const QByteArray before = routes4And6();
        const QByteArray resolvers = lab.output(u"labctl"_s, {u"dns"_s});
        QVERIFY(resolvers.contains(qgetenv("VELMORA_LAB_DNS")));

        QCOMPARE(client->connect(lab.askForDetails()), QString());
        QVERIFY(client->comesTo(VPNStatus::Connected));
        QVERIFY(lab.ctl({u"until"_s, u"5"_s, u"labctl"_s, u"ping"_s}));
        QTRY_COMPARE(lab.output(u"labctl"_s, {u"dns"_s}).trimmed(), qgetenv("VELMORA_LAB_TUNNEL_DNS"));
        QCOMPARE(seenWhileAsking(u"tunnel-resolver"_s), QByteArray());
        QVERIFY(lab.ctl({u"ping"_s}));

        // The daemon may want to build a lost tunnel again by itself, which is not the case here.
        lab.askForDetails();
        if (end.isEmpty())
            client->stop();
        else
            lab.output(end.first(), end.mid(1));
        QVERIFY(client->comesTo(end.contains(u"delete"_s) ? VPNStatus::Invalid : VPNStatus::Disconnected,
                                60'000));
        QVERIFY(lab.ctl({u"nm"_s, u"start"_s}));
        QTRY_COMPARE_WITH_TIMEOUT(routes4And6(), before, 10'000);
        QTRY_COMPARE(lab.output(u"labctl"_s, {u"dns"_s}), resolvers);
        const QByteArray seen = seenWhileAsking(u"resolver"_s);
        QVERIFY2(seen.contains(qgetenv("VELMORA_LAB_DNS") + ".53: "), seen.constData());
        QVERIFY2(seen.contains(qgetenv("VELMORA_LAB_IPV6") + ": ICMP6"), seen.constData());
    }

private:
    /// Asks for a name and for an IPv6 host, and tells what passed in the clear meanwhile; the named resolver
    /// got the question.
    QByteArray seenWhileAsking(const QString &resolver)
    {
        const QString name = u"question-%1.velmora.test"_s.arg(++questions);
        if (!lab.ctl({u"capture"_s, u"start"_s}))
            return "no capture";
        lab.output(u"getent"_s, {u"ahosts"_s, name});
        lab.output(u"ping"_s, {u"-n"_s, u"-c1"_s, u"-W1"_s, qEnvironmentVariable("VELMORA_LAB_IPV6")});
        const QString filter = besideTheTunnel.arg(qEnvironmentVariable("VELMORA_LAB_GATEWAY"));
        QByteArray seen = lab.output(u"labctl"_s, {u"capture"_s, u"show"_s, filter});
        if (!lab.output(u"labctl"_s, {u"log"_s, resolver}).contains(name.toUtf8()))
            seen.prepend("the question has not reached the resolver; ");
        return seen;
    }

    QByteArray routes4And6()
    {
        QByteArrayList routes;
        for (const QString &family : {u"-4"_s, u"-6"_s})
            routes += lab.output(u"ip"_s, {family, u"route"_s}).split('\n');
        routes.removeIf(isHarmless);
        std::sort(routes.begin(), routes.end());
        return routes.join("\n");
    }

    Lab lab;
    std::optional<TunnelClient> client;
    int questions = 0;
};

QTEST_GUILESS_MAIN(LeakTest)
#include "LeakTest.moc"
