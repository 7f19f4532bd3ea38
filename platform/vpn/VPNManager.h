#pragma once

#include "platform/MissingPart.h"
#include "platform/PlatformError.h"
#include "platform/vpn/VPNProtocolIPSec.h"

#include <QList>
#include <QObject>

#include <functional>
#include <memory>
#include <optional>

namespace velmora {

class VPNConnection;

/// The application's single VPN configuration in the system, and its tunnel.
///
/// `protocolConfiguration` and `enabled` are what the next save writes and what the last load read. Loads,
/// saves and removals run independently of each other; each completion runs exactly once, from the event
/// loop, without a value on success.
class VPNManager : public QObject
{
    Q_OBJECT

public:
    using Completion = std::function<void(std::optional<PlatformError>)>;

    /// The manager of this process. Process-wide because the system holds one profile for the application,
    /// whichever screen looks at it.
    static VPNManager &sharedManager();
    /// Replaces the manager of this process; called once before the first screen, and by tests.
    static void setSharedManager(std::unique_ptr<VPNManager> manager);

    virtual void loadFromPreferences(Completion completion) = 0;
    virtual void saveToPreferences(Completion completion) = 0;
    /// Removes the saved profile, which ends its tunnel; the status tells when. Succeeds where there is none.
    virtual void removeFromPreferences(Completion completion) = 0;

    virtual void setProtocolConfiguration(const VPNProtocolIPSec &protocol) = 0;
    /// Absent before the first load of a saved profile.
    virtual std::optional<VPNProtocolIPSec> protocolConfiguration() const = 0;

    virtual void setEnabled(bool enabled) = 0;
    /// What the saved profile says; false without one. Between `setEnabled()` and the outcome of the save
    /// that follows, what was set.
    virtual bool isEnabled() const = 0;

    virtual VPNConnection &connection() = 0;

    /// What the manager does not find of what it needs.
    virtual QList<MissingPart> missing() const { return {}; }

Q_SIGNALS:
    /// Posted on every change of the connection's status, never twice in a row for the same one.
    void statusDidChange();
    void missingChanged();
};

} // namespace velmora
