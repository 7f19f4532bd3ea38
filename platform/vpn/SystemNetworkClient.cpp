#include "platform/vpn/SystemNetworkClient.h"

#include "platform/Configuration.h"
#include "platform/Log.h"

#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QTimer>
#include <QUuid>

#include <climits>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

/// The first window comes first: opening the bus takes a moment.
constexpr std::chrono::milliseconds openDelay = 50ms;
constexpr std::chrono::milliseconds retryInterval = 2s;
constexpr std::chrono::milliseconds objectsRetry = 50ms;
constexpr std::chrono::milliseconds startupPoll = 200ms;
/// The answer may take as long as the daemon lives; after that the bus gives one.
constexpr int withoutTimeout = INT_MAX;

const QString busService = u"org.freedesktop.DBus"_s;
const QString busPath = u"/org/freedesktop/DBus"_s;
const QString propertiesInterface = busService + u".Properties"_s;

const QString notRunning = u"NetworkManager is not running"_s;

// NMActiveConnectionStateReason.
constexpr uint userDisconnected = 2;
constexpr uint connectionRemoved = 11;

std::optional<PlatformError> foreignProfile()
{
    const PlatformError error{
        SystemNetworkClient::settingsInterface + u".UuidExists"_s, QDBusError::Other,
        u"NetworkManager has a profile of somebody else with the UUID of this client's. "
        "An administrator can remove it: nmcli connection delete %1"_s.arg(SystemNetworkProfile::uuid())};
    systemLog(error.message);
    return error;
}

} // namespace

SystemNetworkClient::SystemNetworkClient(bool offersItsSecrets)
    : offersSecrets(offersItsSecrets), busName(u"velmora-vpn-%1"_s.arg(quintptr(this))), bus(QString())
{
    // Qt finds the types of exported methods by the names that stand in them.
    qRegisterMetaType<SystemNetworkSettings>("SystemNetworkSettings");
    qDBusRegisterMetaType<SystemNetworkSettings>();
    qDBusRegisterMetaType<QMap<QString, QString>>();
    qDBusRegisterMetaType<QList<QVariantMap>>();
    QTimer::singleShot(openDelay, this, &SystemNetworkClient::open);
}

SystemNetworkClient::~SystemNetworkClient()
{
    QDBusConnection::disconnectFromBus(busName);
}

std::optional<PlatformError> SystemNetworkClient::obstacle() const
{
    if (state == State::Running)
        return std::nullopt;
    return state == State::Absent ? error(QDBusError::ServiceUnknown, notRunning)
                                  : error(QDBusError::NoReply, u"NetworkManager does not answer"_s);
}

void SystemNetworkClient::open()
{
    // The last answers of a bus that has gone have come by now.
    QDBusConnection::disconnectFromBus(busName);
    bus = QDBusConnection::connectToBus(QDBusConnection::SystemBus, busName);
    if (!bus.isConnected()) {
        closed();
        return;
    }
    bus.registerObject(daemonPath + u"/SecretAgent"_s, &agent, QDBusConnection::ExportAllSlots);
    const auto follow = [this](const QString &service, const QString &path, const QString &interface,
                               const QString &signal, const QStringList &arguments = {}) {
        bus.connect(service, path, interface, signal, arguments, QString(), this,
                    SLOT(noticed(QDBusMessage)));
    };
    follow({}, busPath + u"/Local"_s, busService + u".Local"_s, u"Disconnected"_s);
    follow(busService, busPath, busService, u"NameOwnerChanged"_s, {daemonService});
    // Not the manager's list of activations, which it sends anew with each change of any device.
    follow(daemonService, {}, tunnelInterface, u"StateChanged"_s);
    follow(daemonService, {}, daemonService + u".VPN.Connection"_s, u"VpnStateChanged"_s);
    follow(daemonService, settingsPath, settingsInterface, u"NewConnection"_s);
    follow(daemonService, settingsPath, settingsInterface, u"ConnectionRemoved"_s);
    follow(daemonService, {}, profileInterface, u"Updated"_s);
    const auto answered = [this](const auto &, const QVariant &name) {
        setOwner(name.toString());
    };
    call(busPath, busService, u"GetNameOwner"_s, {daemonService}, answered, -1, busService);
}

void SystemNetworkClient::closed()
{
    setOwner({});
    QTimer::singleShot(retryInterval, this, &SystemNetworkClient::open);
}

