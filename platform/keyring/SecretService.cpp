#include "platform/keyring/SecretService.h"

#include "platform/Log.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

#include <algorithm>
#include <limits>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds callTimeout = 2s;
/// Until the service has answered once, so that a launch is not held up.
constexpr std::chrono::milliseconds firstCallTimeout = 400ms;
constexpr int unbounded = std::numeric_limits<int>::max();

constexpr QLatin1StringView promptInterface{"org.freedesktop.Secret.Prompt"};
constexpr QLatin1StringView propertiesInterface{"org.freedesktop.DBus.Properties"};
constexpr QLatin1StringView busName{"org.freedesktop.DBus"};

} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const Secret &secret)
{
    argument.beginStructure();
    argument << secret.session << secret.parameters << secret.value << secret.contentType;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Secret &secret)
{
    argument.beginStructure();
    argument >> secret.session >> secret.parameters >> secret.value >> secret.contentType;
    argument.endStructure();
    return argument;
}

SecretService::SecretService() : bus(QDBusConnection::sessionBus())
{
    qDBusRegisterMetaType<Secret>();
    qDBusRegisterMetaType<SecretAttributes>();
}

QDBusMessage SecretService::message(const QString &path, const QString &interface, const QString &method,
                                    const QVariantList &arguments)
{
    QDBusMessage made = QDBusMessage::createMethodCall(name, path, interface, method);
    made.setArguments(arguments);
    return made;
}

QDBusMessage SecretService::property(const QString &path, const QString &interface,
                                     const QString &propertyName)
{
    return message(path, propertiesInterface, u"Get"_s, {interface, propertyName});
}

QDBusMessage SecretService::activatableNames()
{
    return QDBusMessage::createMethodCall(busName, u"/org/freedesktop/DBus"_s, busName,
                                          u"ListActivatableNames"_s);
}

void SecretService::begin()
{
    bound.setRemainingTime(hasAnswered ? callTimeout : firstCallTimeout);
    error.reset();
    if (silent)
        fail(QDBusError::errorString(QDBusError::NoReply), u"The keyring does not answer"_s);
}

QDBusMessage SecretService::call(const QDBusMessage &message)
{
    if (error)
        return QDBusMessage::createError(error->domain, error->message);
    const QDBusMessage answer =
        bus.call(message, QDBus::Block, static_cast<int>(std::max<qint64>(bound.remainingTime(), 1)));
    if (answer.type() == QDBusMessage::ErrorMessage)
        fail(answer.errorName(), answer.errorMessage());
    if (QDBusError(answer).type() == QDBusError::NoReply) {
        systemLog(u"The keyring does not answer"_s);
        silent = true;
        callLater(message, this, [this](const QDBusPendingCall &) {
            silent = false;
            Q_EMIT changed();
        });
        return answer;
    }
    hasAnswered = true;
    // Another service knows nothing of the session.
    if (std::exchange(owner, answer.service()) != owner)
        openSession = {};
    return answer;
}

QDBusObjectPath SecretService::session()
{
    if (openSession.path().isEmpty()) {
        const QDBusPendingReply<QDBusVariant, QDBusObjectPath> opened = call(message(
            path, interface, u"OpenSession"_s, {u"plain"_s, QVariant::fromValue(QDBusVariant(QString()))}));
        openSession = opened.argumentAt<1>();
    }
    return openSession;
}

void SecretService::callLater(const QDBusMessage &message, QObject *context,
                              const std::function<void(const QDBusPendingCall &)> &handler) const
{
    auto *const watcher = new QDBusPendingCallWatcher(bus.asyncCall(message, unbounded), context);
    connect(watcher, &QDBusPendingCallWatcher::finished, context, [watcher, handler] {
        watcher->deleteLater();
        handler(*watcher);
    });
}

void SecretService::perform(const QDBusObjectPath &prompt, const std::function<void(bool done)> &ended)
{
    if (prompt.path().isEmpty() || prompt.path() == noPath)
        return ended(true);
    prompts.insert(prompt.path(), ended);
    bus.connect(name, prompt.path(), promptInterface, u"Completed"_s, this,
                SLOT(promptCompleted(QDBusMessage)));
    bus.asyncCall(message(prompt.path(), promptInterface, u"Prompt"_s, {QString()}), unbounded);
}

void SecretService::promptCompleted(const QDBusMessage &signal)
{
    bus.disconnect(name, signal.path(), promptInterface, u"Completed"_s, this,
                   SLOT(promptCompleted(QDBusMessage)));
    const bool dismissed = signal.arguments().value(0, true).toBool();
    if (const auto ended = prompts.take(signal.path()))
        ended(!dismissed);
}

void SecretService::follow()
{
    auto *const watcher = new QDBusServiceWatcher(name, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, &SecretService::changed);
    bus.connect(busName, {}, busName, u"ActivatableServicesChanged"_s, this, SIGNAL(changed()));
    bus.connect(name, path, interface, {}, this, SIGNAL(changed()));
    bus.connect(name, {}, propertiesInterface, u"PropertiesChanged"_s, {collectionInterface}, {}, this,
                SIGNAL(changed()));
}

} // namespace velmora
