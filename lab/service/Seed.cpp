#include "Seed.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace velmora::lab {

namespace {

bool readAccount(std::istringstream &line, Seed &seed)
{
    SeedAccount account;
    if (!(line >> account.name >> account.password))
        return false;
    seed.accounts.push_back(std::move(account));
    return true;
}

bool readFavorites(std::istringstream &line, Seed &seed)
{
    std::string name;
    line >> name;
    const auto account = std::find_if(seed.accounts.begin(), seed.accounts.end(),
                                      [&](const SeedAccount &a) { return a.name == name; });
    if (account == seed.accounts.end())
        return false;
    for (std::int64_t id = 0; line >> id;)
        account->favorites.push_back(id);
    return line.eof() && !account->favorites.empty();
}

bool readEndpoint(std::istringstream &line, Seed &seed)
{
    Endpoint endpoint;
    int milliseconds = 0;
    std::string unit;
    if (!(line >> endpoint.id >> endpoint.country >> endpoint.address >> endpoint.answer >> milliseconds >>
          unit >> std::ws))
        return false;
    if (milliseconds < 0 || unit != "ms")
        return false;
    endpoint.distance = std::chrono::milliseconds(milliseconds);
    if (endpoint.answer != "accepts" && endpoint.answer != "refuses" && endpoint.answer != "silent")
        return false;
    std::getline(line, endpoint.name);
    if (endpoint.name.empty() || !seed.endpointIds.insert(endpoint.id).second)
        return false;
    seed.endpoints.push_back(std::move(endpoint));
    return true;
}

bool readLine(const std::string &text, Seed &seed)
{
    std::istringstream line(text);
    std::string key;
    if (!(line >> key) || key.starts_with('#'))
        return true;
    if (key == "account")
        return readAccount(line, seed);
    if (key == "favorite")
        return readFavorites(line, seed);
    return key == "endpoint" && readEndpoint(line, seed);
}

} // namespace

Seed readSeed(const std::string &path)
{
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    Seed seed;
    std::string text;
    for (int number = 1; std::getline(file, text); ++number) {
        if (!readLine(text, seed)) {
            std::ostringstream problem;
            problem << path << ":" << number << ": not understood: " << text;
            throw std::runtime_error(problem.str());
        }
    }
    return seed;
}

} // namespace velmora::lab
