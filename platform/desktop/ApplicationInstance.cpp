#include "platform/desktop/ApplicationInstance.h"

#include "platform/Configuration.h"
#include "platform/Log.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// A second start waits this long for the reply of the first, which receives the call in any case.
constexpr int timeoutMilliseconds = 3000;
/// The owner of the name may exit between the claim and the call.
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
    // Wayland's name and X11's. A launcher that sets both gives them the same value.
    return qEnvironmentVariable("XDG_ACTIVATION_TOKEN", qEnvironmentVariable("DESKTOP_STARTUP_ID"));
}

ApplicationInstance::Role ApplicationInstance::claim(const QString &activationToken)
{
    if (!bus.isConnected()) {
        systemLog(u"There is no session bus; a second start cannot be told from the first"_s);
        return Role::First;
    }
    // Register the object first, because others may call it as soon as the name appears.
    bus.registerObject(objectPath(), this, QDBusConnection::ExportScriptableSlots);
    for (int tries = 0; tries < maximumTries; ++tries) {
        const auto reply = bus.interface()->registerService(configuration::applicationIdentifier(),
                                                            QDBusConnectionInterface::DontQueueService,
                                                            QDBusConnectionInterface::DontAllowReplacement);
        if (reply.value() == QDBusConnectionInterface::ServiceRegistered)
            return Role::First;
        if (reply.isValid() && passOn(activationToken))
            return Role::Second;
    }
    systemLog(u"The session bus does not give out the application's name"_s);
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
    call << QVariantMap{{u"activation-token"_s, activationToken}, {u"desktop-startup-id"_s, activationToken}};
    call.setAutoStartService(false);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, timeoutMilliseconds);
    // A busy process may reply later; one that has exited never does.
    return QDBusError(reply).type() != QDBusError::ServiceUnknown &&
           reply.errorName() != u"org.freedesktop.DBus.Error.NameHasNoOwner";
}

} // namespace velmora
