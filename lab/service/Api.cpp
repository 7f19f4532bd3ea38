#include "Api.h"

#include "Database.h"
#include "Faults.h"
#include "Gateway.h"
#include "Random.h"
#include "Seed.h"

#include <array>
#include <charconv>
#include <utility>

namespace velmora::lab {

namespace {

using Json = nlohmann::ordered_json;

std::optional<std::string> textOf(const Json &body, const char *key)
{
    const auto found = body.find(key);
    if (found == body.end() || !found->is_string())
        return std::nullopt;
    return found->get<std::string>();
}

std::optional<std::int64_t> numberOf(const Json &body, const char *key)
{
    const auto found = body.find(key);
    if (found == body.end() || !found->is_number_integer())
        return std::nullopt;
    return found->get<std::int64_t>();
}

std::optional<std::int64_t> numberOf(const std::string &text)
{
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

} // namespace

struct Api::Request
{
    /// What labctl calls it; empty for a request that the API does not know.
    std::string name;
    void (Api::*handler)(const Request &) = nullptr;
    bool needsAccount = true;
    std::shared_ptr<Exchange> exchange;
    std::string account;
    Json body;
    /// The id at the end of "favorite/ID".
    std::string pathId;
};

Api::Api(Parts parts) : m_parts(std::move(parts)) {}

void Api::answer(const std::shared_ptr<Exchange> &exchange, const std::string &path)
{
    Request request = classify(*exchange, path);
    request.exchange = exchange;
    if (!request.handler)
        return fail(request, 404, "There is no such request.");
    if (exchange->method() != "GET") {
        request.body = Json::parse(exchange->body(), nullptr, false);
        if (!request.body.is_object())
            return fail(request, 400, "The request's body is not a JSON object.");
    }
    if (request.needsAccount) {
        const std::optional<std::string> account =
            m_parts.database.accountOf(exchange->header("X-Auth-Token"));
        if (!account)
            return fail(request, 401, "Your session has ended. Please sign in again.");
        request.account = *account;
    }
    (this->*request.handler)(request);
}

Api::Request Api::classify(const Exchange &exchange, const std::string &path) const
{
    struct Known
    {
        const char *method;
        const char *path;
        const char *name;
        void (Api::*handler)(const Request &);
        bool needsAccount;
    };
    static constexpr std::array known{
        Known{"POST", "token", "login", &Api::login, false},
        Known{"POST", "account/reset", "reset", &Api::reset, false},
        Known{"GET", "endpoint", "endpoints", &Api::endpoints, true},
        Known{"GET", "favorite", "favorites", &Api::favorites, true},
        Known{"POST", "favorite", "add-favorite", &Api::addFavorite, true},
        Known{"DELETE", "favorite/", "remove-favorite", &Api::removeFavorite, true},
        Known{"POST", "endpoint", "connect", &Api::connect, true},
    };
    Request request;
    const std::string method = exchange.method();
    for (const Known &entry : known) {
        const std::string_view entryPath = entry.path;
        const bool open = entryPath.ends_with('/');
        if (method != entry.method || !(open ? path.starts_with(entryPath) : path == entryPath))
            continue;
        request.name = entry.name;
        request.handler = entry.handler;
        request.needsAccount = entry.needsAccount;
        request.pathId = path.substr(entryPath.size());
    }
    return request;
}

void Api::login(const Request &request)
{
    const auto name = textOf(request.body, "username");
    const auto password = textOf(request.body, "password");
    if (!name || !password)
        return fail(request, 400, "A user name and a password are needed.");
    const std::optional<std::string> token = m_parts.database.logIn(*name, *password);
    if (!token)
        return fail(request, 401, "The user name or the password is wrong.");
    send(request, 200, {{"token", *token}});
}

void Api::reset(const Request &request)
{
    if (!textOf(request.body, "username"))
        return fail(request, 400, "A user name is needed.");
    // The same for every name: the answer does not tell who has an account.
    send(request, 200, {{"success", true}});
}

void Api::endpoints(const Request &request)
{
    Json list = Json::array();
    for (const Endpoint &endpoint : m_parts.seed.endpoints) {
        list.push_back({{"id", endpoint.id},
                        {"name", endpoint.name},
                        {"country", endpoint.country},
                        {"address", endpoint.address}});
    }
    send(request, 200, {{"endpoints", std::move(list)}});
}

void Api::favorites(const Request &request)
{
    send(request, 200, {{"favorites", m_parts.database.favorites(request.account)}});
}

void Api::addFavorite(const Request &request)
{
    const auto id = numberOf(request.body, "endpoint");
    if (!id || !m_parts.seed.endpointIds.contains(*id))
        return fail(request, 404, "There is no such endpoint.");
    m_parts.database.addFavorite(request.account, *id);
    send(request, 200, {{"success", true}});
}

void Api::removeFavorite(const Request &request)
{
    const auto id = numberOf(request.body, "endpoint");
    if (!id || id != numberOf(request.pathId))
        return fail(request, 400, "The path and the body name different endpoints.");
    m_parts.database.removeFavorite(request.account, *id);
    send(request, 200, {{"success", true}});
}

void Api::connect(const Request &request)
{
    const auto id = numberOf(request.body, "endpoint");
    if (!id || !m_parts.seed.endpointIds.contains(*id))
        return fail(request, 404, "There is no such endpoint.");
    if (textOf(request.body, "configurationType") != "ipsec")
        return fail(request, 400, "There is no such kind of configuration.");
    m_parts.gateway.handOut(request.account, [this, request](const Handout &handout) {
        const Faults &faults = m_parts.faults;
        std::string address = faults.value(request.name, "address").value_or(m_parts.gatewayAddress);
        if (faults.isOn(request.name, "unreachable-gateway"))
            address = m_parts.sinkAddress;
        const bool wrongSecret = faults.isOn(request.name, "wrong-psk");
        const bool wrongPassword = faults.isOn(request.name, "wrong-password");
        send(request, 200,
             {{"success", true},
              {"address", address},
              {"configuration", wrongSecret ? randomText(handout.sharedSecret.size()) : handout.sharedSecret},
              {"configurationType", "ipsec"},
              {"password", wrongPassword ? randomText(handout.password.size()) : handout.password}});
    });
}

void Api::send(const Request &request, unsigned status, Json body) const
{
    const auto fault = [&](const char *name) {
        return m_parts.faults.value(request.name, name);
    };
    if (fault("no-success") && body.contains("success"))
        body["success"] = false;
    if (const auto key = fault("missing"))
        body.erase(*key);

    Reply reply{.status = status, .body = body.dump()};
    if (const auto code = fault("http-status"))
        reply.status = static_cast<unsigned>(numberOf(*code).value_or(500));
    if (const auto text = fault("body"))
        reply.body = *text;
    if (fault("empty"))
        reply.body.clear();

    if (fault("silent"))
        return request.exchange->keepSilent();
    if (fault("no-reply"))
        return request.exchange->drop();
    if (fault("cut"))
        return request.exchange->sendCut(reply);
    if (const auto delay = fault("delay"))
        return request.exchange->sendAfter(std::chrono::milliseconds(numberOf(*delay).value_or(0)), reply);
    request.exchange->send(reply);
}

void Api::fail(const Request &request, unsigned status, const char *message) const
{
    Json body = {{"error", {{"message", message}}}};
    if (request.name == "reset" || request.name.ends_with("-favorite"))
        body["success"] = false;
    send(request, status, std::move(body));
}

} // namespace velmora::lab
