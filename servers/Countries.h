#pragma once

#include <QMap>
#include <QStringList>

#include <optional>

namespace velmora {

/// The one table from country code to English name. Codes are upper-case and compared exactly.
class Countries
{
public:
    /// Nothing for an unknown code.
    static std::optional<QString> name(const QString &code);
    /// All codes, in no particular order.
    static QStringList codes();
};

/// The two per-country maps that the login screen derives from the table at each showing. Shared by the
/// process, as the table is.
class CountryMaps
{
public:
    static CountryMaps &shared();

    /// Writes the entry of every code: false, and 0.
    void derive();

    QMap<QString, bool> flags;
    QMap<QString, qint64> numbers;
};

} // namespace velmora
