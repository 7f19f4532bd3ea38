#pragma once

#include <QSettings>

namespace velmora {

/// The user's settings of this application: one file in the configuration folder, named after the
/// application's identifier. There are no system-wide defaults.
class UserDefaults
{
public:
    /// Reads the file, with the changes of other processes.
    static UserDefaults standardUserDefaults() { return {}; }

    /// Returns an invalid value for an unknown key.
    QVariant valueForKey(const QString &key) const { return settings.value(key); }
    QVariantMap dictionaryRepresentation() const;
    void removeObjectForKey(const QString &key);
    /// Writes the changes at once. The file is replaced as a whole, so that a crash cannot cut it.
    void synchronize() { settings.sync(); }

    static QString filePath();

private:
    UserDefaults() = default;

    // A named file has no fallbacks; one that QSettings finds by organisation and application has.
    QSettings settings{filePath(), QSettings::IniFormat};
};

} // namespace velmora
