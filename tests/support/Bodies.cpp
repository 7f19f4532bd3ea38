#include "tests/support/Bodies.h"

#include <QProcess>

namespace velmora::testing {

QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

QByteArray gzipped(const QByteArray &piece, int times)
{
    QProcess gzip;
    gzip.start(QStringLiteral("gzip"), {QStringLiteral("-1")});
    for (int left = times; left > 0; --left) {
        gzip.write(piece);
        gzip.waitForBytesWritten(-1);
    }
    gzip.closeWriteChannel();
    gzip.waitForFinished(-1);
    return gzip.readAllStandardOutput();
}

} // namespace velmora::testing
