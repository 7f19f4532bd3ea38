#include "WebServer.h"

#include "Api.h"
#include "Exchange.h"
#include "RequestLog.h"
#include "WebSite.h"

#include <exception>
#include <stdexcept>
#include <string_view>

namespace velmora::lab {

namespace {
constexpr std::string_view apiPath = "/api/";
} // namespace

WebServer::WebServer(const std::string &address, guint port, Api &api, const RequestLog &log)
    : m_api(api), m_log(log), m_server(soup_server_new("server-header", "velmora-lab", nullptr))
{
    soup_server_add_handler(m_server.get(), nullptr, requestCallback, this, nullptr);
    const ObjectPtr<GSocketAddress> socketAddress(
        g_inet_socket_address_new_from_string(address.c_str(), port));
    GError *error = nullptr;
    if (!socketAddress || !soup_server_listen(m_server.get(), socketAddress.get(),
                                              static_cast<SoupServerListenOptions>(0), &error)) {
        const ErrorPtr owned(error);
        throw std::runtime_error("cannot listen on " + address + ": " +
                                 (owned ? owned->message : "no address"));
    }
}

guint WebServer::port() const
{
    GSList *uris = soup_server_get_uris(m_server.get());
    const int number = uris != nullptr ? g_uri_get_port(static_cast<GUri *>(uris->data)) : 0;
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
    return static_cast<guint>(number);
}

void WebServer::requestCallback(SoupServer * /*server*/, SoupServerMessage *message, const char *path,
                                GHashTable * /*query*/, gpointer self)
{
    const auto *server = static_cast<WebServer *>(self);
    server->m_log.write(message);
    const auto exchange = std::make_shared<Exchange>(message);
    if (!std::string_view(path).starts_with(apiPath))
        return exchange->send(webPage(path));
    try {
        server->m_api.answer(exchange, path + apiPath.size());
    } catch (const std::exception &problem) {
        g_warning("%s: %s", path, problem.what());
        exchange->send({.status = 500, .body = R"({"error":{"message":"The service has a problem."}})"});
    }
}

} // namespace velmora::lab
