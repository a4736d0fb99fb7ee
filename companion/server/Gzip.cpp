#include "companion/server/Gzip.h"

#include <zlib.h>

namespace vantora::companion {

QByteArray gzip(const QByteArray& data) {
  // 16 more than the window's size asks zlib for gzip's own header and checksum.
  constexpr int kGzipWindow = MAX_WBITS + 16;
  constexpr int kMemoryLevel = 8;
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK) {
    return {};
  }
  QByteArray compressed(static_cast<qsizetype>(deflateBound(&stream, static_cast<uLong>(data.size()))),
                        Qt::Uninitialized);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(compressed.data());
  stream.avail_out = static_cast<uInt>(compressed.size());
  const bool whole = deflate(&stream, Z_FINISH) == Z_STREAM_END;
  compressed.truncate(static_cast<qsizetype>(stream.total_out));
  deflateEnd(&stream);
  return whole ? compressed : QByteArray();
}

}  // namespace vantora::companion
