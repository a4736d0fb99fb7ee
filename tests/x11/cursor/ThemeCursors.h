// A program that shows cursors the way toolkits do. Xlib's headers stay in the .cpp file.
#pragma once

#include <string>

struct _XDisplay;
struct xcb_connection_t;

namespace vantora::testx11 {

// Has a window over the whole screen with its own cursor. Cursors without a theme come from the X cursor font.
class ThemeCursors {
 public:
  // `theme`: such as "Adwaita".
  ThemeCursors(const std::string& display, const std::string& theme);
  ~ThemeCursors();
  ThemeCursors(const ThemeCursors&) = delete;
  ThemeCursors& operator=(const ThemeCursors&) = delete;

  bool running() const { return display_ != nullptr; }
  // Shows the theme's cursor of that name; false when the theme has none. Returns when the server has processed it.
  bool show(const std::string& name);
  // Shows a cursor of the X font, by its number.
  void showFromFont(unsigned shape);
  // The same without a name, as programs without theme support do.
  void showGlyph(unsigned shape);
  // Shows a cursor that has no name and is not in the font either.
  void showNameless();
  // Moves the pointer as a mouse does.
  void movePointer(int x, int y);
  void clickPointer();

 private:
  void use(unsigned long cursor);

  _XDisplay* display_;
  xcb_connection_t* glyphs_ = nullptr;
  unsigned long window_ = 0;
};

}  // namespace vantora::testx11
