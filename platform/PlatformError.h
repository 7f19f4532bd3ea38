#pragma once

#include <QString>

namespace velmora {

/// An error of a platform service: which part of it speaks (`domain`), its number there, and a sentence.
struct PlatformError
{
    QString domain;
    int code = 0;
    QString message;

    /// One line with all three, for the diagnostic channels.
    QString description() const;

    bool operator==(const PlatformError &) const = default;
};

} // namespace velmora
