#include "platform/vpn/SystemNetworkStatus.h"

#include <QTest>

using namespace velmora;
using namespace std::chrono_literals;
using Facts = SystemNetworkStatus::Facts;
using Tunnels = SystemNetworkTunnels;
using State = SystemNetworkTunnel::State;

namespace {

struct Step
{
    std::chrono::milliseconds at;
    Facts facts;
    VPNStatus expected;
};
using Steps = QList<Step>;

Facts running(const Tunnels &tunnels = {})
{
    return {.daemonRuns = true, .hasProfile = true, .tunnels = tunnels};
}

} // namespace

/// Tells a tunnel that the daemon began anew from others that come up after one was lost. The lab shows the
/// rest.
class SystemNetworkStatusTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void afterATunnelThatWasUp_data()
    {
        const Facts lost = running();
        const Facts anew = running({{2, {.state = State::Activating}}});
        Facts begunByUs = lost;
        begunByUs.startUnderWay = true;
        const Facts daemonGone;
        const Facts endedOnRequest = running({{1, {.state = State::Deactivating, .endedOnRequest = true}}});
        QTest::addColumn<Steps>("steps");

        QTest::newRow("old tunnel still going down beside the new one")
            << Steps{{1ms, running({{2, {.state = State::Activated}}, {1, {.state = State::Deactivating}}}),
                      VPNStatus::Connected},
                     {2ms, running({{2, {.state = State::Deactivated}}, {1, {.state = State::Deactivating}}}),
                      VPNStatus::Disconnecting}};
        QTest::newRow("begun anew by the daemon")
            << Steps{{10ms, running({{1, {.state = State::Deactivated}}}), VPNStatus::Disconnected},
                     {1000ms, anew, VPNStatus::Reasserting},
                     {5000ms, anew, VPNStatus::Reasserting},
                     {6000ms, running({{2, {.state = State::Activated}}}), VPNStatus::Connected}};
        QTest::newRow("begun anew, failed, begun by somebody else")
            << Steps{{10ms, anew, VPNStatus::Reasserting},
                     {20ms, lost, VPNStatus::Disconnected},
                     {30ms, running({{3, {.state = State::Activating}}}), VPNStatus::Connecting}};
        QTest::newRow("begun later by somebody else")
            << Steps{{10ms, lost, VPNStatus::Disconnected}, {1011ms, anew, VPNStatus::Connecting}};
        QTest::newRow("begun by us") << Steps{{10ms, lost, VPNStatus::Disconnected},
                                              {20ms, begunByUs, VPNStatus::Connecting},
                                              {30ms, anew, VPNStatus::Connecting}};
        QTest::newRow("ended by another program, and begun by it")
            << Steps{{10ms, endedOnRequest, VPNStatus::Disconnecting}, {20ms, anew, VPNStatus::Connecting}};
        QTest::newRow("lost with the daemon")
            << Steps{{10ms, daemonGone, VPNStatus::Disconnected}, {20ms, anew, VPNStatus::Connecting}};
    }
    void afterATunnelThatWasUp()
    {
        QFETCH(const Steps, steps);
        SystemNetworkStatus machine;
        QVERIFY(machine.update(running({{1, {.state = State::Activated}}}), {}));
        for (const Step &step : steps) {
            const bool changes = step.expected != machine.status();
            QCOMPARE(machine.update(step.facts, SystemNetworkStatus::Time() + step.at), changes);
            QCOMPARE(machine.status(), step.expected);
        }
    }
};

QTEST_GUILESS_MAIN(SystemNetworkStatusTest)
#include "SystemNetworkStatusTest.moc"