void SystemNetworkClient::setOwner(const QString &uniqueName)
{
    owner = uniqueName;
    missing = startingUp = false;
    tunnels.clear();
    savedPath.clear();
    savedProfile.reset();
    agent.setDaemon(owner);
    if (!owner.isEmpty()) {
        state = State::Asking;
        askDaemon();
        Q_EMIT changed();
        return;
    }
    state = State::Absent;
    Q_EMIT changed();
    const auto listed = [this](const auto &, const QVariant &names) {
        missing = owner.isEmpty() && !names.toStringList().contains(daemonService);
        Q_EMIT changed();
    };
    call(busPath, busService, u"ListActivatableNames"_s, {}, listed, -1, busService);
}

void SystemNetworkClient::askDaemon()
{
    // A late answer of a daemon that has gone says nothing of the next one. A daemon that starts takes its
    // name on the bus before it has its objects there.
    const auto isUseless = [this, asked = owner](const std::optional<PlatformError> &error) {
        const bool comesTooEarly = error && error->code == QDBusError::UnknownMethod;
        if (owner == asked && comesTooEarly)
            askAgain(objectsRetry);
        return owner != asked || comesTooEarly;
    };
    const auto registered = [this, isUseless](const std::optional<PlatformError> &error, const auto &) {
        if (isUseless(error))
            return;
        if (error)
            systemLog(u"no secret agent: %1"_s.arg(error->description()));
        setRunning();
    };
    const auto profileRead = [this, isUseless, registered](const std::optional<PlatformError> &error) {
        // The daemon takes an identifier once per user, and may not have noticed the end of an earlier
        // process.
        const QString identifier =
            configuration::applicationIdentifier() + u'.' + QUuid::createUuid().toString(QUuid::Id128);
        if (isUseless(error))
            return;
        if (offersSecrets)
            call(daemonPath + u"/AgentManager"_s, daemonService + u".AgentManager"_s, u"Register"_s,
                 {identifier}, registered, withoutTimeout);
        else
            setRunning();
    };
    const auto read = [this, isUseless, profileRead](const auto &error, const QVariant &value) {
        if (isUseless(error))
            return;
        const QVariantMap properties = qdbus_cast<QVariantMap>(value);
        startingUp = properties.value(u"Startup"_s).toBool();
        for (const auto &path : qdbus_cast<QList<QDBusObjectPath>>(properties.value(u"ActiveConnections"_s)))
            readTunnel(numberOf(path.path()));
        if (isSettled())
            setRunning();
        else
            readProfile(profileRead, withoutTimeout);
    };
    call(daemonPath, propertiesInterface, u"GetAll"_s, {daemonService}, read, withoutTimeout);
}

void SystemNetworkClient::askAgain(std::chrono::milliseconds delay)
{
    QTimer::singleShot(delay, this, [this, asked = owner] {
        if (owner == asked)
            askDaemon();
    });
}

void SystemNetworkClient::setRunning()
{
    state = State::Running;
    if (startingUp)
        askAgain(startupPoll);
    Q_EMIT changed();
}

void SystemNetworkClient::noticed(const QDBusMessage &signal)
{
    const QString name = signal.member();
    const QVariantList arguments = signal.arguments();
    if (name == u"Disconnected")
        closed();
    else if (name == u"NameOwnerChanged")
        setOwner(arguments.value(2).toString());
    else if (owner.isEmpty())
        return;
    else if (name.endsWith(u"StateChanged") && !tunnels.contains(numberOf(signal.path())))
        readTunnel(numberOf(signal.path()));
    else if (name == u"StateChanged")
        tunnelMoved(numberOf(signal.path()), arguments);
    else if (name == u"ConnectionRemoved" && arguments.value(0).value<QDBusObjectPath>().path() == savedPath)
        setProfile({}, {});
    else if ((name == u"NewConnection" && !savedProfile) ||
             (name == u"Updated" && signal.path() == savedPath))
        readProfile([](const auto &) {}, withoutTimeout);
}

void SystemNetworkClient::readTunnel(quint64 number)
{
    const auto read = [this, number](const auto &, const QVariant &value) {
        const QVariantMap properties = qdbus_cast<QVariantMap>(value);
        const bool isOurs = properties.value(u"Uuid"_s).toString() == SystemNetworkProfile::uuid();
        if (isOurs)
            tunnels.try_emplace(number, SystemNetworkTunnel{.revision = revision});
        tunnelMoved(number,
                    {isOurs ? properties.value(u"State"_s) : uint(SystemNetworkTunnel::State::Deactivated)});
    };
    call(pathOf(number), propertiesInterface, u"GetAll"_s, {tunnelInterface}, read, withoutTimeout);
}

