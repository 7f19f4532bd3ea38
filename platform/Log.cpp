#include "platform/Log.h"

#include <QLoggingCategory>

#include <cstdio>
#include <cstdlib>

namespace velmora {

Q_LOGGING_CATEGORY(category, "velmora")

namespace {

void printTo(std::FILE *stream, const QString &line)
{
    QByteArray bytes = line.toUtf8();
    bytes.append('\n');
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

void systemLog(const QString &message)
{
    qCInfo(category).noquote() << message;
}

void printLine(const QString &line)
{
    printTo(stdout, line);
}

void printErrorLine(const QString &line)
{
    printTo(stderr, line);
}

void fatalError(const QString &reason, const QString &printed)
{
    if (!printed.isEmpty())
        printLine(printed);
    qCCritical(category).noquote() << reason;
    std::abort();
}

} // namespace velmora
