#pragma once

#include "platform/vpn/SystemNetworkProfile.h"
#include "platform/vpn/SystemNetworkSecretAgent.h"
#include "platform/vpn/SystemNetworkStatus.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>

#include <chrono>

namespace velmora {

/// This process's view of NetworkManager over a bus connection of its own: whether the daemon runs, our saved
/// profile, its tunnels, and our secret agent. Bus and daemon may come, go and return at any time. It listens
/// only to signals that are rare, so that the daemon's signals about devices and access points wake nobody.
class SystemNetworkClient final : public QObject
{
    Q_OBJECT

public:
    static inline const QString daemonService = QStringLiteral("org.freedesktop.NetworkManager");
    static inline const QString daemonPath = QStringLiteral("/org/freedesktop/NetworkManager");
    static inline const QString settingsPath = daemonPath + QStringLiteral("/Settings");
    static inline const QString settingsInterface = daemonService + QStringLiteral(".Settings");
    static inline const QString profileInterface = settingsInterface + QStringLiteral(".Connection");
    static inline const QString tunnelInterface = daemonService + QStringLiteral(".Connection.Active");

    /// Gets the error, whose domain is the D-Bus error's name, or else the reply's first value.
    using ReplyHandler = std::function<void(const std::optional<PlatformError> &, const QVariant &)>;

    /// Registers a secret agent with the daemon where `offersItsSecrets`. The work begins in a later turn of
    /// the event loop.
    explicit SystemNetworkClient(bool offersItsSecrets);
    ~SystemNetworkClient() override;

    /// True once the client knows whether the daemon runs and what it has of ours.
    bool isSettled() const { return state != State::Asking; }
    /// The reason why nothing can be asked of the daemon; absent while it is known to run.
    std::optional<PlatformError> obstacle() const;
    /// True if there is no daemon, and none that the bus would start.
    bool isMissing() const { return missing; }
    /// True if the daemon still brings up what it brings up at its start; it may refuse tunnels until then.
    bool isStartingUp() const { return startingUp; }

    /// The profile as the daemon has it; absent without one.
    const std::optional<SystemNetworkProfile> &profile() const { return savedProfile; }
    const QString &profilePath() const { return savedPath; }
    /// Reads the profile anew; fails where another profile has the UUID.
    void readProfile(const VPNCompletion &completion, int timeoutMilliseconds);

    /// The tunnels of our profile, without those that have ended.
    SystemNetworkTunnels tunnels;
    /// Rises with each save of the profile.
    int revision = 0;
    /// Reads the state of an activation, which may be another profile's.
    void readTunnel(quint64 number);
    static QString pathOf(quint64 tunnelNumber);
    static quint64 numberOf(const QString &tunnelPath);

    /// Calls a method of the daemon. `handler` runs once, from the event loop.
    void call(const QString &path, const QString &interface, const QString &method,
              const QVariantList &arguments, const ReplyHandler &handler, int timeoutMilliseconds = -1,
              const QString &service = daemonService);
    /// Runs `handler` from the event loop as soon as `condition` holds, at the latest after `timeout`.
    void when(const std::function<bool()> &condition, const std::function<void()> &handler,
              std::chrono::milliseconds timeout = std::chrono::seconds(3));
    /// Runs `handler` from the event loop once it is found out whether the daemon runs, with an error where
    /// it does not run or answer within a few seconds.
    void whenSettled(const VPNCompletion &handler);

    static PlatformError error(QDBusError::ErrorType type, const QString &message);

Q_SIGNALS:
    /// Something that can be asked here has changed.
    void changed();

private Q_SLOTS:
    void noticed(const QDBusMessage &signal);

private:
    enum class State { Asking, Absent, Running };

    void open();
    void closed();
    void setOwner(const QString &uniqueName);
    void askDaemon();
    void askAgain(std::chrono::milliseconds delay);
    void setRunning();
    void tunnelMoved(quint64 number, const QVariantList &arguments);
    void setProfile(const QString &path, const std::optional<SystemNetworkProfile> &profile);

    const bool offersSecrets;
    const QString busName;
    QDBusConnection bus;
    SystemNetworkSecretAgent agent;
    State state = State::Asking;
    /// The daemon's unique bus name; empty while there is none.
    QString owner;
    bool missing = false;
    bool startingUp = false;
    QString savedPath;
    std::optional<SystemNetworkProfile> savedProfile;
};

} // namespace velmora
