#include "platform/Log.h"

#include <QLoggingCategory>
#include <QTextStream>

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
    QTextStream(stdout) << line << Qt::endl;
}

void printErrorLine(const QString &line)
{
    QTextStream(stderr) << line << Qt::endl;
}

void fatalError(const QString &reason, const QString &printed)
{
    if (!printed.isEmpty())
        printLine(printed);
    qCCritical(category).noquote() << reason;
    std::abort();
}

} // namespace velmora
