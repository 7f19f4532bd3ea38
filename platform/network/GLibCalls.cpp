#include "platform/network/GLibCalls.h"

namespace velmora {

struct GLibCalls::Expected
{
    std::weak_ptr<bool> owner;
    Handler handler;
};

GLibCalls::GLibCalls() : cancel(g_cancellable_new()), alive(std::make_shared<bool>(true)) {}

GLibCalls::~GLibCalls()
{
    g_cancellable_cancel(cancel.get());
}

gpointer GLibCalls::expect(Handler handler)
{
    return new Expected{alive, std::move(handler)};
}

void GLibCalls::ready(GObject *, GAsyncResult *result, gpointer data)
{
    const std::unique_ptr<Expected> expected(static_cast<Expected *>(data));
    if (!expected->owner.expired())
        expected->handler(result);
}

} // namespace velmora
