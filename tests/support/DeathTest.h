#pragma once

#include <QByteArray>

#include <functional>

namespace velmora::testing {

struct Death
{
    /// Whether the process ended by abort().
    bool aborted = false;
    /// The status that the process ended with by itself; -1 when a signal ended it.
    int exitStatus = -1;
    /// What it wrote to standard output.
    QByteArray standardOutput;
};

/// Runs `action` in a forked copy of this process and tells how that ended; an action that returns ends with
/// the status 99.
Death runsToItsDeath(const std::function<void()> &action);

} // namespace velmora::testing
