#pragma once

#include "Handles.h"

#include <deque>
#include <functional>
#include <map>
#include <string>

namespace velmora::lab {

/// What a client needs for one connection.
struct Handout
{
    std::string sharedSecret;
    std::string password;
};

/// Hands out new secrets for every connection and makes the gateway accept
/// exactly these: one password per account, and the latest shared secret (in
/// aggressive mode all clients name themselves alike, so there is but one).
class Gateway
{
public:
    using Done = std::function<void(const Handout &)>;

    Gateway(std::string secretsFile, std::string swanctl, std::string viciSocket);

    /// Calls `done` once the gateway knows the new secrets, or cannot be told
    /// because it is down; it reads them when it comes back.
    void handOut(const std::string &account, Done done);

private:
    struct Job
    {
        std::string account;
        Done done;
    };
    struct Loading;

    void loadNext();
    void writeSecrets() const;
    static void loadedCallback(GObject *process, GAsyncResult *result, gpointer data);

    std::string m_secretsFile;
    std::string m_swanctl;
    std::string m_viciSocket;
    std::string m_sharedSecret;
    std::map<std::string, std::string> m_passwords;
    std::deque<Job> m_waiting;
    bool m_loading = false;
};

} // namespace velmora::lab
