#include "platform/network/SoupHttpSession.h"

#include "platform/Log.h"
#include "platform/network/GLibPointer.h"

#include <QCoreApplication>

#include <libsoup/soup.h>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr gsize pieceBytes = 65536;

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
    const auto handler = std::make_shared<HttpSession::Handler>(std::move(exchange.handler));
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [handler, body = std::move(exchange.body)] { (*handler)(body); },
        Qt::QueuedConnection);
}

void readPiece(std::unique_ptr<Exchange> exchange);

void pieceArrived(GObject *source, GAsyncResult *result, gpointer data)
{
    std::unique_ptr<Exchange> exchange(static_cast<Exchange *>(data));
    GError *failure = nullptr;
    GBytes *piece = g_input_stream_read_bytes_finish(G_INPUT_STREAM(source), result, &failure);
    const GErrorPtr error(failure);
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
    if (size == 0 || over)
        deliver(*exchange);
    else
        readPiece(std::move(exchange));
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
    GError *failure = nullptr;
    exchange->stream.reset(soup_session_send_finish(SOUP_SESSION(source), result, &failure));
    const GErrorPtr error(failure);
    if (exchange->stream)
        readPiece(std::move(exchange));
}

bool canBeHeader(const QByteArray &value)
{
    return std::none_of(value.begin(), value.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && byte != '\t') || byte == 0x7f;
    });
}

} // namespace

struct SoupHttpSession::Private
{
    GObjectPtr<SoupSession> session;
};

SoupHttpSession::SoupHttpSession() : d(std::make_unique<Private>())
{
    // A request waits for no other one: a service that never ends its replies must not hold up the next
    // press. A connection serves one request, so what is left of it is dropped as soon as the library can.
    d->session.reset(soup_session_new_with_options("max-conns", 256, "max-conns-per-host", 256,
                                                   "idle-timeout", 1, nullptr));
    // It would repeat a request that was answered with 401.
    soup_session_remove_feature_by_type(d->session.get(), SOUP_TYPE_AUTH_MANAGER);
}

SoupHttpSession::~SoupHttpSession() = default;

void SoupHttpSession::send(const HttpRequest &request, Handler handler)
{
    GObjectPtr<SoupMessage> message(
        soup_message_new(request.method.constData(), request.url.toUtf8().constData()));
    if (!message) {
        systemLog(u"not a URL: %1"_s.arg(request.url));
        return;
    }
    // A message on a connection of its own is never sent again by the library, not even a GET.
    soup_message_add_flags(
        message.get(), static_cast<SoupMessageFlags>(SOUP_MESSAGE_NO_REDIRECT | SOUP_MESSAGE_NEW_CONNECTION));
    SoupMessageHeaders *headers = soup_message_get_request_headers(message.get());
    for (auto header = request.headers.begin(); header != request.headers.end(); ++header) {
        if (!canBeHeader(header.value())) {
            systemLog(u"header %1 cannot be sent"_s.arg(QString::fromLatin1(header.key())));
            return;
        }
        soup_message_headers_replace(headers, header.key().constData(), header.value().constData());
    }
    if (request.body) {
        GBytes *bytes = g_bytes_new(request.body->constData(), static_cast<gsize>(request.body->size()));
        soup_message_set_request_body_from_bytes(message.get(), nullptr, bytes);
        g_bytes_unref(bytes);
    }
    SoupMessage *sent = message.get();
    auto exchange = std::make_unique<Exchange>();
    exchange->message = std::move(message);
    exchange->handler = std::move(handler);
    soup_session_send_async(d->session.get(), sent, G_PRIORITY_DEFAULT, nullptr, replyArrived,
                            exchange.release());
}

} // namespace velmora
