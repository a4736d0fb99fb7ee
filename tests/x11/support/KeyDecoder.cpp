#include "tests/x11/support/KeyDecoder.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <xkbcommon/xkbcommon.h>

namespace vantora::testx11 {

KeyDecoder::KeyDecoder(const QString& display) : display_(XOpenDisplay(display.toLocal8Bit().constData())) {}

KeyDecoder::~KeyDecoder() {
  if (display_ != nullptr) XCloseDisplay(static_cast<Display*>(display_));
}

std::uint32_t KeyDecoder::keysym(int keycode, int state) const {
  if (display_ == nullptr) return 0;
  XkbDescPtr map = XkbGetMap(static_cast<Display*>(display_), XkbAllClientInfoMask, XkbUseCoreKbd);
  if (map == nullptr) return 0;
  unsigned int consumed = 0;
  KeySym symbol = 0;
  XkbTranslateKeyCode(map, static_cast<KeyCode>(keycode), static_cast<unsigned int>(state), &consumed, &symbol);
  XkbFreeKeyboard(map, 0, True);
  return static_cast<std::uint32_t>(symbol);
}

char32_t KeyDecoder::character(std::uint32_t keysym) { return xkb_keysym_to_utf32(keysym); }

QString KeyDecoder::wholeMap() const {
  QString all;
  if (display_ == nullptr) return all;
  XkbDescPtr map = XkbGetMap(static_cast<Display*>(display_), XkbAllClientInfoMask, XkbUseCoreKbd);
  if (map == nullptr) return all;
  for (int key = map->min_key_code; key <= map->max_key_code; ++key) {
    all += QString::number(key) + u':';
    const KeySym* const symbols = XkbKeySymsPtr(map, key);
    for (int at = 0; at < XkbKeyNumSyms(map, key); ++at) all += QString::number(symbols[at], 16) + u' ';
    all += u'\n';
  }
  XkbFreeKeyboard(map, 0, True);
  return all;
}

}  // namespace vantora::testx11
