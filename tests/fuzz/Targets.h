#pragma once

#include <QByteArray>

#include <span>

namespace velmora::testing {

/// What is fed with input of any kind. Ends the process where the outcome is not one that it promises.
struct FuzzTarget
{
    const char *name;
    void (*feed)(const QByteArray &input);
};

std::span<const FuzzTarget> fuzzTargets();

} // namespace velmora::testing
