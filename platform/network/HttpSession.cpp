#include "platform/network/HttpSession.h"

#include "platform/network/SoupHttpSession.h"

namespace velmora {

namespace {

std::unique_ptr<HttpSession> &sharedSlot()
{
    static std::unique_ptr<HttpSession> session;
    return session;
}

} // namespace

HttpSession &HttpSession::shared()
{
    if (!sharedSlot())
        sharedSlot() = std::make_unique<SoupHttpSession>();
    return *sharedSlot();
}

void HttpSession::setShared(std::unique_ptr<HttpSession> session)
{
    sharedSlot() = std::move(session);
}

} // namespace velmora
