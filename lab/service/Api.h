#pragma once

#include "Exchange.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace velmora::lab {

class Database;
class Faults;
class Gateway;
struct Seed;

/// The service's HTTP API below "/api/".
class Api
{
public:
    struct Parts
    {
        const Seed &seed;
        Database &database;
        Gateway &gateway;
        const Faults &faults;
        std::string gatewayAddress;
        std::string sinkAddress;
    };

    explicit Api(Parts parts);

    /// Answers one request; `path` is what follows "/api/".
    void answer(const std::shared_ptr<Exchange> &exchange, const std::string &path);

private:
    struct Request;

    [[nodiscard]] Request classify(const Exchange &exchange, const std::string &path) const;
    void login(const Request &request);
    void reset(const Request &request);
    void endpoints(const Request &request);
    void favorites(const Request &request);
    void addFavorite(const Request &request);
    void removeFavorite(const Request &request);
    void connect(const Request &request);
    void send(const Request &request, unsigned status, nlohmann::ordered_json body) const;
    void fail(const Request &request, unsigned status, const char *message) const;

    Parts m_parts;
};

} // namespace velmora::lab
