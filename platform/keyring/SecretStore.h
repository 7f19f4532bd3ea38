#pragma once

#include "platform/MissingPart.h"
#include "platform/Result.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace velmora {

/// The credential store: text items told apart by service and key, each with an opaque reference that stays
/// valid while the item exists. Every call returns within a few seconds, also when the store does not answer,
/// and none asks the user for anything but `unlock()`.
class SecretStore : public QObject
{
    Q_OBJECT

public:
    /// The store of this process. Process-wide because screens, list rows and API clients each make their own
    /// handle on the same store.
    static SecretStore &shared();
    /// Replaces the store of this process; called once before the first screen, and by tests.
    static void setShared(std::unique_ptr<SecretStore> store);

    /// Adds the item, or replaces its value, which keeps its reference.
    virtual Result<> store(const QString &service, const QString &key, const QString &text) = 0;
    /// Succeeds also where there is no such item.
    virtual Result<> remove(const QString &service, const QString &key) = 0;
    /// A missing item is a success without text.
    virtual Result<std::optional<QString>> read(const QString &service, const QString &key) = 0;
    /// A missing item is a success without reference.
    virtual Result<std::optional<QByteArray>> persistentReference(const QString &service,
                                                                  const QString &key) = 0;
    /// The text of the item that `reference` names, provided that it is the one of `service` and `key`: a
    /// store may give the reference of a deleted item to another one.
    virtual Result<std::optional<QString>> resolve(const QByteArray &reference, const QString &service,
                                                   const QString &key) = 0;
    /// Asks the user once to unlock the store where it is locked; returns when that is answered, or after 20
    /// s.
    virtual Result<> unlock() = 0;

    /// What the store does not find of what it needs.
    virtual QList<MissingPart> missing() const { return {}; }

Q_SIGNALS:
    void missingChanged();
};

} // namespace velmora
