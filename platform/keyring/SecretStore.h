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
/// valid while the item exists. Every operation returns within 2 s, also when the store does not answer, and
/// none but `unlock()` has the user asked for anything.
///
/// A text that the store cannot take, because it is locked or absent, is kept in memory until the process
/// ends: it answers the reads, and is written once the store opens. A removal likewise.
class SecretStore : public QObject
{
    Q_OBJECT

public:
    /// The domain of the error that a locked store returns.
    static constexpr QLatin1StringView lockedError{"org.freedesktop.Secret.Error.IsLocked"};

    /// The store of this process. Process-wide because screens, list rows and API clients each make their own
    /// handle on the same store.
    static SecretStore &shared() { return *instance; }
    /// Replaces the store of this process; called once before the first screen, and by tests.
    static void setShared(std::unique_ptr<SecretStore> store) { instance = std::move(store); }

    /// Adds the item, or replaces its value, which keeps its reference. An error tells why the text is in
    /// memory only.
    virtual Result<> store(const QString &service, const QString &key, const QString &text) = 0;
    /// Succeeds also where there is no such item. An error tells why the item is still there.
    virtual Result<> remove(const QString &service, const QString &key) = 0;
    /// A missing item is a success without text.
    virtual Result<std::optional<QString>> read(const QString &service, const QString &key) = 0;
    /// A missing item is a success without reference.
    virtual Result<std::optional<QByteArray>> persistentReference(const QString &service,
                                                                  const QString &key) = 0;
    /// The text of the item that `reference` names, provided that it is the one of `service` and `key`: a
    /// store may give the reference of a deleted item to another one. Where the reference leads nowhere, the
    /// text of any item of this service and key: some stores give their items new references at each login.
    virtual Result<std::optional<QString>> resolve(const QByteArray &reference, const QString &service,
                                                   const QString &key) = 0;
    /// Called once, after the first window: has the user asked to unlock the store where it is locked, and to
    /// make one where there is none. Returns at once; only from here on `missing()` is known.
    virtual void unlock() = 0;

    /// The part that keeps the store from being used, where there is one.
    virtual QList<MissingPart> missing() const { return {}; }

Q_SIGNALS:
    void missingChanged();
    /// Items can be read that could not be read before.
    void opened();
    /// The user has dismissed what `unlock()` asked.
    void dismissed();

private:
    static inline std::unique_ptr<SecretStore> instance;
};

} // namespace velmora
