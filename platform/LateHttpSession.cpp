#include "platform/LateHttpSession.h"

namespace velmora {

void LateHttpSession::send(const HttpRequest &request, Handler handler)
{
    if (session)
        session->send(request, std::move(handler));
    else
        waiting.emplace_back(request, std::move(handler));
}

void LateHttpSession::setSession(std::unique_ptr<HttpSession> real)
{
    session = std::move(real);
    for (auto &[request, handler] : std::exchange(waiting, {}))
        session->send(request, std::move(handler));
}

} // namespace velmora
