#pragma once

#include <QByteArray>

#include <functional>

namespace velmora::testing {

struct Death
{
    /// Whether the process ended by abort().
    bool aborted = false;
    /// What it wrote to standard output.
    QByteArray standardOutput;
};

/// Runs `action` in a forked copy of this process and tells how that ended.
Death runsToItsDeath(const std::function<void()> &action);

} // namespace velmora::testing
