#pragma once

#include "platform/keyring/BoundedCall.h"
#include "platform/Result.h"

#include <QByteArrayList>
#include <QString>

#include <memory>
#include <optional>

// For platform/*.cpp only.
typedef struct _SecretService SecretService;

namespace velmora {

/// A conversation with the Secret Service on its bus.
///
/// The session that secrets are handed over in is made when the first one is, and lasts as long as the
/// conversation. Items and collections are named by their object paths.
class SecretConversation
{
public:
    static PlatformError isLocked();
    static PlatformError hasNoCollection();

    SecretConversation();
    ~SecretConversation();
    SecretConversation(const SecretConversation &) = delete;
    SecretConversation &operator=(const SecretConversation &) = delete;

    /// What is asked from now on ends by then.
    void setEnd(std::chrono::steady_clock::time_point end) { call.setEnd(end); }
    Result<> open();
    /// Whether the service is still the one that the conversation was opened with: another one knows nothing
    /// of its session.
    bool isWithTheSameService();

    /// Empty when the user has none.
    Result<QByteArray> defaultCollection();
    Result<bool> isCollectionLocked(const QByteArray &path);
    Result<> unlock(const QByteArray &collection);

    Result<> create(const QByteArray &collection, const QString &serviceName, const QString &key,
                    const QString &text);
    /// The items of this service and key that are not locked, that of the default collection before those of
    /// others.
    Result<QByteArrayList> find(const QString &serviceName, const QString &key);
    Result<QString> textAt(const QByteArray &path);
    /// The text of the item at the path if it is that of this service and key.
    Result<std::optional<QString>> resolve(const QByteArray &path, const QString &serviceName,
                                           const QString &key);
    Result<> eraseAt(const QByteArray &path);

private:
    Result<std::shared_ptr<GVariant>> property(const QByteArray &path, const char *interface,
                                               const char *name);
    const char *nameOnBus() const;
    /// The reply to a call on the service's bus.
    Result<std::shared_ptr<GVariant>> onBus(const char *name, const char *path, const char *interface,
                                            const char *method, GVariant *parameters, const char *type);

    BoundedCall call;
    GObjectPtr<SecretService> service;
    /// The service's own name on the bus.
    GCharPtr owner;
};

} // namespace velmora
