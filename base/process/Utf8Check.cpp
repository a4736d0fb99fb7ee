#include "base/process/Utf8Check.h"

namespace vantora {
namespace {

// Length in bytes of a character that begins with `lead`; 0 when `lead` is invalid.
int lengthOf(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead < 0xC2) return 0;
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  return lead <= 0xF4 ? 4 : 0;
}

}  // namespace

void Utf8Check::feed(QByteArrayView bytes) {
  for (const char byte : bytes) {
    if (!valid_) return;
    feed(static_cast<unsigned char>(byte));
  }
}

void Utf8Check::feed(unsigned char byte) {
  if (missing_ > 0) {
    valid_ = byte >= low_ && byte <= high_;
    low_ = 0x80;
    high_ = 0xBF;
    --missing_;
    return;
  }
  const int length = lengthOf(byte);
  valid_ = length > 0;
  missing_ = length > 1 ? length - 1 : 0;
  // The second byte reveals overlong forms, surrogates and values beyond the last code point.
  if (byte == 0xE0) low_ = 0xA0;
  if (byte == 0xED) high_ = 0x9F;
  if (byte == 0xF0) low_ = 0x90;
  if (byte == 0xF4) high_ = 0x8F;
}

QByteArrayView withoutHalfCharacter(QByteArrayView bytes) {
  qsizetype start = bytes.size();
  for (int back = 0; back < 4 && start > 0; ++back) {
    const auto byte = static_cast<unsigned char>(bytes[--start]);
    if ((byte & 0xC0) == 0x80) continue;
    if (bytes.size() - start < lengthOf(byte)) return bytes.first(start);
    break;
  }
  return bytes;
}

}  // namespace vantora
