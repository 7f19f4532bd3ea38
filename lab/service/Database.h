#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sqlite3;

namespace velmora::lab {

struct Seed;

/// Accounts, sessions and favourites, kept in SQLite so that they outlive the
/// service. Every operation throws std::runtime_error when SQLite refuses.
class Database
{
public:
    /// Opens or makes the file and adds the seed's accounts that it lacks.
    Database(const std::string &path, const Seed &seed);

    /// A new session's token, or nothing when name or password is wrong.
    std::optional<std::string> logIn(const std::string &name, const std::string &password);
    /// The account that the token belongs to.
    std::optional<std::string> accountOf(const std::string &token);

    std::vector<std::int64_t> favorites(const std::string &account);
    void addFavorite(const std::string &account, std::int64_t endpoint);
    void removeFavorite(const std::string &account, std::int64_t endpoint);

private:
    struct Close
    {
        void operator()(sqlite3 *handle) const;
    };

    void execute(const char *sql);
    void addAccounts(const Seed &seed);

    std::unique_ptr<sqlite3, Close> m_handle;
};

} // namespace velmora::lab
