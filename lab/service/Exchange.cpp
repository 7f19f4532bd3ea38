#include "Exchange.h"

#include <utility>

namespace velmora::lab {

Exchange::Exchange(SoupServerMessage *message) : m_message(refObject(message))
{
    m_finishedHandler = g_signal_connect(message, "finished", G_CALLBACK(finishedCallback), this);
    soup_server_message_pause(message);
}

Exchange::~Exchange()
{
    g_signal_handler_disconnect(m_message.get(), m_finishedHandler);
}

std::string Exchange::method() const
{
    return soup_server_message_get_method(m_message.get());
}

std::string Exchange::header(const char *name) const
{
    const char *value =
        soup_message_headers_get_one(soup_server_message_get_request_headers(m_message.get()), name);
    return value ? value : "";
}

std::string Exchange::body() const
{
    const SoupMessageBody *body = soup_server_message_get_request_body(m_message.get());
    return body->data ? std::string(body->data, static_cast<std::size_t>(body->length)) : std::string();
}

void Exchange::send(const Reply &reply)
{
    if (std::exchange(m_ended, true))
        return;
    soup_server_message_set_status(m_message.get(), reply.status, nullptr);
    soup_server_message_set_response(m_message.get(), reply.contentType.c_str(), SOUP_MEMORY_COPY,
                                     reply.body.data(), reply.body.size());
    soup_server_message_unpause(m_message.get());
}

void Exchange::sendAfter(std::chrono::milliseconds delay, const Reply &reply)
{
    struct Later
    {
        std::shared_ptr<Exchange> exchange;
        Reply reply;
    };
    const auto send = [](gpointer data) -> gboolean {
        const auto *later = static_cast<Later *>(data);
        later->exchange->send(later->reply);
        return G_SOURCE_REMOVE;
    };
    const auto forget = [](gpointer data) {
        delete static_cast<Later *>(data);
    };
    g_timeout_add_full(G_PRIORITY_DEFAULT, static_cast<guint>(delay.count()), send,
                       new Later{shared_from_this(), reply}, forget);
}

void Exchange::sendCut(const Reply &reply)
{
    if (std::exchange(m_ended, true))
        return;
    const std::string text = "HTTP/1.1 " + std::to_string(reply.status) +
                             " Cut\r\nContent-Type: " + reply.contentType +
                             "\r\nContent-Length: " + std::to_string(reply.body.size()) + "\r\n\r\n" +
                             reply.body.substr(0, reply.body.size() / 2);
    const ObjectPtr<GIOStream> stream(soup_server_message_steal_connection(m_message.get()));
    g_output_stream_write_all(g_io_stream_get_output_stream(stream.get()), text.data(), text.size(), nullptr,
                              nullptr, nullptr);
    g_io_stream_close(stream.get(), nullptr, nullptr);
}

void Exchange::drop()
{
    if (std::exchange(m_ended, true))
        return;
    const ObjectPtr<GIOStream> stream(soup_server_message_steal_connection(m_message.get()));
    g_io_stream_close(stream.get(), nullptr, nullptr);
}

void Exchange::keepSilent()
{
    if (std::exchange(m_ended, true))
        return;
    // Taken from the server, which otherwise still counts the message as its own,
    // and never closed.
    soup_server_message_steal_connection(m_message.get());
}

void Exchange::finishedCallback(SoupServerMessage * /*message*/, gpointer self)
{
    static_cast<Exchange *>(self)->m_ended = true;
}

} // namespace velmora::lab
