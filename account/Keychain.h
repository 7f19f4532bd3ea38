#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace velmora {

/// A credential-store handle opened for one service name. It holds no state beside that name, so each user of
/// the store makes its own.
class Keychain
{
public:
    struct Attributes
    {
        QByteArray persistentReference;
    };

    explicit Keychain(QString serviceName);
    /// The handle of this application.
    static Keychain forApplication();

    /// Stores the text, or removes the item where none is given. A failure is not reported.
    void set(const std::optional<QString> &text, const QString &key) const;
    /// Absent for a missing item and for any failure.
    std::optional<QString> text(const QString &key) const;
    /// Absent for a missing item and for any failure.
    std::optional<Attributes> attributes(const QString &key) const;

private:
    QString service;
};

} // namespace velmora
