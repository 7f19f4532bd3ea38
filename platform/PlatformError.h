#pragma once

#include <QString>

namespace velmora {

/// An error of a platform service. `code` is the number within `domain`, and `message` a sentence.
struct PlatformError
{
    QString domain;
    int code = 0;
    QString message;

    /// One line with all three, for the diagnostic channels.
    QString description() const
    {
        return QStringLiteral("Error Domain=%1 Code=%2 \"%3\"").arg(domain, QString::number(code), message);
    }
};

} // namespace velmora
