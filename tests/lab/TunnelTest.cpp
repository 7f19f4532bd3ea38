#include "platform/SecretStore.h"
#include "platform/SystemNetworkClient.h"
#include "platform/SystemNetworkPreferences.h"
#include "platform/SystemSecretStore.h"
#include "tests/lab/Lab.h"
#include "tests/lab/TunnelClient.h"

#include <QProcess>
#include <QTest>

#include <array>
#include <functional>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

const QString connecting = u"Connecting Connected"_s;
const QString disconnecting = u"Disconnecting Disconnected"_s;
const QString profileName = u"Velmora"_s;

} // namespace

/// The seam on the real NetworkManager, vpnc, keyring and gateway.
class TunnelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (!Lab::isHere())
            QSKIP("this is no lab");
        SecretStore::setShared(std::make_unique<SystemSecretStore>());
    }

    void init() { client.emplace(); }

    void cleanup()
    {
        lab.ctl({u"fault"_s, u"clear"_s});
        lab.ctl({u"gateway"_s, u"start"_s});
        lab.ctl({u"nm"_s, u"start"_s});
        lab.ctl({u"keyring"_s, u"start"_s});
        lab.output(u"nmcli"_s, {u"connection"_s, u"delete"_s, profileName});
        client.reset();
    }

    void connectsAndDisconnects()
    {
        QCOMPARE(client->load(), QString());
        QVERIFY(!client->manager.protocolConfiguration());
        QVERIFY(client->status() == VPNStatus::Invalid && !client->manager.isEnabled());
        QCOMPARE(client->start(), u"nm-manager-error-quark 2"_s);

        const Lab::Details details = lab.askForDetails();
        QCOMPARE(client->connect(details), QString());
        QVERIFY(client->comesTo(VPNStatus::Connected));
        QCOMPARE(client->takeSeen(), u"Disconnected "_s + connecting);
        QCOMPARE(client->manager.protocolConfiguration()->serverAddress, details.address);
        QVERIFY(client->manager.isEnabled());
        QVERIFY(pingsThroughTheTunnel());
        QVERIFY(lab.output(u"labctl"_s, {u"route"_s}).contains("dev tun"));
        for (const QString &secret : {details.sharedSecret, details.password})
            QCOMPARE(lab.output(u"labctl"_s, {u"find-text"_s, secret}), QByteArray());
        QVERIFY(lab.output(u"labctl"_s, {u"gateway"_s, u"log"_s}).contains(lab.user().toUtf8()));

        client->stop();
        QVERIFY(client->comesTo(VPNStatus::Disconnected));
        QCOMPARE(client->takeSeen(), disconnecting);
        QVERIFY(lab.ctl({u"until"_s, u"5"_s, u"sh"_s, u"-c"_s, u"labctl route | grep -q uplink"_s}));
        QVERIFY(!lab.ctl({u"ping"_s}));
    }

    void isDisconnectedAfter_data()
    {
        QTest::addColumn<QStringList>("spoil");
        QTest::addColumn<QString>("before");
        const auto fault = [](const QString &name) {
            return QStringList{u"fault"_s, name, u"on"_s};
        };
        const QStringList noKeyring{u"keyring"_s, u"kill"_s};
        QTest::newRow("wrong shared secret") << fault(u"wrong-psk"_s) << u"reply"_s;
        QTest::newRow("wrong password") << fault(u"wrong-password"_s) << u"reply"_s;
        QTest::newRow("gateway that does not answer") << fault(u"unreachable-gateway"_s) << u"reply"_s;
        QTest::newRow("line break in the address")
            << fault(u"address=203.0.113.2\nScript /bin/false"_s) << u"reply"_s;
        QTest::newRow("keyring gone before it is written") << noKeyring << u"writing"_s;
        QTest::newRow("keyring gone after the save") << noKeyring << u"start"_s;
    }
    void isDisconnectedAfter()
    {
        QFETCH(const QStringList, spoil);
        QFETCH(const QString, before);
        QVERIFY(before != u"reply"_s || lab.ctl(spoil));
        const Lab::Details details = lab.askForDetails();
        QVERIFY(before != u"writing"_s || lab.ctl(spoil));
        QCOMPARE(client->load(), QString());
        client->configure(details);
        QCOMPARE(client->save(), QString());
        QCOMPARE(client->load(), QString());
        QVERIFY(before != u"start"_s || lab.ctl(spoil));
        client->takeSeen();
        QCOMPARE(client->start(), QString());
        QVERIFY(client->comesTo(VPNStatus::Disconnected, 40'000));
        QCOMPARE(client->takeSeen(), u"Connecting Disconnected"_s);

        QVERIFY(lab.ctl({u"fault"_s, u"clear"_s}) && lab.ctl({u"keyring"_s, u"start"_s}));
        QCOMPARE(client->connect(lab.askForDetails()), QString());
        QVERIFY(client->comesTo(VPNStatus::Connected));
    }

    void stopsWhileConnecting()
    {
        QVERIFY(lab.ctl({u"gateway"_s, u"silent"_s}));
        QCOMPARE(client->connect(lab.askForDetails()), QString());
        QVERIFY(client->status() == VPNStatus::Connecting);
        client->takeSeen();
        client->stop();
        QVERIFY(client->comesTo(VPNStatus::Disconnected));
        QCOMPARE(client->takeSeen(), disconnecting);
    }

    void stopsBeforeTheStartIsAnswered()
    {
        client->configure(lab.askForDetails());
        QCOMPARE(client->save(), QString());
        QVERIFY(client->comesTo(VPNStatus::Disconnected));
        client->takeSeen();
        QStringList ends;
        const auto start = [&] {
            client->manager.connection().startVPNTunnel([&ends](const VPNStartOutcome &outcome) {
                const auto *error = std::get_if<PlatformError>(&outcome);
                ends << (error != nullptr ? u"%1 %2"_s.arg(error->domain, QString::number(error->code))
                                          : u"accepted"_s);
            });
        };
        start();
        client->stop();
        QTRY_COMPARE(ends, QStringList(u"g-io-error-quark 19"_s));
        QCOMPARE(client->takeSeen(), QString());
        // A daemon that has only just begun forgets, one time in fifty, about the end that it was asked for.
        for (int time = 0; time < 40; ++time) {
            start();
            QVERIFY(client->comesTo(VPNStatus::Connecting));
            client->stop();
            QVERIFY(client->comesTo(VPNStatus::Disconnected));
            QCOMPARE(client->takeSeen(), u"Connecting "_s + disconnecting);
            QCOMPARE(ends.takeLast(), u"accepted"_s);
        }
        // It remembers the handshakes that were left in the middle and lets the next one wait.
        QVERIFY(lab.ctl({u"gateway"_s, u"stop"_s}));
    }

    void startsAnewWhile_data()
    {
        QTest::addColumn<VPNStatus>("before");
        QTest::newRow("connecting") << VPNStatus::Connecting;
        QTest::newRow("connected") << VPNStatus::Connected;
        QTest::newRow("disconnecting") << VPNStatus::Disconnecting;
    }
    void startsAnewWhile()
    {
        QFETCH(const VPNStatus, before);
        Lab::Details details = lab.askForDetails();
        if (before == VPNStatus::Connecting)
            details.address = qEnvironmentVariable("VELMORA_LAB_SINK");
        QCOMPARE(client->connect(details), QString());
        if (before != VPNStatus::Connecting)
            QVERIFY(client->comesTo(VPNStatus::Connected));
        const qsizetype tunnelsBefore = tunnelsOfTheGateway();
        client->configure(lab.askForDetails());
        QCOMPARE(client->save(), QString());
        if (before == VPNStatus::Disconnecting) {
            client->stop();
            QVERIFY(client->comesTo(VPNStatus::Disconnecting));
        }
        client->takeSeen();
        QCOMPARE(client->start(), QString());
        QVERIFY(client->comesTo(VPNStatus::Connected));
        const QString seen = client->takeSeen();
        QCOMPARE(seen, before == VPNStatus::Connecting ? u"Connected"_s : connecting);
        QCOMPARE(tunnelsOfTheGateway(), tunnelsBefore + 1);
        QVERIFY(pingsThroughTheTunnel());
        // A start that finds its tunnel up is content.
        QCOMPARE(client->start(), QString());
        QCOMPARE(client->takeSeen(), QString());
        QCOMPARE(tunnelsOfTheGateway(), tunnelsBefore + 1);
    }

    void daemonDiesDuring_data()
    {
        QTest::addColumn<int>("step");
        for (int step = 0; const char *name : {"first load", "save", "second load", "start", "handshake"})
            QTest::newRow(name) << step++;
    }
    void daemonDiesDuring()
    {
        QFETCH(const int, step);
        QVERIFY(lab.ctl({u"gateway"_s, u"silent"_s}));
        client->configure(lab.askForDetails());
        QCOMPARE(client->save(), QString());
        const std::array steps{&TunnelClient::load, &TunnelClient::save, &TunnelClient::load,
                               &TunnelClient::start};
        for (int i = 0; i < step; ++i)
            QCOMPARE(std::invoke(steps.at(i), *client), QString());
        // Frozen first: it has the question when it dies, but has answered nothing.
        QVERIFY(lab.ctl({u"nm"_s, u"freeze"_s}));
        QProcess killing;
        killing.start(u"labctl"_s, {u"nm"_s, u"kill"_s});
        if (step < 4) {
            const QString error = std::invoke(steps.at(step), *client);
            QVERIFY2(error.contains(u"-error-quark "_s), qPrintable(error));
        }
        QVERIFY(client->comesTo(VPNStatus::Disconnected));
        QTRY_COMPARE(killing.state(), QProcess::NotRunning);

        QVERIFY(lab.ctl({u"nm"_s, u"start"_s}) && lab.ctl({u"gateway"_s, u"start"_s}));
        QTRY_COMPARE(client->load(), QString());
        QCOMPARE(client->connect(lab.askForDetails()), QString());
        QVERIFY(client->comesTo(VPNStatus::Connected));
    }

    void profileIsDeletedWhile_data()
    {
        QTest::addColumn<bool>("isConnecting");
        QTest::newRow("down") << false;
        QTest::newRow("connecting") << true;
    }
    void profileIsDeletedWhile()
    {
        QFETCH(const bool, isConnecting);
        QVERIFY(lab.ctl({u"gateway"_s, u"silent"_s}));
        client->configure(lab.askForDetails());
        QCOMPARE(client->save(), QString());
        // Before vpnc runs, a daemon now and then goes on with a tunnel whose profile it has deleted.
        if (isConnecting)
            QVERIFY(client->start().isEmpty() &&
                    lab.ctl({u"until"_s, u"5"_s, u"pgrep"_s, u"-x"_s, u"vpnc"_s}));
        QVERIFY(client->comesTo(isConnecting ? VPNStatus::Connecting : VPNStatus::Disconnected));
        client->takeSeen();
        lab.output(u"nmcli"_s, {u"connection"_s, u"delete"_s, profileName});
        QVERIFY(client->comesTo(VPNStatus::Invalid));
        QCOMPARE(client->takeSeen(), isConnecting ? u"Disconnecting Invalid"_s : u"Invalid"_s);
        QVERIFY(!client->manager.isEnabled());
        QVERIFY(lab.ctl({u"gateway"_s, u"start"_s}));
        QCOMPARE(client->connect(lab.askForDetails()), QString());
        QVERIFY(client->comesTo(VPNStatus::Connected));
    }

    void breaksAndIsBuiltAgain()
    {
        QCOMPARE(client->connect(lab.askForDetails()), QString());
        QVERIFY(client->comesTo(VPNStatus::Connected));
        client->takeSeen();
        lab.output(u"pkill"_s, {u"-KILL"_s, u"-x"_s, u"vpnc"_s});
        QVERIFY(client->comesTo(VPNStatus::Disconnected));
        QCOMPARE(client->takeSeen(), u"Disconnected"_s);
        // Now and then the daemon builds it again by itself in this moment.
        QCOMPARE(client->connect(lab.askForDetails()), QString());
        QVERIFY(client->comesTo(VPNStatus::Connected));
        QVERIFY(pingsThroughTheTunnel());
    }

    void isOpenedToAllWhereThePluginDemandsIt()
    {
        client->configure(lab.askForDetails());
        QCOMPARE(client->save(), QString());
        const QStringList askPermissions{u"-g"_s, u"connection.permissions"_s, u"connection"_s, u"show"_s,
                                         profileName};
        QVERIFY(lab.output(u"nmcli"_s, askPermissions).contains("user"));
        SystemNetworkClient network;
        SystemNetworkPreferences preferences(network);
        std::optional<bool> widened;
        preferences.widen([&widened](const Result<> &outcome) { widened = bool(outcome); });
        QTRY_VERIFY(widened);
        QVERIFY(*widened);
        QCOMPARE(lab.output(u"nmcli"_s, askPermissions).trimmed(), QByteArray());
        // It stays so, and works.
        QCOMPARE(client->connect(lab.askForDetails()), QString());
        QVERIFY(client->comesTo(VPNStatus::Connected));
        QCOMPARE(lab.output(u"nmcli"_s, askPermissions).trimmed(), QByteArray());
    }

private:
    /// The first packet may still get lost.
    bool pingsThroughTheTunnel() { return lab.ctl({u"until"_s, u"5"_s, u"labctl"_s, u"ping"_s}); }

    qsizetype tunnelsOfTheGateway()
    {
        return lab.output(u"labctl"_s, {u"gateway"_s, u"log"_s}).count("XAuth authentication of");
    }

    Lab lab;
    std::optional<TunnelClient> client;
};

QTEST_GUILESS_MAIN(TunnelTest)
#include "TunnelTest.moc"
