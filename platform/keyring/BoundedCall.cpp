#include "platform/keyring/BoundedCall.h"

#include <algorithm>
#include <memory>

namespace velmora {

namespace {

/// How long a cancelled call may take to say so before it is left to itself.
constexpr std::chrono::milliseconds graceAfterCancel{200};

struct Pending
{
    GObjectPtr<GAsyncResult> result;
};

void callEnded(GObject *, GAsyncResult *result, gpointer data)
{
    const std::unique_ptr<std::shared_ptr<Pending>> pending(static_cast<std::shared_ptr<Pending> *>(data));
    (*pending)->result = refObject(result);
}

void iterateUntil(GMainContext *context, const Pending &pending, std::chrono::steady_clock::time_point end)
{
    using namespace std::chrono;
    const auto left = duration_cast<milliseconds>(end - steady_clock::now());
    bool passed = left.count() <= 0;
    GSource *timer = g_timeout_source_new(static_cast<guint>(std::max<milliseconds::rep>(left.count(), 0)));
    g_source_set_callback(
        timer,
        [](gpointer flag) -> gboolean {
            *static_cast<bool *>(flag) = true;
            return G_SOURCE_REMOVE;
        },
        &passed, nullptr);
    g_source_attach(timer, context);
    while (!pending.result && !passed)
        g_main_context_iteration(context, TRUE);
    g_source_destroy(timer);
    g_source_unref(timer);
}

} // namespace

BoundedCall::BoundedCall() : context(g_main_context_new()), cancellable(g_cancellable_new()) {}

BoundedCall::~BoundedCall()
{
    // What the calls used is let go of by sources of this context, which nobody runs later.
    g_main_context_push_thread_default(context);
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
}

GObjectPtr<GAsyncResult> BoundedCall::run(const Start &start)
{
    // The sources of the calls stand in a context of their own, so that waiting for them runs nothing of the
    // program.
    g_main_context_push_thread_default(context);
    const auto pending = std::make_shared<Pending>();
    start(cancellable.get(), callEnded, new std::shared_ptr<Pending>(pending));
    iterateUntil(context, *pending, deadline);
    if (!pending->result) {
        g_cancellable_cancel(cancellable.get());
        iterateUntil(context, *pending, std::chrono::steady_clock::now() + graceAfterCancel);
    }
    g_main_context_pop_thread_default(context);
    return std::move(pending->result);
}

} // namespace velmora
