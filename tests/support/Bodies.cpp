#include "tests/support/Bodies.h"

#include <zlib.h>

namespace velmora::testing {

QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

QByteArray gzipped(const QByteArray &piece, int times)
{
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY);
    QByteArray packed(static_cast<qsizetype>(deflateBound(&stream, static_cast<uLong>(piece.size() * times))),
                      0);
    stream.next_out = reinterpret_cast<Bytef *>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    for (int left = times; left > 0; --left) {
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.constData()));
        stream.avail_in = static_cast<uInt>(piece.size());
        deflate(&stream, left == 1 ? Z_FINISH : Z_NO_FLUSH);
    }
    packed.resize(static_cast<qsizetype>(stream.total_out));
    packed.squeeze();
    deflateEnd(&stream);
    return packed;
}

} // namespace velmora::testing
