#include "bench/RawConnects.h"

#include "platform/network/MonotonicClock.h"

#include <arpa/inet.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace velmora::bench {

namespace {

int orDie(int result, const char *what)
{
    if (result < 0) {
        std::perror(what);
        std::exit(1);
    }
    return result;
}

qint64 rawConnect(int epoll, const sockaddr_in &target)
{
    const int file = orDie(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket");
    const std::uint64_t began = monotonicTicks();
    const int result = ::connect(file, reinterpret_cast<const sockaddr *>(&target), sizeof(target));
    if (result == 0 || errno == EINPROGRESS) {
        epoll_event event{};
        event.events = EPOLLOUT;
        orDie(::epoll_ctl(epoll, EPOLL_CTL_ADD, file, &event), "epoll_ctl");
        orDie(::epoll_wait(epoll, &event, 1, -1), "epoll_wait");
    }
    const std::uint64_t ended = monotonicTicks();
    ::close(file);
    return static_cast<qint64>(ended - began);
}

} // namespace

std::vector<qint64> rawConnects(const QByteArray &ipv4Address, quint16 port, int attempts)
{
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(port);
    if (::inet_pton(AF_INET, ipv4Address.constData(), &target.sin_addr) != 1)
        orDie(-1, "inet_pton");
    const int epoll = orDie(::epoll_create1(EPOLL_CLOEXEC), "epoll_create1");
    std::vector<qint64> taken;
    taken.reserve(static_cast<size_t>(attempts));
    for (int attempt = 0; attempt < attempts; ++attempt)
        taken.push_back(rawConnect(epoll, target));
    ::close(epoll);
    return taken;
}

} // namespace velmora::bench
