// Whether a stream of bytes is UTF-8, without keeping it.
#pragma once

#include <QByteArrayView>

namespace vantora {

// Fed piece by piece; pieces may end anywhere. Value type without a thread.
class Utf8Check {
 public:
  void feed(QByteArrayView bytes);
  // Whether everything so far is UTF-8 and the last character is whole.
  [[nodiscard]] bool valid() const { return valid_ && missing_ == 0; }

 private:
  void feed(unsigned char byte);

  bool valid_ = true;
  // Bytes that the character in progress still needs, and what the next one may be.
  int missing_ = 0;
  unsigned char low_ = 0x80;
  unsigned char high_ = 0xBF;
};

// `bytes` without a last character that was cut. Pure.
QByteArrayView withoutHalfCharacter(QByteArrayView bytes);

}  // namespace vantora
