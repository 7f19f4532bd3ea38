#pragma once

#include <QStringList>

namespace velmora::testing {

/// Collects both diagnostic channels of this process while it lives, in order: "print " and the line for
/// standard output, "log " and the message for the system log.
class OutputCapture
{
public:
    OutputCapture();
    ~OutputCapture();
    OutputCapture(const OutputCapture &) = delete;
    OutputCapture &operator=(const OutputCapture &) = delete;

    QStringList lines();
    /// Puts a line of its own among the collected ones; nothing is collected without a capture.
    static void note(const QString &line);
    void clear();

private:
    int savedStdout;
};

} // namespace velmora::testing
