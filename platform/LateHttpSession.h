#pragma once

#include "platform/HttpSession.h"

#include <utility>
#include <vector>

namespace velmora {

/// Stands in for a session that comes later: what is sent before goes out then, in the order of the calls.
class LateHttpSession final : public HttpSession
{
public:
    void send(const HttpRequest &request, Handler handler) override;
    /// Has this one send all requests. Called once.
    void setSession(std::unique_ptr<HttpSession> real);

private:
    std::unique_ptr<HttpSession> session;
    std::vector<std::pair<HttpRequest, Handler>> waiting;
};

} // namespace velmora
