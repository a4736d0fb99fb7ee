#include "tests/x11/cursor/ThemeCursors.h"

#include <X11/Xcursor/Xcursor.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>

namespace vantora::testx11 {

ThemeCursors::ThemeCursors(const std::string& display, const std::string& theme)
    : display_(XOpenDisplay(display.c_str())) {
  if (display_ == nullptr) return;
  XcursorSetTheme(display_, theme.c_str());
  XSetWindowAttributes attributes{};
  attributes.override_redirect = True;
  window_ = XCreateWindow(display_, DefaultRootWindow(display_), 0, 0, 4000, 4000, 0, CopyFromParent, InputOutput,
                          nullptr, CWOverrideRedirect, &attributes);
  XMapRaised(display_, window_);
  XSync(display_, False);
}

ThemeCursors::~ThemeCursors() {
  if (glyphs_ != nullptr) xcb_disconnect(glyphs_);
  if (display_ != nullptr) XCloseDisplay(display_);
}

void ThemeCursors::use(unsigned long cursor) {
  XDefineCursor(display_, window_, cursor);
  XFreeCursor(display_, cursor);
  XSync(display_, False);
}

bool ThemeCursors::show(const std::string& name) {
  const Cursor cursor = XcursorLibraryLoadCursor(display_, name.c_str());
  if (cursor == None) return false;
  use(cursor);
  return true;
}

void ThemeCursors::showFromFont(unsigned shape) { use(XCreateFontCursor(display_, shape)); }

void ThemeCursors::showGlyph(unsigned shape) {
  // Not through Xlib, which would use the theme.
  if (glyphs_ == nullptr) glyphs_ = xcb_connect(XDisplayString(display_), nullptr);
  xcb_connection_t* const connection = glyphs_;
  const xcb_font_t font = xcb_generate_id(connection);
  xcb_open_font(connection, font, 6, "cursor");
  const xcb_cursor_t cursor = xcb_generate_id(connection);
  xcb_create_glyph_cursor(connection, cursor, font, font, static_cast<std::uint16_t>(shape),
                          static_cast<std::uint16_t>(shape + 1), 0, 0, 0xffff, 0xffff, 0, 0);
  std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
  XDefineCursor(display_, window_, cursor);
  XSync(display_, False);
}

void ThemeCursors::showNameless() {
  const Pixmap pixmap = XCreatePixmap(display_, window_, 8, 8, 1);
  XColor colour{};
  use(XCreatePixmapCursor(display_, pixmap, pixmap, &colour, &colour, 1, 1));
  XFreePixmap(display_, pixmap);
}

void ThemeCursors::movePointer(int x, int y) {
  XTestFakeMotionEvent(display_, -1, x, y, CurrentTime);
  XSync(display_, False);
}

void ThemeCursors::clickPointer() {
  XTestFakeButtonEvent(display_, 1, True, CurrentTime);
  XTestFakeButtonEvent(display_, 1, False, CurrentTime);
  XSync(display_, False);
}

}  // namespace vantora::testx11
