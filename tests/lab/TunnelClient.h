#pragma once

#include "platform/SystemNetworkVPNManager.h"
#include "platform/VPNConnection.h"
#include "tests/lab/Lab.h"

#include <QList>

namespace velmora::testing {

/// A program that uses the seam: it makes the steps of a connect one after another, waits for each to end,
/// and notes every status that is posted.
class TunnelClient
{
public:
    TunnelClient();

    /// "" for success, else the error's domain and code.
    QString load();
    QString save();
    QString start();
    void stop() { manager.connection().stopVPNTunnel(); }
    /// Puts the details' secrets into the credential store and a profile that refers to them into the
    /// manager.
    void configure(const Lab::Details &details);
    /// The whole sequence; "" when the system has taken the start.
    QString connect(const Lab::Details &details);

    VPNStatus status() { return manager.connection().status(); }
    /// Waits for the status.
    bool comesTo(VPNStatus status, int boundMilliseconds = 10'000);
    /// The names of the statuses that were posted since the last call, with a space between.
    QString takeSeen();

    SystemNetworkVPNManager manager;

private:
    QList<VPNStatus> seen;
};

} // namespace velmora::testing
