#include "platform/desktop/ApplicationInstance.h"

#include "platform/Configuration.h"
#include "platform/desktop/ApplicationAdaptor.h"
#include "platform/Log.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <chrono>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// How long a second start waits for the first one's word. The call reaches it in any case.
constexpr std::chrono::milliseconds patience = std::chrono::seconds(3);
/// The owner of the name may end between the claim and the call.
constexpr int mostTries = 3;

} // namespace

ApplicationInstance::ApplicationInstance() : bus(QDBusConnection::sessionBus())
{
    new ApplicationAdaptor(this);
}

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
    // Wayland's name and X11's; a launcher that serves both sets both to the same.
    return qEnvironmentVariable("XDG_ACTIVATION_TOKEN", qEnvironmentVariable("DESKTOP_STARTUP_ID"));
}

QString ApplicationInstance::objectPath()
{
    return u'/' + configuration::applicationIdentifier().replace(u'.', u'/').replace(u'-', u'_');
}

ApplicationInstance::Role ApplicationInstance::claim(const QString &activationToken)
{
    if (!bus.isConnected()) {
        systemLog(u"There is no session bus; a second start cannot be told from the first"_s);
        return Role::First;
    }
    // The object first: whoever sees the name may call it at once.
    bus.registerObject(objectPath(), this);
    for (int tries = 0; tries < mostTries; ++tries) {
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
    const QDBusMessage reply = bus.call(call, QDBus::Block, static_cast<int>(patience.count()));
    // One that is busy, with a question to the user perhaps, answers later; only one that is gone does not.
    return reply.type() != QDBusMessage::ErrorMessage ||
           reply.errorName() != u"org.freedesktop.DBus.Error.ServiceUnknown"_s;
}

} // namespace velmora
