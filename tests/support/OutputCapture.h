#pragma once

#include "platform/Log.h"

#include <QStringList>
#include <QTest>

#include <cstdio>

#include <sys/mman.h>
#include <unistd.h>

namespace velmora::testing {

/// Collects both diagnostic channels of this process while it lives, in order: "print " and the line for
/// standard output, "log " and the message for the system log.
class OutputCapture
{
public:
    OutputCapture()
    {
        std::fflush(stdout);
        const int file = memfd_create("output", 0);
        dup2(file, STDOUT_FILENO);
        close(file);
        previousHandler = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &context, const QString &message) {
                if (qstrcmp(context.category, "velmora") == 0)
                    note(QStringLiteral("log ") + message);
                else
                    previousHandler(type, context, message);
            });
    }
    ~OutputCapture()
    {
        qInstallMessageHandler(std::exchange(previousHandler, nullptr));
        // The test's own report went into the capture, too.
        const QString report = QTest::currentTestFailed() ? lines().join(QChar(u'\n')) : QString();
        dup2(savedStdout, STDOUT_FILENO);
        close(savedStdout);
        if (!report.isEmpty())
            printLine(report);
    }
    Q_DISABLE_COPY_MOVE(OutputCapture)

    QStringList lines()
    {
        QByteArray text(lseek(STDOUT_FILENO, 0, SEEK_CUR) - begin, '\0');
        text.truncate(pread(STDOUT_FILENO, text.data(), static_cast<size_t>(text.size()), begin));
        QStringList lines = QString::fromUtf8(text).split(u'\n');
        lines.removeLast();
        for (QString &line : lines)
            line = line.startsWith(mark) ? line.sliced(1) : QStringLiteral("print ") + line;
        return lines;
    }
    /// Puts a line of its own among the collected ones; nothing is collected without a capture.
    static void note(const QString &line)
    {
        if (previousHandler != nullptr)
            printLine(mark + line);
    }
    void clear() { begin = lseek(STDOUT_FILENO, 0, SEEK_CUR); }

private:
    static constexpr QChar mark{u'\x01'};
    static inline QtMessageHandler previousHandler = nullptr;
    const int savedStdout = dup(STDOUT_FILENO);
    off_t begin = 0;
};

} // namespace velmora::testing
