#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

namespace velmora::lab {

struct Endpoint
{
    std::int64_t id = 0;
    std::string country;
    std::string address;
    /// The round trip from the desktop.
    std::chrono::milliseconds distance{};
    /// What a connect meets: "accepts", "refuses" or "silent".
    std::string answer;
    std::string name;
};

struct SeedAccount
{
    std::string name;
    std::string password;
    std::vector<std::int64_t> favorites;
};

/// The accounts and endpoints that the lab starts with.
struct Seed
{
    std::vector<SeedAccount> accounts;
    std::vector<Endpoint> endpoints;
    std::unordered_set<std::int64_t> endpointIds;
};

/// Throws std::runtime_error that names the line that cannot be read.
Seed readSeed(const std::string &path);

} // namespace velmora::lab
