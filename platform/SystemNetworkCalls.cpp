#include "platform/SystemNetworkCalls.h"

namespace velmora {

struct SystemNetworkCalls::Expected
{
    std::weak_ptr<bool> owner;
    Handler handler;
};

SystemNetworkCalls::SystemNetworkCalls() : cancel(g_cancellable_new()), alive(std::make_shared<bool>(true)) {}

SystemNetworkCalls::~SystemNetworkCalls()
{
    g_cancellable_cancel(cancel.get());
}

gpointer SystemNetworkCalls::expect(Handler handler)
{
    return new Expected{alive, std::move(handler)};
}

void SystemNetworkCalls::ready(GObject *, GAsyncResult *result, gpointer data)
{
    const std::unique_ptr<Expected> expected(static_cast<Expected *>(data));
    if (!expected->owner.expired())
        expected->handler(result);
}

} // namespace velmora
