#pragma once

#include "platform/Result.h"

#include <QObject>

#include <chrono>
#include <functional>
#include <list>

namespace velmora {

/// Handlers that wait for one event, none of them for longer than a bound. Each runs exactly once, from the
/// event loop, unless this object goes first.
class SystemNetworkWaiters final : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(const Result<> &)>;

    /// `lateError` is what a handler gets that waited in vain.
    SystemNetworkWaiters(std::chrono::milliseconds longest, PlatformError lateError);

    void add(Handler handler);
    /// Runs all that wait; called from the event loop.
    void release(const Result<> &outcome);

private:
    struct Waiter
    {
        quint64 number;
        Handler handler;
    };

    void giveUp(quint64 number);

    const std::chrono::milliseconds bound;
    const PlatformError late;
    std::list<Waiter> waiters;
    quint64 lastNumber = 0;
};

} // namespace velmora
