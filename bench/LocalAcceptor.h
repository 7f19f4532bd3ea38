#pragma once

#include <QtGlobal>

#include <functional>
#include <thread>

namespace velmora::bench {

/// Accepts connections on a port of 127.0.0.1 in a thread of its own, which serves and closes one after
/// another.
class LocalAcceptor
{
public:
    using Serve = std::function<void(int connection)>;

    explicit LocalAcceptor(Serve serve = [](int) {});
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
