#pragma once

#include <QString>

namespace velmora {

/// Writes one message to the system log: the journal, or standard error where a console or a test reads it.
void systemLog(const QString &message);

/// Writes one line to standard output and flushes it. The line is lost when nobody reads there any more.
void printLine(const QString &line);

/// Writes one line to standard error, for the user on a terminal.
void printErrorLine(const QString &line);

/// Aborts the process because of a broken invariant. Prints `printed` first, unless it is empty, and writes
/// `reason` to the system log.
[[noreturn]] void fatalError(const QString &reason, const QString &printed = {});

} // namespace velmora
