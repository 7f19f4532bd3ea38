#include "connection/HomeVC.h"

#include "api/ServiceManager.h"
#include "platform/Log.h"

#include <QSet>
#include <QTimer>

namespace velmora {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds fastInterval = 300ms;
constexpr std::chrono::milliseconds slowInterval = 5000ms;
constexpr qint64 probedPort = 443;
constexpr qint64 ticksInCycle = 5;

/// The timers that run, never destroyed: a timer and the screen that it shares live until the process ends.
/// They are reachable from here, which tells them from what was forgotten.
QSet<QTimer *> &runningTimers()
{
    static auto *const timers = new QSet<QTimer *>;
    return *timers;
}

} // namespace

std::chrono::milliseconds HomeVC::refreshInterval() const
{
    return pingTimer->intervalAsDuration();
}

void HomeVC::setTimerMode(TimerMode mode)
{
    const auto wanted = mode == TimerMode::Fast ? fastInterval : slowInterval;
    if (pingTimer != nullptr && pingTimer->intervalAsDuration() == wanted)
        return;
    // The old timer may be the one that is firing.
    if (pingTimer != nullptr) {
        pingTimer->stop();
        runningTimers().remove(pingTimer);
        pingTimer->deleteLater();
    }
    pingTimer = new QTimer;
    runningTimers().insert(pingTimer);
    connect(pingTimer, &QTimer::timeout, pingTimer, [screen = self()] { screen->firePingTimer(); });
    pingTimer->start(wanted);
}

void HomeVC::firePingTimer()
{
    if (!pendingPingResponses) {
        setTimerMode(TimerMode::Slow);
        return;
    }
    reloadLists();
    pendingPingResponses = false;
    tick = (tick + 1) % ticksInCycle;
    setTimerMode(TimerMode::Fast);
}

void HomeVC::pingButtonClicked()
{
    if (currentPingEndpoint != -1)
        return;
    setTimerMode(TimerMode::Fast);
    surveyNext();
}

void HomeVC::surveyNext()
{
    if (__builtin_add_overflow(currentPingEndpoint, qint64{1}, &currentPingEndpoint))
        fatalError(u"The survey's index overflows"_s);
    const QList<Service> &all = ServiceManager::shared().allService;
    if (currentPingEndpoint >= all.size()) {
        currentPingEndpoint = -1;
        ping.reset();
        return;
    }
    const Service endpoint = all.at(currentPingEndpoint);
    if (!endpoint.address)
        fatalError(u"An endpoint without address cannot be measured"_s);
    const auto probe = std::make_shared<PingTest>(
        *endpoint.address, probedPort, [screen = self(), endpoint](const PingTest::Summary &result) {
            screen->probeEnded(endpoint, result);
        });
    probe->beginAttempt();
    ping = probe;
}

void HomeVC::probeEnded(const Service &endpoint, const PingTest::Summary &result)
{
    if (!endpoint.id)
        fatalError(u"An endpoint without id has been measured"_s);
    pingResults.insert(*endpoint.id, result);
    QList<Service> &all = ServiceManager::shared().allService;
    // The index counts, not the id: the list may have been replaced since the probe began.
    if (currentPingEndpoint < 0 || currentPingEndpoint >= all.size())
        fatalError(u"The measured endpoint is past the end of the list"_s);
    all[currentPingEndpoint].ping = QList<double>{result.min, result.max, result.average};
    pendingPingResponses = true;
    surveyNext();
}

} // namespace velmora
