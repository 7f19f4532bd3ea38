#include "connection/HomeVC.h"

#include "api/ServiceManager.h"
#include "platform/Log.h"
#include "servers/CountryTV.h"
#include "servers/FavoriteTV.h"
#include "ui/Announcement.h"
#include "ui/Buttons.h"

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

/// The running timers, never destroyed: a timer and the screen that it shares live until the process ends.
/// A leak checker finds them here.
QSet<QTimer *> &runningTimers()
{
    static auto *const timers = new QSet<QTimer *>;
    return *timers;
}

} // namespace

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
    showSurvey();
    if (!pendingPingResponses) {
        setTimerMode(TimerMode::Slow);
        return;
    }
    countries->reloadLatencies();
    favorites->reloadLatencies();
    reselectEndpoint();
    pendingPingResponses = false;
    tick = (tick + 1) % ticksInCycle;
    setTimerMode(TimerMode::Fast);
}

void HomeVC::showSurvey()
{
    const qint64 measured = currentPingEndpoint + 1;
    const qsizetype total = ServiceManager::shared().allService.size();
    const QString progress = measured > 0 ? u"Measuring %1 of %2"_s.arg(measured).arg(total) : QString();
    pingButton->setProgress(measured > 0 ? static_cast<qreal>(measured) / static_cast<qreal>(total) : 0);
    pingButton->setToolTip(measured > 0 ? progress : pingButton->accessibleName());
    pingButton->setAccessibleDescription(progress);
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
        announce(loadedView(), u"Latencies measured"_s);
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
