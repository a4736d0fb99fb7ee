// An ordinary X application and the events that it receives.
#pragma once

#include <poll.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QString>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "tests/fakes/Timeout.h"

namespace vantora::testx11 {

// One pointer or key event as received by the application.
struct SeenEvent {
  int type = 0;  // XCB_KEY_PRESS and so on.
  int detail = 0;
  int x = 0;
  int y = 0;
  int state = 0;  // Modifiers and buttons just before the event.
  xcb_timestamp_t time = 0;
};

// A window over the whole screen that has the keyboard focus and records its events. It uses a separate connection,
// over which a test can also act as the local user.
class TestWindow {
 public:
  explicit TestWindow(const QString& display) : connection_(xcb_connect(display.toLocal8Bit().constData(), nullptr)) {
    if (!alive()) return;
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    root_ = screen.root;
    window_ = xcb_generate_id(connection_);
    const std::uint32_t values[] = {1, XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE |
                                           XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                                           XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_EXPOSURE};
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, root_, 0, 0, screen.width_in_pixels,
                      screen.height_in_pixels, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    xcb_map_window(connection_, window_);
    xcb_set_input_focus(connection_, XCB_INPUT_FOCUS_PARENT, window_, XCB_CURRENT_TIME);
    sync();
    clear();
  }
  ~TestWindow() { xcb_disconnect(connection_); }
  TestWindow(const TestWindow&) = delete;
  TestWindow& operator=(const TestWindow&) = delete;

  bool alive() const { return xcb_connection_has_error(connection_) == 0; }
  xcb_connection_t* connection() { return connection_; }

  // Everything received since the last clear(); complete up to what the server has processed so far.
  const std::vector<SeenEvent>& events() {
    sync();
    return events_;
  }
  void clear() {
    sync();
    events_.clear();
    others_.clear();
  }
  // Number of events of other types.
  int others(int type) {
    sync();
    return others_[type];
  }
  std::vector<SeenEvent> ofType(const std::set<int>& types) {
    std::vector<SeenEvent> chosen;
    for (const SeenEvent& event : events()) {
      if (types.contains(event.type)) chosen.push_back(event);
    }
    return chosen;
  }
  std::vector<SeenEvent> keys() { return ofType({XCB_KEY_PRESS, XCB_KEY_RELEASE}); }
  std::vector<SeenEvent> buttons() { return ofType({XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE}); }
  std::vector<SeenEvent> motions() { return ofType({XCB_MOTION_NOTIFY}); }

  // Reads events until `condition` holds (true) or the timeout has expired (false).
  bool waitUntil(const std::function<bool()>& condition, testloop::Timeout timeout = testloop::Timeout()) {
    for (;;) {
      sync();
      if (condition()) return true;
      if (timeout.isOver() || !alive()) return false;
      pollfd ready{xcb_get_file_descriptor(connection_), POLLIN, 0};
      ::poll(&ready, 1, 20);
    }
  }

  // Keycodes that are down, pressed by any device.
  std::set<int> keysDown() {
    std::set<int> down;
    std::unique_ptr<xcb_query_keymap_reply_t, decltype(&std::free)> reply(
        xcb_query_keymap_reply(connection_, xcb_query_keymap(connection_), nullptr), &std::free);
    for (int key = 0; reply && key < 256; ++key) {
      if ((reply->keys[key / 8] >> (key % 8) & 1) != 0) down.insert(key);
    }
    return down;
  }
  // Keycodes that the server repeats while they are held.
  bool repeats(int keycode) {
    std::unique_ptr<xcb_get_keyboard_control_reply_t, decltype(&std::free)> reply(
        xcb_get_keyboard_control_reply(connection_, xcb_get_keyboard_control(connection_), nullptr), &std::free);
    return reply && (reply->auto_repeats[keycode / 8] >> (keycode % 8) & 1) != 0;
  }
  struct Pointer {
    int x = -1;
    int y = -1;
    int mask = 0;
  };
  Pointer pointer() {
    std::unique_ptr<xcb_query_pointer_reply_t, decltype(&std::free)> reply(
        xcb_query_pointer_reply(connection_, xcb_query_pointer(connection_, root_), nullptr), &std::free);
    return reply ? Pointer{reply->root_x, reply->root_y, reply->mask} : Pointer{};
  }
  // What `keycode` types under the present layout; `shifted` chooses the upper level.
  xcb_keysym_t keysym(int keycode, bool shifted = false) {
    std::unique_ptr<xcb_get_keyboard_mapping_reply_t, decltype(&std::free)> reply(
        xcb_get_keyboard_mapping_reply(
            connection_, xcb_get_keyboard_mapping(connection_, static_cast<xcb_keycode_t>(keycode), 1), nullptr),
        &std::free);
    if (!reply || reply->keysyms_per_keycode < 2) return 0;
    return xcb_get_keyboard_mapping_keysyms(reply.get())[shifted ? 1 : 0];
  }

  // Actions of the local user.
  void personKey(int keycode, bool down) {
    xcb_test_fake_input(connection_, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, static_cast<std::uint8_t>(keycode), 0, 0,
                        0, 0, 0);
    sync();
  }
  void personButton(int button, bool down) {
    xcb_test_fake_input(connection_, down ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, static_cast<std::uint8_t>(button), 0,
                        0, 0, 0, 0);
    sync();
  }

 private:
  // A round trip: afterwards all events of what the server has processed are received.
  void sync() {
    std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
      note(*event);
      std::free(event);
    }
  }

  void note(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type < XCB_KEY_PRESS || type > XCB_MOTION_NOTIFY) {
      ++others_[type];
      return;
    }
    // These five types have one layout.
    const auto& input = reinterpret_cast<const xcb_key_press_event_t&>(event);
    events_.push_back({type, input.detail, input.root_x, input.root_y, input.state, input.time});
  }

  xcb_connection_t* connection_;
  xcb_window_t root_ = 0;
  xcb_window_t window_ = 0;
  std::vector<SeenEvent> events_;
  std::map<int, int> others_;
};

}  // namespace vantora::testx11
