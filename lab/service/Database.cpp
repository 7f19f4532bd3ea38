#include "Database.h"

#include "Random.h"
#include "Seed.h"

#include <sqlite3.h>

#include <stdexcept>

namespace velmora::lab {

namespace {

// One prepared statement: bind in order, step through the rows.
class Statement
{
public:
    Statement(sqlite3 *database, const char *sql) : m_database(database)
    {
        if (sqlite3_prepare_v2(database, sql, -1, &m_statement, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(database));
    }
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;
    ~Statement() { sqlite3_finalize(m_statement); }

    Statement &bind(const std::string &text)
    {
        sqlite3_bind_text(m_statement, ++m_bound, text.data(), static_cast<int>(text.size()),
                          SQLITE_TRANSIENT);
        return *this;
    }
    Statement &bind(std::int64_t number)
    {
        sqlite3_bind_int64(m_statement, ++m_bound, number);
        return *this;
    }
    bool step()
    {
        const int result = sqlite3_step(m_statement);
        if (result != SQLITE_ROW && result != SQLITE_DONE)
            throw std::runtime_error(sqlite3_errmsg(m_database));
        return result == SQLITE_ROW;
    }
    std::string text()
    {
        const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, 0));
        return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, 0))};
    }
    std::int64_t number() { return sqlite3_column_int64(m_statement, 0); }

private:
    sqlite3 *m_database;
    sqlite3_stmt *m_statement = nullptr;
    int m_bound = 0;
};

constexpr std::size_t tokenLength = 40;

} // namespace

Database::Database(const std::string &path, const Seed &seed)
{
    sqlite3 *handle = nullptr;
    const int result = sqlite3_open(path.c_str(), &handle);
    m_handle.reset(handle);
    if (result != SQLITE_OK)
        throw std::runtime_error(path + ": " + sqlite3_errmsg(handle));
    // Passwords stand as they are: the accounts are invented and the seed shows them too.
    execute("CREATE TABLE IF NOT EXISTS account (name TEXT PRIMARY KEY, password TEXT NOT NULL);"
            "CREATE TABLE IF NOT EXISTS session (token TEXT PRIMARY KEY, account TEXT NOT NULL);"
            "CREATE TABLE IF NOT EXISTS favorite (account TEXT NOT NULL, endpoint INTEGER NOT NULL,"
            "                                     PRIMARY KEY (account, endpoint));");
    addAccounts(seed);
}

std::optional<std::string> Database::logIn(const std::string &name, const std::string &password)
{
    Statement find(m_handle.get(), "SELECT name FROM account WHERE name = ? AND password = ?");
    if (!find.bind(name).bind(password).step())
        return std::nullopt;
    std::string token = randomText(tokenLength);
    Statement add(m_handle.get(), "INSERT INTO session (token, account) VALUES (?, ?)");
    add.bind(token).bind(name).step();
    return token;
}

std::optional<std::string> Database::accountOf(const std::string &token)
{
    Statement find(m_handle.get(), "SELECT account FROM session WHERE token = ?");
    if (!find.bind(token).step())
        return std::nullopt;
    return find.text();
}

std::vector<std::int64_t> Database::favorites(const std::string &account)
{
    Statement find(m_handle.get(), "SELECT endpoint FROM favorite WHERE account = ? ORDER BY rowid");
    find.bind(account);
    std::vector<std::int64_t> ids;
    while (find.step())
        ids.push_back(find.number());
    return ids;
}

void Database::addFavorite(const std::string &account, std::int64_t endpoint)
{
    Statement add(m_handle.get(), "INSERT OR IGNORE INTO favorite (account, endpoint) VALUES (?, ?)");
    add.bind(account).bind(endpoint).step();
}

void Database::removeFavorite(const std::string &account, std::int64_t endpoint)
{
    Statement remove(m_handle.get(), "DELETE FROM favorite WHERE account = ? AND endpoint = ?");
    remove.bind(account).bind(endpoint).step();
}

void Database::Close::operator()(sqlite3 *handle) const
{
    sqlite3_close(handle);
}

void Database::execute(const char *sql)
{
    if (sqlite3_exec(m_handle.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(m_handle.get()));
}

void Database::addAccounts(const Seed &seed)
{
    for (const SeedAccount &account : seed.accounts) {
        Statement add(m_handle.get(), "INSERT OR IGNORE INTO account (name, password) VALUES (?, ?)");
        add.bind(account.name).bind(account.password).step();
        if (sqlite3_changes(m_handle.get()) == 0)
            continue;
        for (const std::int64_t endpoint : account.favorites)
            addFavorite(account.name, endpoint);
    }
}

} // namespace velmora::lab
