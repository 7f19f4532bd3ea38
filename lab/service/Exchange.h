#pragma once

#include "Handles.h"

#include <libsoup/soup.h>

#include <chrono>
#include <memory>
#include <string>

namespace velmora::lab {

struct Reply
{
    unsigned status = 200;
    std::string contentType = "application/json";
    std::string body;
};

/// One HTTP request that is being answered. The server waits until one of the
/// ending operations is called; the first one counts.
class Exchange : public std::enable_shared_from_this<Exchange>
{
public:
    explicit Exchange(SoupServerMessage *message);
    ~Exchange();
    Exchange(const Exchange &) = delete;
    Exchange &operator=(const Exchange &) = delete;

    [[nodiscard]] std::string method() const;
    [[nodiscard]] std::string header(const char *name) const;
    [[nodiscard]] std::string body() const;

    void send(const Reply &reply);
    void sendAfter(std::chrono::milliseconds delay, const Reply &reply);
    /// Announces the whole body, sends half of it and closes the connection.
    void sendCut(const Reply &reply);
    /// Closes the connection without a word.
    void drop();
    /// Leaves the peer waiting; the connection stays open.
    void keepSilent();

private:
    static void finishedCallback(SoupServerMessage *message, gpointer self);

    ObjectPtr<SoupServerMessage> m_message;
    gulong m_finishedHandler = 0;
    bool m_ended = false;
};

} // namespace velmora::lab
