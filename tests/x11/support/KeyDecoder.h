// What an application makes of key events.
#pragma once

#include <QString>
#include <cstdint>

namespace vantora::testx11 {

// Translates key events as Xlib does for every program that uses it. Separate from Xlib's headers, whose macros clash
// with Qt.
class KeyDecoder {
 public:
  explicit KeyDecoder(const QString& display);
  ~KeyDecoder();
  KeyDecoder(const KeyDecoder&) = delete;
  KeyDecoder& operator=(const KeyDecoder&) = delete;

  // The keysym of a press of `keycode` with the event's `state`, under the present keyboard map.
  std::uint32_t keysym(int keycode, int state) const;
  // The character of a keysym; 0 when it has none.
  static char32_t character(std::uint32_t keysym);
  // All symbols of the keyboard map.
  QString wholeMap() const;

 private:
  void* display_;
};

}  // namespace vantora::testx11
