#pragma once

#include <QString>
#include <QVariant>

#include <memory>

class QSettings;

namespace velmora {

/// The user's settings of this application: one file in the configuration folder, named after the
/// application's identifier. System-wide files are not looked at.
class UserDefaults
{
public:
    /// The one of this process. It reads what other processes wrote in the meantime.
    static UserDefaults standardUserDefaults();

    ~UserDefaults();

    /// Invalid where there is none.
    QVariant valueForKey(const QString &key) const;
    QVariantMap dictionaryRepresentation() const;
    void removeObjectForKey(const QString &key);
    /// Writes what changed as a whole file, so that nothing that ends the process later can lose or cut it.
    void synchronize();

    static QString filePath();

private:
    UserDefaults();

    std::unique_ptr<QSettings> settings;
};

} // namespace velmora
