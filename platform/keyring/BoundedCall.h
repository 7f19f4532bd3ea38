#pragma once

#include "platform/network/GLibPointer.h"

#include <chrono>
#include <functional>

namespace velmora {

/// Runs asynchronous GIO calls one after another to their end, within a time limit, without running the
/// program's own event loop. What makes a blocking call on a service bearable that may have stopped
/// answering.
class BoundedCall
{
public:
    using Start = std::function<void(GCancellable *, GAsyncReadyCallback, gpointer data)>;

    BoundedCall();
    ~BoundedCall();
    BoundedCall(const BoundedCall &) = delete;
    BoundedCall &operator=(const BoundedCall &) = delete;

    /// All calls until the next time that this is called end by then.
    void setEnd(std::chrono::steady_clock::time_point end) { deadline = end; }

    /// Starts a call and waits for its result; null when the end passes first and the call, although
    /// cancelled, does not end.
    GObjectPtr<GAsyncResult> run(const Start &start);

private:
    GMainContext *const context;
    std::chrono::steady_clock::time_point deadline;
    GObjectPtr<GCancellable> cancellable;
};

} // namespace velmora
