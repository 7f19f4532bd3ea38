#pragma once

#include "platform/GLibPointer.h"

#include <chrono>
#include <functional>

namespace velmora {

/// Runs asynchronous GIO calls one after another to their end, within one time limit for all of them, without
/// running the program's own event loop. What makes a blocking call on a service bearable that may have
/// stopped answering.
class BoundedCall
{
public:
    using Start = std::function<void(GCancellable *, GAsyncReadyCallback, gpointer data)>;

    explicit BoundedCall(std::chrono::milliseconds limit);
    ~BoundedCall();
    BoundedCall(const BoundedCall &) = delete;
    BoundedCall &operator=(const BoundedCall &) = delete;

    /// Starts a call and waits for its result; null when the limit passes first and the call, although
    /// cancelled, does not end.
    GObjectPtr<GAsyncResult> run(const Start &start);

private:
    GMainContext *const context;
    const std::chrono::steady_clock::time_point deadline;
    GObjectPtr<GCancellable> cancellable;
};

} // namespace velmora
