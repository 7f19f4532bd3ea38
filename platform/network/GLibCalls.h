#pragma once

#include "platform/network/GLibPointer.h"

#include <functional>
#include <memory>

namespace velmora {

/// The asynchronous GIO calls of one owner. When it goes, they are cancelled, and their handlers do not run.
///
///     someCallAsync(…, calls.cancellable(), GLibCalls::ready, calls.expect(handler));
class GLibCalls
{
public:
    using Handler = std::function<void(GAsyncResult *)>;

    GLibCalls();
    ~GLibCalls();
    GLibCalls(const GLibCalls &) = delete;
    GLibCalls &operator=(const GLibCalls &) = delete;

    GCancellable *cancellable() const { return cancel.get(); }
    /// The data of one call to `ready()`, which runs `handler` with the call's result.
    gpointer expect(Handler handler);
    static void ready(GObject *source, GAsyncResult *result, gpointer data);

private:
    struct Expected;

    GObjectPtr<GCancellable> cancel;
    std::shared_ptr<bool> alive;
};

} // namespace velmora
