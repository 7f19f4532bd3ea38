#include "tests/support/OutputCapture.h"

#include <QLoggingCategory>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

namespace velmora::testing {

using namespace Qt::StringLiterals;

namespace {

QtMessageHandler previousHandler = nullptr;
QStringList collected;
int readEnd = -1;

/// Moves what was printed since the last call behind what was collected before, so that the order of the two
/// channels is kept.
void drainPrinted()
{
    static QByteArray rest;
    std::array<char, 4096> piece{};
    for (ssize_t size = 0; (size = read(readEnd, piece.data(), piece.size())) > 0;)
        rest.append(piece.data(), size);
    for (qsizetype end = 0; (end = rest.indexOf('\n')) >= 0; rest.remove(0, end + 1))
        collected.append(u"print "_s + QString::fromUtf8(rest.left(end)));
}

void collect(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (std::strcmp(context.category, "velmora") != 0) {
        previousHandler(type, context, message);
        return;
    }
    drainPrinted();
    collected.append(u"log "_s + message);
}

} // namespace

OutputCapture::OutputCapture()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_NONBLOCK) != 0)
        qFatal("There is no pipe for standard output");
    readEnd = ends[0];
    std::fflush(stdout);
    savedStdout = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    collected.clear();
    previousHandler = qInstallMessageHandler(collect);
}

OutputCapture::~OutputCapture()
{
    drainPrinted();
    qInstallMessageHandler(previousHandler);
    std::fflush(stdout);
    dup2(savedStdout, STDOUT_FILENO);
    close(savedStdout);
    close(std::exchange(readEnd, -1));
    // The test's own report went into the capture, too.
    if (QTest::currentTestFailed())
        std::fprintf(stdout, "%s\n", qUtf8Printable(collected.join(u'\n')));
}

QStringList OutputCapture::lines()
{
    drainPrinted();
    return collected;
}

void OutputCapture::note(const QString &line)
{
    if (readEnd < 0)
        return;
    drainPrinted();
    collected.append(line);
}

void OutputCapture::clear()
{
    drainPrinted();
    collected.clear();
}

} // namespace velmora::testing