void SystemNetworkClient::tunnelMoved(quint64 number, const QVariantList &arguments)
{
    const auto found = tunnels.find(number);
    if (found == tunnels.end())
        return;
    const uint reason = arguments.value(1).toUInt();
    found->second.state = static_cast<SystemNetworkTunnel::State>(arguments.value(0).toUInt());
    found->second.endedOnRequest = reason == userDisconnected || reason == connectionRemoved;
    Q_EMIT changed();
    std::erase_if(tunnels, [](const auto &entry) { return !entry.second.isAlive(); });
    Q_EMIT changed();
}

QString SystemNetworkClient::pathOf(quint64 tunnelNumber)
{
    return daemonPath + u"/ActiveConnection/"_s + QString::number(tunnelNumber);
}

quint64 SystemNetworkClient::numberOf(const QString &tunnelPath)
{
    return tunnelPath.sliced(tunnelPath.lastIndexOf(u'/') + 1).toULongLong();
}

void SystemNetworkClient::readProfile(const VPNCompletion &completion, int timeoutMilliseconds)
{
    const auto found = [this, completion, timeoutMilliseconds](const auto &error, const QVariant &value) {
        const QString path = value.value<QDBusObjectPath>().path();
        const auto read = [this, completion, path](const auto &failure, const QVariant &settings) {
            const auto profile =
                SystemNetworkProfile::fromSettings(qdbus_cast<SystemNetworkSettings>(settings));
            if (!failure)
                setProfile(profile ? path : QString(), profile);
            completion(failure || profile ? failure : foreignProfile());
        };
        if (!error)
            call(path, profileInterface, u"GetSettings"_s, {}, read, timeoutMilliseconds);
        else if (error->domain == settingsInterface + u".InvalidConnection"_s)
            completion(std::nullopt);
        else
            // Permission is denied where the profile is private to somebody else.
            completion(error->domain == settingsInterface + u".PermissionDenied"_s ? foreignProfile()
                                                                                   : error);
    };
    call(settingsPath, settingsInterface, u"GetConnectionByUuid"_s, {SystemNetworkProfile::uuid()}, found,
         timeoutMilliseconds);
}

void SystemNetworkClient::setProfile(const QString &path, const std::optional<SystemNetworkProfile> &profile)
{
    savedPath = path;
    savedProfile = profile;
    Q_EMIT changed();
}

void SystemNetworkClient::call(const QString &path, const QString &interface, const QString &method,
                               const QVariantList &arguments, const ReplyHandler &handler,
                               int timeoutMilliseconds, const QString &service)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(message, timeoutMilliseconds), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, handler] {
        watcher->deleteLater();
        const QDBusMessage reply = watcher->reply();
        if (reply.errorName() == busService + u".Error.NameHasNoOwner"_s)
            // The daemon went, and the signal that says so is still on its way.
            handler(error(QDBusError::ServiceUnknown, notRunning), {});
        else if (reply.type() == QDBusMessage::ErrorMessage)
            handler(PlatformError{reply.errorName(), QDBusError(reply).type(), reply.errorMessage()}, {});
        else
            handler({}, reply.arguments().value(0));
    });
}

void SystemNetworkClient::when(const std::function<bool()> &condition, const std::function<void()> &handler,
                               std::chrono::milliseconds timeout)
{
    auto *timer = new QTimer(this);
    timer->setSingleShot(true);
    const auto look = [timer, condition, handler, isOver = std::make_shared<bool>(false)] {
        if (*isOver || (timer->isActive() && !condition()))
            return;
        *isOver = true;
        timer->deleteLater();
        handler();
    };
    connect(timer, &QTimer::timeout, this, look);
    connect(this, &SystemNetworkClient::changed, timer, look);
    QTimer::singleShot(0, timer, look);
    timer->start(timeout);
}

void SystemNetworkClient::whenSettled(const VPNCompletion &handler)
{
    when([this] { return isSettled(); }, [this, handler] { handler(obstacle()); });
}

PlatformError SystemNetworkClient::error(QDBusError::ErrorType type, const QString &message)
{
    return {QDBusError::errorString(type), type, message};
}

} // namespace velmora
