#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <functional>
#include <optional>

namespace velmora {

/// One HTTP request. Header names and values go out as they stand: without control characters.
struct HttpRequest
{
    QByteArray method;
    QString url;
    QMap<QByteArray, QByteArray> headers;
    /// Sent only where it is present.
    std::optional<QByteArray> body;
};

/// The HTTP client that all requests of this process share: no cookie, no cache, no retry, no redirect
/// followed, no answer to a request for authentication. Needs Qt's event loop to be GLib's.
class HttpSession
{
public:
    /// Called once with the body of the reply, whatever its status; a body that was cut off after some bytes,
    /// or at `maximumBodyBytes`, is given as far as it came. Never called when the request failed before any
    /// byte of a body: then it is destroyed.
    using Handler = std::function<void(const QByteArray &body)>;

    /// Bound on the decoded body; more is cut off. 100 000 endpoints take about 10 MiB, and decoding the
    /// worst text of this length takes less than 512 MiB.
    static constexpr qsizetype maximumBodyBytes = Q_INT64_C(16) * 1024 * 1024;

    /// Sends the request; `handler` runs from the event loop. The request outlives the caller.
    static void send(const HttpRequest &request, Handler handler);
};

} // namespace velmora
