#include "platform/vpn/SystemNetworkStatus.h"

#include <QTest>

using namespace velmora;
using namespace std::chrono_literals;
using Facts = SystemNetworkStatus::Facts;
using Tunnel = SystemNetworkStatus::Tunnel;
using State = SystemNetworkStatus::Tunnel::State;

namespace {

struct Step
{
    std::chrono::milliseconds at;
    Facts facts;
    VPNStatus expected;
};
using Steps = QList<Step>;

Facts running(const QList<Tunnel> &tunnels = {})
{
    return {.known = true, .daemonRuns = true, .hasProfile = true, .tunnels = tunnels};
}

} // namespace

/// Whether a tunnel that comes up after one was lost is the daemon's own doing. The lab shows the rest.
class SystemNetworkStatusTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void afterATunnelThatWasUp_data()
    {
        const Facts lost = running();
        const Facts anew = running({{2, State::Activating}});
        Facts begunByUs = lost;
        begunByUs.startUnderWay = true;
        Facts daemonGone;
        daemonGone.known = true;
        const Facts endedOnRequest = running({{1, State::Deactivating, true}});
        QTest::addColumn<Steps>("steps");

        QTest::newRow("old tunnel still going down beside the new one") << Steps{
            {1ms, running({{2, State::Activated}, {1, State::Deactivating}}), VPNStatus::Connected},
            {2ms, running({{2, State::Deactivated}, {1, State::Deactivating}}), VPNStatus::Disconnecting}};
        QTest::newRow("begun anew by the daemon")
            << Steps{{10ms, running({{1, State::Deactivated}}), VPNStatus::Disconnected},
                     {1000ms, anew, VPNStatus::Reasserting},
                     {5000ms, anew, VPNStatus::Reasserting},
                     {6000ms, running({{2, State::Activated}}), VPNStatus::Connected}};
        QTest::newRow("begun anew, failed, begun by somebody else")
            << Steps{{10ms, anew, VPNStatus::Reasserting},
                     {20ms, lost, VPNStatus::Disconnected},
                     {30ms, running({{3, State::Activating}}), VPNStatus::Connecting}};
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
        QVERIFY(machine.update(running({{1, State::Activated}}), {}));
        for (const Step &step : steps) {
            const bool changes = step.expected != machine.status();
            QCOMPARE(machine.update(step.facts, SystemNetworkStatus::Time() + step.at), changes);
            QCOMPARE(machine.status(), step.expected);
        }
    }
};

QTEST_GUILESS_MAIN(SystemNetworkStatusTest)
#include "SystemNetworkStatusTest.moc"
