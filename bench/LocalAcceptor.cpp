#include "bench/LocalAcceptor.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace velmora::bench {

LocalAcceptor::LocalAcceptor(Serve serve) : listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
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
    number = ntohs(address.sin_port);
    thread = std::thread([file = listener, serve = std::move(serve)] {
        for (;;) {
            const int accepted = ::accept4(file, nullptr, nullptr, SOCK_CLOEXEC);
            if (accepted < 0)
                return;
            serve(accepted);
            ::close(accepted);
        }
    });
}

LocalAcceptor::~LocalAcceptor()
{
    // Makes accept4() fail.
    ::shutdown(listener, SHUT_RDWR);
    thread.join();
    ::close(listener);
}

} // namespace velmora::bench
