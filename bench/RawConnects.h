#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <vector>

namespace velmora::bench {

/// What a bare connect() takes: so many non-blocking attempts, one after another, each waited for with
/// epoll_wait(2) in the calling thread; nanoseconds from before connect() to after the wait. A refusal counts
/// as well. Ends the program when the system gives no socket.
std::vector<qint64> rawConnects(const QByteArray &ipv4Address, quint16 port, int attempts);

} // namespace velmora::bench
