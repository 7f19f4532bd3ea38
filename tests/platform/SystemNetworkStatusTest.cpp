#include "platform/SystemNetworkStatus.h"

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
    Facts facts;
    facts.known = true;
    facts.daemonRuns = true;
    facts.hasProfile = true;
    facts.tunnels = tunnels;
    return facts;
}

Facts with(Facts facts, bool Facts::*flag, bool value)
{
    facts.*flag = value;
    return facts;
}

constexpr Tunnel endedOnRequest(quint64 number, State state)
{
    return {number, state, true, false};
}

constexpr Tunnel stopped(quint64 number, State state)
{
    return {number, state, false, true};
}

} // namespace

class SystemNetworkStatusTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void follows_data()
    {
        const Facts gone = with(Facts(), &Facts::known, true);
        const Facts up = running({{1, State::Activated}});
        const Facts starting = with(running(), &Facts::startUnderWay, true);
        QTest::addColumn<Steps>("steps");

        QTest::newRow("nothing known, then no profile, then one")
            << Steps{{0ms, Facts(), VPNStatus::Invalid},
                     {1ms, with(running(), &Facts::hasProfile, false), VPNStatus::Invalid},
                     {2ms, running(), VPNStatus::Disconnected}};
        QTest::newRow("daemon absent") << Steps{{0ms, gone, VPNStatus::Disconnected}};
        QTest::newRow("connect and disconnect")
            << Steps{{0ms, starting, VPNStatus::Connecting},
                     {1ms, running({{1, State::Activating}}), VPNStatus::Connecting},
                     {2ms, up, VPNStatus::Connected},
                     {3ms, running({stopped(1, State::Activated)}), VPNStatus::Disconnecting},
                     {4ms, running({stopped(1, State::Deactivating)}), VPNStatus::Disconnecting},
                     {5ms, running({{1, State::Deactivated}}), VPNStatus::Disconnected},
                     {6ms, running(), VPNStatus::Disconnected}};
        QTest::newRow("wrong secret")
            << Steps{{0ms, running({{1, State::Activating}}), VPNStatus::Connecting},
                     {1ms, running({{1, State::Deactivated}}), VPNStatus::Disconnected}};
        QTest::newRow("stop overtakes the daemon's answer to a start")
            << Steps{{0ms, starting, VPNStatus::Connecting},
                     {1ms, with(running({stopped(1, State::Activating)}), &Facts::stopUnderWay, true),
                      VPNStatus::Disconnecting}};
        QTest::newRow("daemon dies while we start")
            << Steps{{0ms, starting, VPNStatus::Connecting},
                     {1ms, with(gone, &Facts::startUnderWay, true), VPNStatus::Disconnected}};
        QTest::newRow("old tunnel still going down beside the new one") << Steps{
            {0ms, running({{12, State::Activating}, {9, State::Deactivating}}), VPNStatus::Connecting},
            {1ms, running({{12, State::Deactivated}, {9, State::Deactivating}}), VPNStatus::Disconnecting}};
        QTest::newRow("found up at the start") << Steps{{0ms, up, VPNStatus::Connected}};
        QTest::newRow("profile deleted while up")
            << Steps{{0ms, up, VPNStatus::Connected},
                     {1ms, with(running({endedOnRequest(1, State::Deactivating)}), &Facts::hasProfile, false),
                      VPNStatus::Disconnecting},
                     {2ms, with(running(), &Facts::hasProfile, false), VPNStatus::Invalid}};

        QTest::newRow("lost, and begun anew by the daemon")
            << Steps{{0ms, up, VPNStatus::Connected},
                     {10ms, running({{1, State::Deactivated}}), VPNStatus::Disconnected},
                     {1000ms, running({{2, State::Activating}}), VPNStatus::Reasserting},
                     {5000ms, running({{2, State::Activating}}), VPNStatus::Reasserting},
                     {6000ms, running({{2, State::Activated}}), VPNStatus::Connected}};
        QTest::newRow("lost and begun anew at one glance")
            << Steps{{0ms, up, VPNStatus::Connected},
                     {10ms, running({{2, State::Activating}}), VPNStatus::Reasserting},
                     {20ms, running(), VPNStatus::Disconnected}};
        QTest::newRow("lost, begun anew, failed, begun by somebody else")
            << Steps{{0ms, up, VPNStatus::Connected},
                     {10ms, running({{2, State::Activating}}), VPNStatus::Reasserting},
                     {20ms, running(), VPNStatus::Disconnected},
                     {30ms, running({{3, State::Activating}}), VPNStatus::Connecting}};
        QTest::newRow("lost, and begun later by somebody else")
            << Steps{{0ms, up, VPNStatus::Connected},
                     {10ms, running(), VPNStatus::Disconnected},
                     {1011ms, running({{2, State::Activating}}), VPNStatus::Connecting}};
        QTest::newRow("lost, and begun by us")
            << Steps{{0ms, up, VPNStatus::Connected},
                     {10ms, running(), VPNStatus::Disconnected},
                     {20ms, starting, VPNStatus::Connecting},
                     {30ms, running({{2, State::Activating}}), VPNStatus::Connecting}};
        QTest::newRow("ended by another program, and begun by it")
            << Steps{{0ms, up, VPNStatus::Connected},
                     {10ms, running({endedOnRequest(1, State::Deactivating)}), VPNStatus::Disconnecting},
                     {20ms, running({endedOnRequest(1, State::Deactivated)}), VPNStatus::Disconnected},
                     {30ms, running({{2, State::Activating}}), VPNStatus::Connecting}};
        QTest::newRow("stopped by us, and begun by another program")
            << Steps{{0ms, up, VPNStatus::Connected},
                     {10ms, running({stopped(1, State::Deactivating)}), VPNStatus::Disconnecting},
                     {20ms, running({{2, State::Activating}}), VPNStatus::Connecting}};
        QTest::newRow("lost with the daemon")
            << Steps{{0ms, up, VPNStatus::Connected},
                     {10ms, gone, VPNStatus::Disconnected},
                     {20ms, running({{1, State::Activating}}), VPNStatus::Connecting}};
    }
    void follows()
    {
        QFETCH(const Steps, steps);
        SystemNetworkStatus machine;
        for (const Step &step : steps) {
            const VPNStatus before = machine.status();
            const bool changed = machine.update(step.facts, SystemNetworkStatus::Time() + step.at);
            const QByteArray when = "at " + QByteArray::number(qint64(step.at.count())) + " ms";
            QVERIFY2(machine.status() == step.expected,
                     when + ": status " + QByteArray::number(int(machine.status())));
            QVERIFY2(changed == (step.expected != before), when);
        }
    }
};

QTEST_GUILESS_MAIN(SystemNetworkStatusTest)
#include "SystemNetworkStatusTest.moc"
