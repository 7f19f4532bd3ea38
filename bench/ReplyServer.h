#pragma once

#include <QByteArray>
#include <QString>

#include <thread>

namespace velmora::bench {

/// The service, on a port of 127.0.0.1 in a thread of its own: it answers a request of the favourites with
/// theirs and any other with the endpoints, one request after another.
class ReplyServer
{
public:
    ReplyServer();
    ~ReplyServer();
    ReplyServer(const ReplyServer &) = delete;
    ReplyServer &operator=(const ReplyServer &) = delete;

    QString baseUrl() const;
    /// Not while a request is on its way.
    void setReplies(const QByteArray &endpointsReply, const QByteArray &favoritesReply);

private:
    void serve() const;

    int listener;
    quint16 port = 0;
    QByteArray endpoints;
    QByteArray favorites;
    std::thread thread;
};

} // namespace velmora::bench
