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
    QByteArray packed;
    QByteArray room(65536, 0);
    for (int left = times; left > 0; --left) {
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.constData()));
        stream.avail_in = static_cast<uInt>(piece.size());
        do {
            stream.next_out = reinterpret_cast<Bytef *>(room.data());
            stream.avail_out = static_cast<uInt>(room.size());
            deflate(&stream, left == 1 ? Z_FINISH : Z_NO_FLUSH);
            packed.append(room.constData(), room.size() - stream.avail_out);
        } while (stream.avail_out == 0);
    }
    deflateEnd(&stream);
    return packed;
}

} // namespace velmora::testing
