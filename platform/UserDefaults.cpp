#include "platform/UserDefaults.h"

#include "platform/Configuration.h"

#include <QSettings>
#include <QStandardPaths>

namespace velmora {

using namespace Qt::StringLiterals;

UserDefaults UserDefaults::standardUserDefaults()
{
    return {};
}

QString UserDefaults::filePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u'/' +
           configuration::applicationIdentifier() + u".conf"_s;
}

// A file that is named has no fallbacks, other than one that is found by organisation and application.
UserDefaults::UserDefaults() : settings(std::make_unique<QSettings>(filePath(), QSettings::IniFormat)) {}

UserDefaults::~UserDefaults() = default;

QVariant UserDefaults::valueForKey(const QString &key) const
{
    return settings->value(key);
}

QVariantMap UserDefaults::dictionaryRepresentation() const
{
    QVariantMap dictionary;
    const QStringList keys = settings->allKeys();
    for (const QString &key : keys)
        dictionary.insert(key, settings->value(key));
    return dictionary;
}

void UserDefaults::removeObjectForKey(const QString &key)
{
    settings->remove(key);
    // A key with an empty part, which only a hand or a fault writes, cannot be named: it goes with its group.
    if (key.startsWith(u'/'))
        settings->remove(QString());
    else if (const qsizetype gap = key.indexOf(u"//"_s); gap > 0)
        settings->remove(key.left(gap));
}

void UserDefaults::synchronize()
{
    settings->sync();
}

} // namespace velmora
