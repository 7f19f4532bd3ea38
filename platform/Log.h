#pragma once

#include <QString>

namespace velmora {

/// Writes one message to the system log: the journal, or standard error where a console or a test reads it.
void systemLog(const QString &message);

/// Writes one line to standard output and flushes it. Where the reader has gone, the
/// line is lost.
void printLine(const QString &line);

/// Writes one line to standard error, for the person who called the program on a terminal.
void printErrorLine(const QString &line);

/// Ends the process for a broken invariant: `printed`, where it is not empty, goes to standard output as a
/// line of its own, `reason` to the system log, then the process aborts.
[[noreturn]] void fatalError(const QString &reason, const QString &printed = {});

} // namespace velmora
