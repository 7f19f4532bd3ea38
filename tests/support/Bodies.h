#pragma once

#include <QByteArray>

namespace velmora::testing {

/// JSON written with single quotes.
QByteArray json(const char *text);

/// `piece`, repeated, in one gzip stream.
QByteArray gzipped(const QByteArray &piece, int times = 1);

} // namespace velmora::testing
