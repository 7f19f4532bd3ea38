#pragma once

#include "platform/Result.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QDeadlineTimer>
#include <QMap>
#include <QObject>

#include <functional>
#include <optional>

namespace velmora {

using SecretAttributes = QMap<QString, QString>;

/// The Secret Service on the session bus: bounded operations that block without running the event loop,
/// unbounded calls beside the event loop, and prompts.
///
/// When a call of an operation gets no reply in time, the service counts as silent: further operations fail
/// at once, until the same call, repeated beside the event loop, has been answered.
class SecretService : public QObject
{
    Q_OBJECT

public:
    static constexpr QLatin1StringView path{"/org/freedesktop/secrets"};
    /// Stands for "no such object".
    static constexpr QLatin1StringView noPath{"/"};

    SecretService();

    /// `method` is named with the end of its interface, "Item.GetSecret"; the property likewise.
    static QDBusMessage message(const QString &object, const QString &method,
                                const QVariantList &arguments = {});
    static QDBusMessage propertyMessage(const QString &object, const QString &property);

    /// Begins an operation, whose calls share one bound. Once one of them has failed, those after it fail
    /// with the same error.
    void begin();
    QDBusMessage call(const QDBusMessage &message);
    QVariant property(const QDBusObjectPath &object, const QString &property);
    /// The path of a session that hands secrets over as they are.
    QDBusObjectPath session();
    void fail(const QString &errorName, const QString &text) { error = {errorName, 0, text}; }
    bool hasFailed() const { return error.has_value(); }
    /// Ends the operation: the value, or the error that it failed with.
    template<class T>
    Result<T> end(const T &value) const
    {
        return error ? Result<T>(*error) : Result<T>(value);
    }
    bool isSilent() const { return silent; }
    /// True if the bus can start the service.
    bool isInstalled() const;

    /// Calls `handler` with the reply or the error.
    void callLater(const QDBusMessage &message, const std::function<void(const QDBusPendingCall &)> &handler);

    /// Performs a prompt and calls `ended` with whether it was carried out; at once for no prompt. A prompt
    /// is never dismissed from here: GNOME Keyring does not survive it.
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
    std::optional<PlatformError> error;
    bool hasAnswered = false;
    bool silent = false;
    /// The unique name on the bus of the service that opened the session.
    QString owner;
    QDBusObjectPath openSession;
    QMap<QString, std::function<void(bool done)>> prompts;
};

} // namespace velmora
