#include "platform/desktop/ApplicationInstance.h"

#include "platform/Configuration.h"
#include "platform/Log.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// A second start waits this long for the answer of the first, which gets the call in any case.
constexpr int timeoutMilliseconds = 3000;
/// The owner of the name may end between the claim and the call.
constexpr int maximumTries = 3;

QString objectPath()
{
    return u'/' + configuration::applicationIdentifier().replace(u'.', u'/').replace(u'-', u'_');
}

} // namespace

ApplicationInstance::ApplicationInstance() : bus(QDBusConnection::sessionBus()) {}

ApplicationInstance::~ApplicationInstance()
{
    bus.unregisterObject(objectPath());
    bus.unregisterService(configuration::applicationIdentifier());
}

bool ApplicationInstance::isRunning()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface()->isServiceRegistered(configuration::applicationIdentifier());
}

QString ApplicationInstance::activationTokenOfStart()
{
    // The names of Wayland and of X11; a launcher that serves both gives both the same value.
    return qEnvironmentVariable("XDG_ACTIVATION_TOKEN", qEnvironmentVariable("DESKTOP_STARTUP_ID"));
}

ApplicationInstance::Role ApplicationInstance::claim(const QString &activationToken)
{
    if (!bus.isConnected()) {
        systemLog(u"There is no session bus; a second start cannot be told from the first"_s);
        return Role::First;
    }
    // Register the object first: who sees the name may call it at once.
    bus.registerObject(objectPath(), this, QDBusConnection::ExportScriptableSlots);
    for (int tries = 0; tries < maximumTries; ++tries) {
        const auto reply = bus.interface()->registerService(configuration::applicationIdentifier(),
                                                            QDBusConnectionInterface::DontQueueService,
                                                            QDBusConnectionInterface::DontAllowReplacement);
        if (!reply.isValid()) {
            systemLog(u"The session bus refuses the application's name: %1"_s.arg(reply.error().message()));
            return Role::First;
        }
        if (reply.value() == QDBusConnectionInterface::ServiceRegistered)
            return Role::First;
        if (passOn(activationToken))
            return Role::Second;
    }
    systemLog(u"The application's name on the session bus comes and goes"_s);
    return Role::First;
}

void ApplicationInstance::Activate(const QVariantMap &platformData)
{
    Q_EMIT activationRequested(platformData.value(u"activation-token"_s).toString());
}

bool ApplicationInstance::passOn(const QString &activationToken)
{
    QDBusMessage call = QDBusMessage::createMethodCall(configuration::applicationIdentifier(), objectPath(),
                                                       u"org.freedesktop.Application"_s, u"Activate"_s);
    QVariantMap platformData;
    if (!activationToken.isEmpty()) {
        platformData = {{u"activation-token"_s, activationToken}, {u"desktop-startup-id"_s, activationToken}};
    }
    call << platformData;
    call.setAutoStartService(false);
    const QDBusMessage reply = bus.call(call, QDBus::Block, timeoutMilliseconds);
    // A busy process answers later, perhaps after a question to the user; only one that is gone never does.
    return reply.type() != QDBusMessage::ErrorMessage ||
           reply.errorName() != u"org.freedesktop.DBus.Error.ServiceUnknown"_s;
}

} // namespace velmora
