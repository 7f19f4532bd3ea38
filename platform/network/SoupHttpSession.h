#pragma once

#include "platform/network/HttpSession.h"

namespace velmora {

/// The HTTP client that speaks through libsoup. Needs Qt's event loop to be GLib's.
class SoupHttpSession final : public HttpSession
{
public:
    SoupHttpSession();
    ~SoupHttpSession() override;
    SoupHttpSession(const SoupHttpSession &) = delete;
    SoupHttpSession &operator=(const SoupHttpSession &) = delete;

    void send(const HttpRequest &request, Handler handler) override;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace velmora
