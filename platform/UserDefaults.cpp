#include "platform/UserDefaults.h"

#include "platform/Configuration.h"

#include <QStandardPaths>

namespace velmora {

using namespace Qt::StringLiterals;

QString UserDefaults::filePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u'/' +
           configuration::applicationIdentifier() + u".conf"_s;
}

QVariantMap UserDefaults::dictionaryRepresentation() const
{
    QVariantMap dictionary;
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys)
        dictionary.insert(key, settings.value(key));
    return dictionary;
}

void UserDefaults::removeObjectForKey(const QString &key)
{
    settings.remove(key);
    // QSettings cannot name a key with an empty part, which a user can write by hand: remove its whole group.
    if (key.startsWith(u'/'))
        settings.remove(QString());
    else if (const qsizetype gap = key.indexOf(u"//"_s); gap > 0)
        settings.remove(key.left(gap));
}

} // namespace velmora
