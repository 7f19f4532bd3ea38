#include "servers/Countries.h"

#include <QFile>
#include <QHash>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// From the lines of the resource: a code, a space, a name.
const QHash<QString, QString> &table()
{
    static const QHash<QString, QString> names = [] {
        QFile file(u":/countries.txt"_s);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("no country names");
        QHash<QString, QString> made;
        const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
        for (const QString &line : lines)
            made.insert(line.section(u' ', 0, 0), line.section(u' ', 1));
        return made;
    }();
    return names;
}

} // namespace

std::optional<QString> Countries::name(const QString &code)
{
    const auto found = table().constFind(code);
    return found != table().constEnd() ? std::optional(*found) : std::nullopt;
}

QStringList Countries::codes()
{
    return table().keys();
}

CountryMaps &CountryMaps::shared()
{
    static CountryMaps maps;
    return maps;
}

void CountryMaps::derive()
{
    const QStringList codes = Countries::codes();
    for (const QString &code : codes) {
        flags[code] = false;
        numbers[code] = 0;
    }
}

} // namespace velmora
