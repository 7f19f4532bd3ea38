#pragma once

#include <QString>

#include <sys/socket.h>

#include <functional>
#include <vector>

namespace velmora {

/// The address that a socket connects to.
struct SocketAddress
{
    sockaddr_storage storage{};
    socklen_t size = 0;
};
using SocketAddresses = std::vector<SocketAddress>;

/// The addresses of a host without asking anybody: of an address literal, or of a name that was resolved less
/// than a minute ago. Empty where that takes a look-up.
SocketAddresses knownAddresses(const QString &name, quint16 port);

/// Resolves a name through the system, without blocking. `handler` gets the addresses in the resolver's
/// order, none when the name cannot be resolved, from the event loop.
void lookUpHost(const QString &name, quint16 port, std::function<void(const SocketAddresses &)> handler);

} // namespace velmora
