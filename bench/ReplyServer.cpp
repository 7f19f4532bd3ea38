#include "bench/ReplyServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace velmora::bench {

using namespace Qt::StringLiterals;

namespace {

QByteArray withHead(const QByteArray &body)
{
    return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
           QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

} // namespace

QString ReplyServer::baseUrl() const
{
    return u"http://127.0.0.1:%1/api/"_s.arg(acceptor.port());
}

void ReplyServer::setReplies(const QByteArray &endpointsReply, const QByteArray &favoritesReply)
{
    endpoints = withHead(endpointsReply);
    favorites = withHead(favoritesReply);
}

void ReplyServer::serve(int connection) const
{
    QByteArray request;
    std::array<char, 4096> piece{};
    ssize_t got = 0;
    while (!request.contains("\r\n\r\n") && (got = ::read(connection, piece.data(), piece.size())) > 0)
        request.append(piece.data(), got);
    const QByteArray &reply = request.startsWith("GET /api/favorite") ? favorites : endpoints;
    for (qsizetype sent = 0; sent < reply.size();) {
        const ssize_t written = ::send(connection, reply.constData() + sent,
                                       static_cast<size_t>(reply.size() - sent), MSG_NOSIGNAL);
        if (written <= 0)
            break;
        sent += written;
    }
}

} // namespace velmora::bench
