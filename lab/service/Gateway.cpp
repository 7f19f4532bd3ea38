#include "Gateway.h"

#include "Random.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string_view>
#include <utility>

namespace velmora::lab {

namespace {

constexpr std::size_t secretLength = 32;
constexpr std::size_t passwordLength = 24;

std::string quoted(const std::string &text)
{
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + "\"";
}

/// As strongSwan's hexadecimal notation: a plain text that begins with 0x or 0s, as a random one may, would
/// be read as such a notation too.
std::string secretText(const std::string &secret)
{
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string result = "0x";
    for (const char c : secret) {
        const auto byte = static_cast<unsigned char>(c);
        result += digits[byte >> 4];
        result += digits[byte & 15];
    }
    return result;
}

} // namespace

struct Gateway::Loading
{
    Gateway *gateway;
    Handout handout;
    Done done;
};

Gateway::Gateway(std::string secretsFile, std::string swanctl, std::string viciSocket)
    : m_secretsFile(std::move(secretsFile)), m_swanctl(std::move(swanctl)),
      m_viciSocket(std::move(viciSocket))
{
}

void Gateway::handOut(const std::string &account, Done done)
{
    // One after the other: what is handed out last is what the gateway keeps.
    m_waiting.push_back({account, std::move(done)});
    if (!m_loading)
        loadNext();
}

void Gateway::loadNext()
{
    if (m_waiting.empty())
        return;
    Job job = std::move(m_waiting.front());
    m_waiting.pop_front();
    m_sharedSecret = randomText(secretLength);
    m_passwords[job.account] = randomText(passwordLength);
    writeSecrets();

    m_loading = true;
    auto *loading = new Loading{this, {m_sharedSecret, m_passwords[job.account]}, std::move(job.done)};
    GError *error = nullptr;
    GSubprocess *process =
        g_subprocess_new(G_SUBPROCESS_FLAGS_STDOUT_SILENCE, &error, "timeout", "5", m_swanctl.c_str(),
                         "--load-creds", "--noprompt", "--uri", m_viciSocket.c_str(), nullptr);
    if (!process)
        g_error("cannot run %s: %s", m_swanctl.c_str(), error->message);
    g_subprocess_wait_check_async(process, nullptr, loadedCallback, loading);
    g_object_unref(process);
}

void Gateway::writeSecrets() const
{
    std::ostringstream text;
    text << "secrets {\n    ike-clients {\n        id = keyid:client\n        secret = "
         << secretText(m_sharedSecret) << "\n    }\n";
    int number = 0;
    for (const auto &[account, password] : m_passwords) {
        text << "    xauth-" << ++number << " {\n        id = " << quoted(account)
             << "\n        secret = " << secretText(password) << "\n    }\n";
    }
    text << "}\n";
    // Replaced as a whole: the gateway may read it at any moment.
    const std::string half = m_secretsFile + ".new";
    std::ofstream(half) << text.str();
    std::rename(half.c_str(), m_secretsFile.c_str());
}

void Gateway::loadedCallback(GObject *process, GAsyncResult *result, gpointer data)
{
    const std::unique_ptr<Loading> loading(static_cast<Loading *>(data));
    GError *error = nullptr;
    if (!g_subprocess_wait_check_finish(G_SUBPROCESS(process), result, &error)) {
        g_warning("the gateway was not told its secrets: %s", error->message);
        g_error_free(error);
    }
    loading->done(loading->handout);
    loading->gateway->m_loading = false;
    loading->gateway->loadNext();
}

} // namespace velmora::lab
