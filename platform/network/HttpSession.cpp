#include "platform/network/HttpSession.h"

#include "platform/Log.h"
#include "platform/network/GLibPointer.h"

#include <QCoreApplication>
#include <QTimer>

#include <libsoup/soup.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr gsize pieceBytes = 65536;
/// Making the library's session takes some milliseconds. The first window is drawn within this time, so that
/// it does not wait for them.
constexpr std::chrono::milliseconds startDelay = 50ms;

/// One request on its way. Owns itself: each step hands it on to the next, the last one drops it.
struct Exchange
{
    GObjectPtr<SoupMessage> message;
    GObjectPtr<GInputStream> stream;
    QByteArray body;
    HttpSession::Handler handler;
};

/// Hands the body over from the event loop: a handler may show a dialogue, and the library's own source, from
/// which the last piece arrives, does not run again before it returns.
void deliver(Exchange &exchange)
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [handler = std::move(exchange.handler), body = std::move(exchange.body)] { handler(body); },
        Qt::QueuedConnection);
}

/// The library takes the end of a connection for the end of the headers if it stands behind a complete line.
/// The empty line that ends them is missing when no more bytes arrived than the lines themselves have.
bool headersWereCut(SoupMessage *message)
{
    guint64 lineBytes = qstrlen("HTTP/1.1 200 \r\n") + qstrlen(soup_message_get_reason_phrase(message));
    SoupMessageHeadersIter header;
    soup_message_headers_iter_init(&header, soup_message_get_response_headers(message));
    const char *name = nullptr;
    const char *value = nullptr;
    while (soup_message_headers_iter_next(&header, &name, &value))
        lineBytes += qstrlen(name) + qstrlen(value) + qstrlen(": \r\n");
    SoupMessageMetrics *metrics = soup_message_get_metrics(message);
    return soup_message_metrics_get_response_header_bytes_received(metrics) <= lineBytes;
}

void readPiece(std::unique_ptr<Exchange> exchange);

void pieceArrived(GObject *source, GAsyncResult *result, gpointer data)
{
    std::unique_ptr<Exchange> exchange(static_cast<Exchange *>(data));
    GBytes *piece = g_input_stream_read_bytes_finish(G_INPUT_STREAM(source), result, nullptr);
    if (piece == nullptr) {
        if (!exchange->body.isEmpty())
            deliver(*exchange);
        return;
    }
    gsize size = 0;
    const auto *bytes = static_cast<const char *>(g_bytes_get_data(piece, &size));
    const qsizetype room = HttpSession::maximumBodyBytes - exchange->body.size();
    const bool over = static_cast<qsizetype>(size) > room;
    exchange->body.append(bytes, std::min(static_cast<qsizetype>(size), room));
    g_bytes_unref(piece);
    if (size > 0 && !over)
        readPiece(std::move(exchange));
    else if (!exchange->body.isEmpty() || !headersWereCut(exchange->message.get()))
        deliver(*exchange);
}

void readPiece(std::unique_ptr<Exchange> exchange)
{
    GInputStream *stream = exchange->stream.get();
    g_input_stream_read_bytes_async(stream, pieceBytes, G_PRIORITY_DEFAULT, nullptr, pieceArrived,
                                    exchange.release());
}

void replyArrived(GObject *source, GAsyncResult *result, gpointer data)
{
    std::unique_ptr<Exchange> exchange(static_cast<Exchange *>(data));
    exchange->stream.reset(soup_session_send_finish(SOUP_SESSION(source), result, nullptr));
    if (exchange->stream)
        readPiece(std::move(exchange));
}

/// Nothing where the request cannot be sent; the log says why.
GObjectPtr<SoupMessage> messageOf(const HttpRequest &request)
{
    GObjectPtr<SoupMessage> message(
        soup_message_new(request.method.constData(), request.url.toUtf8().constData()));
    if (!message) {
        systemLog(u"not a URL: %1"_s.arg(request.url));
        return nullptr;
    }
    // A message on a connection of its own is never sent again by the library, not even a GET.
    soup_message_add_flags(message.get(), static_cast<SoupMessageFlags>(SOUP_MESSAGE_NO_REDIRECT |
                                                                        SOUP_MESSAGE_NEW_CONNECTION |
                                                                        SOUP_MESSAGE_COLLECT_METRICS));
    // It would repeat a request that was answered with 401 or 407. Taken out of the session, it would make
    // the library read such a reply into memory as a whole.
    soup_message_disable_feature(message.get(), SOUP_TYPE_AUTH_MANAGER);
    SoupMessageHeaders *headers = soup_message_get_request_headers(message.get());
    for (auto header = request.headers.begin(); header != request.headers.end(); ++header)
        soup_message_headers_replace(headers, header.key().constData(), header.value().constData());
    if (request.body) {
        GBytes *bytes = g_bytes_new(request.body->constData(), static_cast<gsize>(request.body->size()));
        soup_message_set_request_body_from_bytes(message.get(), nullptr, bytes);
        g_bytes_unref(bytes);
    }
    return message;
}

SoupSession *newSession()
{
    // GLib asks for proxies over a session bus connection of its own, with whose end it would end the
    // process. The connection is kept: GLib would make the next one with that default again.
    const auto opened = [](GObject *, GAsyncResult *result, gpointer) {
        if (GDBusConnection *const bus = g_bus_get_finish(result, nullptr); bus != nullptr)
            g_dbus_connection_set_exit_on_close(bus, FALSE);
    };
    g_bus_get(G_BUS_TYPE_SESSION, nullptr, opened, nullptr);
    // A request waits for no other one: a service that never ends its replies must not hold up the next
    // press. A connection serves one request, so what is left of it is dropped as soon as the library can.
    return soup_session_new_with_options("max-conns", 256, "max-conns-per-host", 256, "idle-timeout", 1,
                                         nullptr);
}

} // namespace

void HttpSession::send(const HttpRequest &request, Handler handler)
{
    /// Never destroyed, since requests are on their way until the end.
    static SoupSession *session = nullptr;
    if (session == nullptr) {
        QTimer::singleShot(startDelay, QCoreApplication::instance(), [request, handler] {
            if (session == nullptr)
                session = newSession();
            send(request, handler);
        });
        return;
    }
    auto exchange = std::make_unique<Exchange>();
    exchange->message = messageOf(request);
    if (!exchange->message)
        return;
    exchange->handler = std::move(handler);
    SoupMessage *const message = exchange->message.get();
    soup_session_send_async(session, message, G_PRIORITY_DEFAULT, nullptr, replyArrived, exchange.release());
}

} // namespace velmora
