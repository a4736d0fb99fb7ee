// A client that draws on an X server's screen.
#pragma once

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <QString>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tests/x11/support/XvfbServer.h"

namespace vantora::testx11 {

class ScreenPainter {
 public:
  explicit ScreenPainter(const QString& display)
      : connection_(xcb_connect(display.toLocal8Bit().constData(), nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) return;
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    root_ = screen->root;
    colours_ = screen->default_colormap;
    context_ = xcb_generate_id(connection_);
    const std::uint32_t withWindows = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
    xcb_create_gc(connection_, context_, root_, XCB_GC_SUBWINDOW_MODE, &withWindows);
  }
  ~ScreenPainter() { xcb_disconnect(connection_); }
  ScreenPainter(const ScreenPainter&) = delete;
  ScreenPainter& operator=(const ScreenPainter&) = delete;

  // The pixel value of the screen's nearest colour to 0xRRGGBB. On a screen of 24 bits it is the same value.
  std::uint32_t pixelOf(std::uint32_t rgb) {
    const auto channel = [rgb](int shift) { return static_cast<std::uint16_t>((rgb >> shift & 0xff) * 0x101); };
    const std::unique_ptr<xcb_alloc_color_reply_t, decltype(&std::free)> reply(
        xcb_alloc_color_reply(connection_, xcb_alloc_color(connection_, colours_, channel(16), channel(8), channel(0)),
                              nullptr),
        &std::free);
    return reply ? reply->pixel : 0;
  }
  // Fills a rectangle with a pixel value, which is 0xRRGGBB on a screen of 24 bits. Returns when it is done.
  void fill(std::uint32_t rgb, int x, int y, int width, int height) {
    xcb_change_gc(connection_, context_, XCB_GC_FOREGROUND, &rgb);
    const xcb_rectangle_t area{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                               static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height)};
    xcb_poly_fill_rectangle(connection_, root_, context_, 1, &area);
    roundTrip();
  }
  // The same for the whole screen, without waiting.
  void requestFill(std::uint32_t rgb) {
    xcb_change_gc(connection_, context_, XCB_GC_FOREGROUND, &rgb);
    const xcb_rectangle_t area{0, 0, 32767, 32767};
    xcb_poly_fill_rectangle(connection_, root_, context_, 1, &area);
    xcb_flush(connection_);
  }
  // Grabs the server: it serves only this client.
  void takeServer() {
    xcb_grab_server(connection_);
    roundTrip();
  }
  void fillAll(std::uint32_t rgb) { fill(rgb, 0, 0, 32767, 32767); }

  void movePointer(int x, int y) {
    xcb_warp_pointer(connection_, XCB_NONE, root_, 0, 0, 0, 0, static_cast<std::int16_t>(x),
                     static_cast<std::int16_t>(y));
    roundTrip();
  }

  struct Monitor {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
  };
  // The active monitors in RandR's own order.
  std::vector<Monitor> monitors() {
    std::vector<Monitor> list;
    const std::unique_ptr<xcb_randr_get_monitors_reply_t, decltype(&std::free)> reply(
        xcb_randr_get_monitors_reply(connection_, xcb_randr_get_monitors(connection_, root_, 1), nullptr), &std::free);
    if (!reply) return list;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem > 0;
         xcb_randr_monitor_info_next(&it)) {
      list.push_back({it.data->x, it.data->y, it.data->width, it.data->height});
    }
    return list;
  }

 private:
  void roundTrip() { std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr)); }

  xcb_connection_t* connection_;
  xcb_window_t root_ = 0;
  xcb_colormap_t colours_ = 0;
  xcb_gcontext_t context_ = 0;
};

// Resizes the server's only monitor, as a user would in the display settings.
inline bool resizeScreen(const XvfbServer& server, int width, int height) {
  const std::string w = std::to_string(width);
  const std::string h = std::to_string(height);
  return server.run({"xrandr", "--newmode", "other", "50", w, w, w, w, h, h, h, h}) == 0 &&
         server.run({"xrandr", "--addmode", "screen", "other"}) == 0 &&
         server.run({"xrandr", "--output", "screen", "--mode", "other"}) == 0;
}

}  // namespace vantora::testx11
