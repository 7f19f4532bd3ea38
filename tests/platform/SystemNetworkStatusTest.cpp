#include "platform/vpn/SystemNetworkStatus.h"

#include <QTest>

using namespace velmora;
using namespace std::chrono_literals;
using enum SystemNetworkTunnel::State;
using Facts = SystemNetworkStatus::Facts;

/// Tells a tunnel that the daemon began anew from others that come up after one was lost. The lab shows the
/// rest.
class SystemNetworkStatusTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void afterATunnelThatWasUp()
    {
        const auto running = [](const SystemNetworkTunnels &tunnels = {}) {
            return Facts{.daemonRuns = true, .hasProfile = true, .tunnels = tunnels};
        };
        const Facts anew = running({{2, {.state = Activating}}});
        Facts begunByUs = running();
        begunByUs.startUnderWay = true;
        const Facts endedOnRequest = running({{1, {.state = Deactivating, .endedOnRequest = true}}});
        struct Step
        {
            std::chrono::milliseconds at;
            Facts facts;
            VPNStatus expected;
        };
        const QMap<QByteArray, QList<Step>> rows{
            {"old tunnel still going down beside the new one",
             {{1ms, running({{2, {.state = Activated}}, {1, {.state = Deactivating}}}), VPNStatus::Connected},
              {2ms, running({{2, {.state = Deactivated}}, {1, {.state = Deactivating}}}),
               VPNStatus::Disconnecting}}},
            {"begun anew by the daemon",
             {{10ms, running({{1, {.state = Deactivated}}}), VPNStatus::Disconnected},
              {1000ms, anew, VPNStatus::Reasserting},
              {5000ms, anew, VPNStatus::Reasserting},
              {6000ms, running({{2, {.state = Activated}}}), VPNStatus::Connected}}},
            {"begun anew, failed, begun by somebody else",
             {{10ms, anew, VPNStatus::Reasserting},
              {20ms, running(), VPNStatus::Disconnected},
              {30ms, running({{3, {.state = Activating}}}), VPNStatus::Connecting}}},
            {"begun later by somebody else",
             {{10ms, running(), VPNStatus::Disconnected}, {1011ms, anew, VPNStatus::Connecting}}},
            {"begun by us", {{10ms, begunByUs, VPNStatus::Connecting}, {30ms, anew, VPNStatus::Connecting}}},
            {"ended by another program, and begun by it",
             {{10ms, endedOnRequest, VPNStatus::Disconnecting}, {20ms, anew, VPNStatus::Connecting}}},
            {"lost with the daemon",
             {{10ms, Facts(), VPNStatus::Disconnected}, {20ms, anew, VPNStatus::Connecting}}},
        };
        for (auto row = rows.begin(); row != rows.end(); ++row) {
            SystemNetworkStatus machine;
            QVERIFY(machine.update(running({{1, {.state = Activated}}}), {}));
            for (const auto &[at, facts, expected] : row.value()) {
                const bool changes = expected != machine.status();
                const bool changed = machine.update(facts, SystemNetworkStatus::Time() + at);
                QVERIFY2(machine.status() == expected && changed == changes, row.key().constData());
            }
        }
    }
};

QTEST_GUILESS_MAIN(SystemNetworkStatusTest)
#include "SystemNetworkStatusTest.moc"
