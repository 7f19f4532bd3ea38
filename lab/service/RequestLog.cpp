#include "RequestLog.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <utility>

namespace velmora::lab {

namespace {

nlohmann::ordered_json headerList(SoupServerMessage *message)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    SoupMessageHeadersIter position;
    soup_message_headers_iter_init(&position, soup_server_message_get_request_headers(message));
    const char *name = nullptr;
    const char *value = nullptr;
    while (soup_message_headers_iter_next(&position, &name, &value))
        list.push_back({name, value});
    return list;
}

} // namespace

RequestLog::RequestLog(std::string path) : m_path(std::move(path)) {}

void RequestLog::write(SoupServerMessage *message) const
{
    GUri *uri = soup_server_message_get_uri(message);
    const char *query = g_uri_get_query(uri);
    const SoupMessageBody *body = soup_server_message_get_request_body(message);
    nlohmann::ordered_json line;
    line["time"] = static_cast<double>(g_get_real_time()) / G_USEC_PER_SEC;
    line["from"] = soup_server_message_get_remote_host(message);
    line["method"] = soup_server_message_get_method(message);
    line["path"] = std::string(g_uri_get_path(uri)) + (query ? std::string("?") + query : "");
    line["headers"] = headerList(message);
    line["body"] = body->data ? std::string(body->data, static_cast<std::size_t>(body->length)) : "";
    // Opened anew for each line, so that the file may be emptied from outside.
    std::ofstream(m_path, std::ios::app)
        << line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace velmora::lab
