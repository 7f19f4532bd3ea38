#pragma once

#include <QProcess>

namespace velmora::testing {

/// JSON written with single quotes.
inline QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

/// `piece`, repeated, in one gzip stream.
inline QByteArray gzipped(const QByteArray &piece, int times = 1)
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
