#include "platform/vpn/SystemNetworkWaiters.h"

#include <QTimer>

#include <algorithm>

namespace velmora {

SystemNetworkWaiters::SystemNetworkWaiters(std::chrono::milliseconds longest, PlatformError lateError)
    : bound(longest), late(std::move(lateError))
{
}

void SystemNetworkWaiters::add(Handler handler)
{
    const quint64 number = ++lastNumber;
    waiters.push_back({number, std::move(handler)});
    QTimer::singleShot(bound, this, [this, number] { giveUp(number); });
}

void SystemNetworkWaiters::release(const Result<> &outcome)
{
    std::list<Waiter> released;
    released.swap(waiters);
    for (const Waiter &waiter : released)
        waiter.handler(outcome);
}

void SystemNetworkWaiters::giveUp(quint64 number)
{
    const auto found = std::find_if(waiters.begin(), waiters.end(),
                                    [number](const Waiter &waiter) { return waiter.number == number; });
    if (found == waiters.end())
        return;
    const Handler handler = std::move(found->handler);
    waiters.erase(found);
    handler(late);
}

} // namespace velmora
