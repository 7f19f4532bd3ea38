#include "Acceptor.h"

#include <stdexcept>
#include <string>

namespace velmora::lab {

namespace {

constexpr guint16 endpointPort = 443;
constexpr int backlog = 1024;
constexpr gsize discardSize = 4096;

// Reads until the peer closes, and forgets what it read.
void discard(GObject *stream, GAsyncResult *result, gpointer connection)
{
    if (g_input_stream_skip_finish(G_INPUT_STREAM(stream), result, nullptr) > 0)
        g_input_stream_skip_async(G_INPUT_STREAM(stream), discardSize, G_PRIORITY_DEFAULT, nullptr, discard,
                                  connection);
    else
        g_object_unref(connection);
}

} // namespace

Acceptor::Acceptor() : m_service(g_socket_service_new())
{
    auto *listener = G_SOCKET_LISTENER(m_service.get());
    g_socket_listener_set_backlog(listener, backlog);
    GError *error = nullptr;
    if (!g_socket_listener_add_inet_port(listener, endpointPort, nullptr, &error)) {
        const ErrorPtr owned(error);
        throw std::runtime_error(std::string("cannot listen on port 443: ") + owned->message);
    }
    g_signal_connect(m_service.get(), "incoming", G_CALLBACK(incomingCallback), this);
}

gboolean Acceptor::incomingCallback(GSocketService * /*service*/, GSocketConnection *connection,
                                    GObject * /*source*/, gpointer /*self*/)
{
    g_object_ref(connection);
    g_input_stream_skip_async(g_io_stream_get_input_stream(G_IO_STREAM(connection)), discardSize,
                              G_PRIORITY_DEFAULT, nullptr, discard, connection);
    return TRUE;
}

} // namespace velmora::lab
