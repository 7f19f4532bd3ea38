#pragma once

#include <QtGlobal>

#include <thread>

namespace velmora::bench {

/// Accepts connections on a port of 127.0.0.1 in a thread of its own, which closes each at once.
class LocalAcceptor
{
public:
    LocalAcceptor();
    ~LocalAcceptor();
    LocalAcceptor(const LocalAcceptor &) = delete;
    LocalAcceptor &operator=(const LocalAcceptor &) = delete;

    quint16 port() const { return number; }

private:
    int listener;
    quint16 number = 0;
    std::thread thread;
};

} // namespace velmora::bench
