#pragma once

#include "bench/LocalAcceptor.h"

#include <QByteArray>
#include <QString>

namespace velmora::bench {

/// The service, on a port of 127.0.0.1 in a thread of its own: it answers a request of the favourites with
/// theirs and any other with the endpoints, one request after another.
class ReplyServer
{
public:
    QString baseUrl() const;
    /// Not while a request is on its way.
    void setReplies(const QByteArray &endpointsReply, const QByteArray &favoritesReply);

private:
    void serve(int connection) const;

    QByteArray endpoints;
    QByteArray favorites;
    LocalAcceptor acceptor{[this](int connection) {
        serve(connection);
    }};
};

} // namespace velmora::bench
