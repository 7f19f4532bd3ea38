#pragma once

#include "Handles.h"

#include <libsoup/soup.h>

#include <string>

namespace velmora::lab {

class Api;
class RequestLog;

/// The HTTP server of the API and of the web site.
class WebServer
{
public:
    /// Port 0 takes a free one. Throws std::runtime_error when the address cannot be listened on.
    WebServer(const std::string &address, guint port, Api &api, const RequestLog &log);

    guint port() const;

private:
    static void requestCallback(SoupServer *server, SoupServerMessage *message, const char *path,
                                GHashTable *query, gpointer self);

    Api &m_api;
    const RequestLog &m_log;
    ObjectPtr<SoupServer> m_server;
};

} // namespace velmora::lab
