#pragma once

#include "platform/Result.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QDeadlineTimer>
#include <QHash>
#include <QMap>
#include <QObject>

#include <functional>

namespace velmora {

/// A secret as the Secret Service hands it over; D-Bus type (oayays).
struct Secret
{
    QDBusObjectPath session;
    QByteArray parameters;
    QByteArray value;
    QString contentType;
};

QDBusArgument &operator<<(QDBusArgument &argument, const Secret &secret);
const QDBusArgument &operator>>(const QDBusArgument &argument, Secret &secret);

using SecretAttributes = QMap<QString, QString>;

/// The Secret Service on the session bus: bounded calls that block without running the event loop, unbounded
/// calls beside the event loop, and prompts.
///
/// When a blocking call gets no reply in time, the service counts as silent: every further blocking call
/// fails at once, until the same call, repeated beside the event loop, has been answered.
class SecretService : public QObject
{
    Q_OBJECT

public:
    static constexpr QLatin1StringView name{"org.freedesktop.secrets"};
    static constexpr QLatin1StringView path{"/org/freedesktop/secrets"};
    static constexpr QLatin1StringView interface {
        "org.freedesktop.Secret.Service"
    };
    static constexpr QLatin1StringView collectionInterface{"org.freedesktop.Secret.Collection"};
    static constexpr QLatin1StringView itemInterface{"org.freedesktop.Secret.Item"};

    SecretService();

    static QDBusMessage message(const QString &path, const QString &interface, const QString &method,
                                const QVariantList &arguments);
    static QDBusMessage property(const QString &path, const QString &interface, const QString &name);
    /// Asks the bus for the services that it can start.
    static QDBusMessage activatableNames();
    static PlatformError failure(const QDBusError &error) { return {error.name(), 0, error.message()}; }

    /// The blocking calls from here to the next `begin()` share one bound.
    void begin();
    QDBusMessage call(const QDBusMessage &message);
    bool isSilent() const { return silent; }

    /// Calls `handler` with the reply or the error, unless `context` goes before.
    void callLater(const QDBusMessage &message, QObject *context,
                   const std::function<void(const QDBusPendingCall &)> &handler) const;

    /// The path of a session that hands secrets over as they are.
    Result<QDBusObjectPath> session();

    /// Has the service ask the person; calls `ended` with whether that was carried out. A prompt is never
    /// dismissed from here: GNOME Keyring does not survive it.
    void perform(const QDBusObjectPath &prompt, const std::function<void(bool done)> &ended);

    /// From here on `changed()` comes.
    void follow();

Q_SIGNALS:
    /// Something about the service or its collections is different.
    void changed();

private Q_SLOTS:
    void promptCompleted(const QDBusMessage &signal);

private:
    QDBusConnection bus;
    QDeadlineTimer bound;
    bool hasAnswered = false;
    bool silent = false;
    /// The service's unique name on the bus, and the session that it opened.
    QString owner;
    QDBusObjectPath openSession;
    QHash<QString, std::function<void(bool done)>> prompts;
};

} // namespace velmora

Q_DECLARE_METATYPE(velmora::Secret)
