#include "platform/keyring/SecretService.h"

#include "platform/Log.h"

#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>

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

const QString serviceName = u"org.freedesktop.secrets"_s;
const QString interfaces = u"org.freedesktop.Secret."_s;
const QString busName = u"org.freedesktop.DBus"_s;
const QString properties = u"org.freedesktop.DBus.Properties"_s;

} // namespace

SecretService::SecretService() : bus(QDBusConnection::sessionBus())
{
    qDBusRegisterMetaType<SecretAttributes>();
}

QDBusMessage SecretService::message(const QString &object, const QString &method,
                                    const QVariantList &arguments)
{
    QDBusMessage made = QDBusMessage::createMethodCall(
        serviceName, object, interfaces + method.section(u'.', 0, 0), method.section(u'.', 1));
    made.setArguments(arguments);
    return made;
}

QDBusMessage SecretService::propertyMessage(const QString &object, const QString &property)
{
    return QDBusMessage::createMethodCall(serviceName, object, properties, u"Get"_s)
           << interfaces + property.section(u'.', 0, 0) << property.section(u'.', 1);
}

void SecretService::begin()
{
    bound.setRemainingTime(hasAnswered ? callTimeout : firstCallTimeout);
    if (!silent)
        error.reset();
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
        callLater(message, [this](const QDBusPendingCall &) {
            silent = false;
            Q_EMIT changed();
        });
        return answer;
    }
    hasAnswered = true;
    return answer;
}

QVariant SecretService::property(const QDBusObjectPath &object, const QString &property)
{
    return QDBusPendingReply<QDBusVariant>(call(propertyMessage(object.path(), property))).value().variant();
}

QDBusObjectPath SecretService::session()
{
    // A service that has been started again knows nothing of the session.
    const QString present = bus.interface()->serviceOwner(serviceName);
    if (std::exchange(owner, present) != present || openSession.path().isEmpty()) {
        const QVariant noKey = QVariant::fromValue(QDBusVariant(QString()));
        const QDBusPendingReply<QDBusVariant, QDBusObjectPath> opened =
            call(message(path, u"Service.OpenSession"_s, {u"plain"_s, noKey}));
        openSession = opened.argumentAt<1>();
    }
    return openSession;
}

bool SecretService::isInstalled() const
{
    return bus.interface()->activatableServiceNames().value().contains(serviceName);
}

void SecretService::callLater(const QDBusMessage &message,
                              const std::function<void(const QDBusPendingCall &)> &handler)
{
    auto *const watcher = new QDBusPendingCallWatcher(bus.asyncCall(message, unbounded), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, handler] {
        watcher->deleteLater();
        handler(*watcher);
    });
}

void SecretService::perform(const QDBusObjectPath &prompt, const std::function<void(bool done)> &ended)
{
    if (prompt.path().isEmpty() || prompt.path() == noPath)
        return ended(true);
    prompts.insert(prompt.path(), ended);
    bus.connect(serviceName, {}, interfaces + u"Prompt"_s, u"Completed"_s, this,
                SLOT(promptCompleted(QDBusMessage)));
    bus.asyncCall(message(prompt.path(), u"Prompt.Prompt"_s, {QString()}), unbounded);
}

void SecretService::promptCompleted(const QDBusMessage &signal)
{
    if (const auto ended = prompts.take(signal.path()))
        ended(!signal.arguments().value(0, true).toBool());
}

void SecretService::follow()
{
    bus.connect(busName, {}, busName, u"NameOwnerChanged"_s, {serviceName}, {}, this, SIGNAL(changed()));
    bus.connect(busName, {}, busName, u"ActivatableServicesChanged"_s, this, SIGNAL(changed()));
    bus.connect(serviceName, path, interfaces + u"Service"_s, {}, this, SIGNAL(changed()));
    bus.connect(serviceName, {}, properties, u"PropertiesChanged"_s, {interfaces + u"Collection"_s}, {}, this,
                SIGNAL(changed()));
}

} // namespace velmora
