#include "bench/ReplyServer.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace velmora::bench {

using namespace Qt::StringLiterals;

namespace {

QByteArray withHead(const QByteArray &body)
{
    return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
           QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

} // namespace

ReplyServer::ReplyServer() : listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto *const generic = reinterpret_cast<sockaddr *>(&address);
    if (::bind(listener, generic, size) != 0 || ::listen(listener, SOMAXCONN) != 0 ||
        ::getsockname(listener, generic, &size) != 0) {
        std::perror("a listener on loopback");
        std::exit(1);
    }
    port = ntohs(address.sin_port);
    thread = std::thread(&ReplyServer::serve, this);
}

ReplyServer::~ReplyServer()
{
    // Makes accept4() fail.
    ::shutdown(listener, SHUT_RDWR);
    thread.join();
    ::close(listener);
}

QString ReplyServer::baseUrl() const
{
    return u"http://127.0.0.1:%1/api/"_s.arg(port);
}

void ReplyServer::setReplies(const QByteArray &endpointsReply, const QByteArray &favoritesReply)
{
    endpoints = withHead(endpointsReply);
    favorites = withHead(favoritesReply);
}

void ReplyServer::serve() const
{
    for (;;) {
        const int accepted = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (accepted < 0)
            return;
        QByteArray request;
        std::array<char, 4096> piece{};
        ssize_t got = 0;
        while (!request.contains("\r\n\r\n") && (got = ::read(accepted, piece.data(), piece.size())) > 0)
            request.append(piece.data(), got);
        const QByteArray &reply = request.startsWith("GET /api/favorite") ? favorites : endpoints;
        for (qsizetype sent = 0; sent < reply.size();) {
            const ssize_t written = ::send(accepted, reply.constData() + sent,
                                           static_cast<size_t>(reply.size() - sent), MSG_NOSIGNAL);
            if (written <= 0)
                break;
            sent += written;
        }
        ::close(accepted);
    }
}

} // namespace velmora::bench
