// Checks whether a stream of bytes is UTF-8, without storing it.
#pragma once

#include <QByteArrayView>

namespace vantora {

// Fed in pieces, which may end anywhere. Value type, not bound to a thread.
class Utf8Check {
 public:
  void feed(QByteArrayView bytes);
  // Whether everything so far is UTF-8 and the last character is complete.
  [[nodiscard]] bool valid() const { return valid_ && missing_ == 0; }

 private:
  void feed(unsigned char byte);

  bool valid_ = true;
  // Bytes that the current character still needs, and the range of the next one.
  int missing_ = 0;
  unsigned char low_ = 0x80;
  unsigned char high_ = 0xBF;
};

// `bytes` without an incomplete last character. Pure.
QByteArrayView withoutHalfCharacter(QByteArrayView bytes);

}  // namespace vantora
