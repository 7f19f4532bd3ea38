#pragma once

#include "platform/MissingPart.h"
#include "platform/PlatformError.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace velmora {

enum class VPNStatus : int {
    /// There is no profile, or nothing is known of the system yet.
    Invalid = 0,
    Disconnected = 1,
    Connecting = 2,
    Connected = 3,
    /// The system itself re-establishes a lost tunnel.
    Reasserting = 4,
    Disconnecting = 5,
};

enum class VPNIKEAuthenticationMethod : int { None = 0, Certificate = 1, SharedSecret = 2 };

/// The IPSec part of the profile. Secrets are given by persistent references into the credential store.
struct VPNProtocolIPSec
{
    QString serverAddress;
    bool disconnectOnSleep = false;
    QString localIdentifier;
    VPNIKEAuthenticationMethod authenticationMethod = VPNIKEAuthenticationMethod::None;
    std::optional<QString> username;
    std::optional<QByteArray> passwordReference;
    std::optional<QByteArray> sharedSecretReference;
    bool useExtendedAuthentication = false;

    bool operator==(const VPNProtocolIPSec &) const = default;
};

/// Gets the outcome of an operation: no value on success. Runs exactly once, from the event loop.
using VPNCompletion = std::function<void(const std::optional<PlatformError> &)>;

/// The tunnel of the application's one VPN profile.
class VPNConnection
{
public:
    virtual ~VPNConnection() = default;

    virtual VPNStatus status() const = 0;
    /// Starts the tunnel of the saved profile. `completion` runs when the system has accepted or refused the
    /// start; an accepted start may still fail, which the status shows.
    virtual void startVPNTunnel(VPNCompletion completion) = 0;
    /// Asks the system to end the tunnel. Does nothing where there is none; the status shows the end.
    virtual void stopVPNTunnel() = 0;
};

/// The application's single VPN configuration in the system, and its tunnel.
///
/// `protocolConfiguration` is what the next save writes and what the last load read. Loads, saves and
/// removals run independently of each other.
class VPNManager : public QObject
{
    Q_OBJECT

public:
    /// The manager of this process. Process-wide because the system holds one profile for the application,
    /// whichever screen looks at it.
    static VPNManager &sharedManager() { return *shared; }
    /// Replaces the manager of this process; called once before the first screen, and by tests.
    static void setSharedManager(std::unique_ptr<VPNManager> manager) { shared = std::move(manager); }

    virtual void loadFromPreferences(VPNCompletion completion) = 0;
    virtual void saveToPreferences(VPNCompletion completion) = 0;
    /// Removes the saved profile, which ends its tunnel; the status shows when. Succeeds where there is none.
    virtual void removeFromPreferences(VPNCompletion completion) = 0;

    virtual void setProtocolConfiguration(const VPNProtocolIPSec &protocol) = 0;
    /// Absent before the first load of a saved profile.
    virtual std::optional<VPNProtocolIPSec> protocolConfiguration() const = 0;

    /// Sets what the next save writes.
    virtual void setEnabled(bool enabled) = 0;
    /// True if there is a saved profile that says so.
    virtual bool isEnabled() const = 0;

    virtual VPNConnection &connection() = 0;

    /// The parts that the manager needs and does not find.
    virtual QList<MissingPart> missing() const { return {}; }

Q_SIGNALS:
    /// Posted on every change of the connection's status, never twice in a row for the same one.
    void statusDidChange();
    void missingChanged();

private:
    static inline std::unique_ptr<VPNManager> shared;
};

} // namespace velmora
