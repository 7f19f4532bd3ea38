#include "platform/Log.h"

#include <QLoggingCategory>

#include <cstdio>
#include <cstdlib>

namespace velmora {

Q_LOGGING_CATEGORY(category, "velmora")

void systemLog(const QString &message)
{
    qCInfo(category).noquote() << message;
}

void printLine(const QString &line)
{
    QByteArray bytes = line.toUtf8();
    bytes.append('\n');
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

void fatalError(const QString &reason, const QString &printed)
{
    if (!printed.isEmpty())
        printLine(printed);
    qCCritical(category).noquote() << reason;
    std::abort();
}

} // namespace velmora
