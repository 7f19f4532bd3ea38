#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace velmora {

/// One HTTP request. Header names and values go out as they stand; a value with control characters cannot.
struct HttpRequest
{
    QByteArray method;
    QString url;
    QMap<QByteArray, QByteArray> headers;
    /// Sent only where it is present.
    std::optional<QByteArray> body;
};

/// The HTTP client that all requests of this process share: one pool of settings, no cookie, no cache, no
/// retry, no redirect followed.
class HttpSession
{
public:
    /// Called once with the body of the reply, whatever its status; a body that was cut off after some bytes,
    /// or at `maximumBodyBytes`, is given as far as it came. Never called when the request failed before any
    /// byte of a body: then it is destroyed.
    using Handler = std::function<void(const QByteArray &body)>;

    /// Bound on the decoded body; more is cut off. It is three times what 100 000 endpoints take, and keeps
    /// what becomes of a body, a million of the shortest records at worst, below 512 MiB.
    static constexpr qsizetype maximumBodyBytes = Q_INT64_C(32) * 1024 * 1024;

    virtual ~HttpSession() = default;

    /// The session of this process; made at its first use where none was set.
    static HttpSession &shared();
    /// Sets the session of this process; called once, before the first request.
    static void setShared(std::unique_ptr<HttpSession> session);

    /// Sends the request; `handler` runs from the event loop. The request outlives the caller.
    virtual void send(const HttpRequest &request, Handler handler) = 0;
};

} // namespace velmora
