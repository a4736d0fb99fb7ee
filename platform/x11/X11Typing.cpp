#include "platform/x11/X11Typing.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace vantora {
namespace {

using namespace std::chrono_literals;

// Characters of one step, and the pause behind it: programs shall be able to follow.
constexpr std::size_t kStep = 32;
constexpr auto kPause = 20ms;
// How far ahead places for characters are found.
constexpr std::size_t kAhead = 128;

constexpr char kPropertyName[] = "_VANTORA_SPARE_KEYS";
// A keycode and its two symbols.
constexpr std::size_t kPerKey = 3;

}  // namespace

X11Typing::Strokes X11Typing::prepare(std::u32string_view text, int group) {
  if (!refresh()) return {.step = {.possible = false}};
  // Gives programs a moment to take note, unless that was just done.
  paused_ = assign(text, group) && !paused_;
  if (paused_) return {.step = {.wait = kPause}};
  Strokes result;
  const auto now = SpareKeys::Clock::now();
  for (const char32_t character : text.substr(0, kStep)) {
    std::optional<X11Layout::Stroke> stroke;
    if (character == U'\n' || character == U'\t') {
      stroke = {.keycode = keyboard_.keycode(character == U'\n' ? KEY_ENTER : KEY_TAB)};
    } else {
      stroke = layout_.find(character, group, spare_);
    }
    if (!stroke) {
      const xcb_keysym_t symbol = xkb_utf32_to_keysym(character);
      if (const auto place = spare_.find(symbol); place && symbol != 0) {
        spare_.noteUse(place->keycode, now);
        stroke = {.keycode = place->keycode, .shift = place->shift};
      } else if (symbol != 0 && !spare_.keys().empty()) {
        break;  // Its place is still in use.
      }
    }
    ++result.step.taken;
    if (!stroke || stroke->keycode == 0) continue;
    ++result.step.typed;
    result.strokes.push_back(*stroke);
  }
  result.step.wait = kPause;
  if (result.step.taken == 0)
    result.step.wait = std::max(kPause, std::chrono::ceil<std::chrono::milliseconds>(spare_.untilFree(now)));
  if (spare_.holdsAny()) giveBackAfter(kKeep);
  return result;
}

// The layout and the keys of this object, as the server has them now.
bool X11Typing::refresh() {
  const bool known = revision_ == keyboard_.revision() && generation_ == server_.generation();
  if (known) return true;
  if (!layout_.read(server_, keyboard_.altgrMask())) return false;
  revision_ = keyboard_.revision();
  if (generation_ != server_.generation()) {
    generation_ = server_.generation();
    takeLeftovers();
  }
  spare_.update(layout_.spare(), [this](Keycode keycode) { return layout_.symbolsOf(keycode); });
  return true;
}

// The selection that is named like the list goes with its owner's connection.
bool X11Typing::takeList(xcb_connection_t* connection) {
  const auto selection =
      server_.reply<xcb_get_selection_owner_reply_t>(xcb_get_selection_owner_unchecked(connection, property_));
  if (!selection) return false;
  const xcb_setup_t* const setup = xcb_get_setup(connection);
  if (selection->owner != XCB_NONE) return (selection->owner & ~setup->resource_id_mask) == setup->resource_id_base;
  const xcb_window_t window = xcb_generate_id(connection);
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, server_.screen().root, 0, 0, 1, 1, 0,
                    XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
  xcb_set_selection_owner(connection, window, property_, XCB_CURRENT_TIME);
  return true;
}

// A program that was killed leaves its characters behind.
void X11Typing::takeLeftovers() {
  xcb_connection_t* const connection = server_.current();
  if (connection == nullptr) return;
  const auto atom = server_.reply<xcb_intern_atom_reply_t>(
      xcb_intern_atom_unchecked(connection, 0, sizeof(kPropertyName) - 1, kPropertyName));
  if (!atom) return;
  property_ = atom->atom;
  keepsList_ = takeList(connection);
  if (!keepsList_) return;
  constexpr std::uint32_t kMost = 256 * kPerKey;
  const auto listed = server_.reply<xcb_get_property_reply_t>(
      xcb_get_property_unchecked(connection, 0, server_.screen().root, property_, XCB_ATOM_CARDINAL, 0, kMost));
  if (!listed || listed->format != 32 || listed->value_len == 0) return;
  std::vector<std::uint32_t> values(listed->value_len);
  std::memcpy(values.data(), xcb_get_property_value(listed.get()), values.size() * sizeof(std::uint32_t));
  std::vector<Keycode> changed;
  for (std::size_t at = 0; at + kPerKey <= values.size(); at += kPerKey) {
    const auto keycode = static_cast<Keycode>(values[at]);
    const bool unchanged = layout_.symbolsOf(keycode) == SpareKeys::Symbols{values[at + 1], values[at + 2]};
    if (values[at] == keycode && values[at + 1] != 0 && unchanged && spare_.symbolsOf(keycode)[0] == 0)
      changed.push_back(keycode);
  }
  write(connection, changed);
  if (!changed.empty()) (void)layout_.read(server_, keyboard_.altgrMask());
}

// Whether the map of the keyboard was changed.
bool X11Typing::assign(std::u32string_view text, int group) {
  std::vector<xcb_keysym_t> wanted;
  for (const char32_t character : text.substr(0, kAhead)) {
    if (character < U' ' || layout_.find(character, group, spare_)) continue;
    const xcb_keysym_t symbol = xkb_utf32_to_keysym(character);
    if (symbol != 0 && std::ranges::find(wanted, symbol) == wanted.end()) wanted.push_back(symbol);
  }
  const std::vector<Keycode> changed = spare_.assign(wanted, SpareKeys::Clock::now());
  xcb_connection_t* const connection = server_.current();
  if (changed.empty() || connection == nullptr) return false;
  write(connection, changed);
  return true;
}

// One request for each key: programs fetch the map when they look at the next key, not for each of them.
void X11Typing::write(xcb_connection_t* connection, const std::vector<Keycode>& changed) {
  for (const Keycode keycode : changed) {
    const SpareKeys::Symbols symbols = spare_.symbolsOf(keycode);
    // A single symbol would get the other case of its letter beside it.
    const std::array both{symbols[0], symbols[1] != 0 ? symbols[1] : symbols[0]};
    xcb_change_keyboard_mapping(connection, 1, keycode, both.size(), both.data());
  }
  if (!keepsList_) return;
  std::vector<std::uint32_t> values;
  for (const SpareKeys::Key& key : spare_.keys()) {
    if (key.symbols[0] != 0) values.insert(values.end(), {key.keycode, key.symbols[0], key.symbols[1]});
  }
  const xcb_window_t root = server_.screen().root;
  if (values.empty()) {
    xcb_delete_property(connection, root, property_);
  } else {
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, root, property_, XCB_ATOM_CARDINAL, 32,
                        static_cast<std::uint32_t>(values.size()), values.data());
  }
}

void X11Typing::giveBackAfter(std::chrono::milliseconds delay) {
  if (!timer_) {
    timer_ = std::make_unique<QTimer>();
    timer_->setSingleShot(true);
    QObject::connect(timer_.get(), &QTimer::timeout, timer_.get(), [this] { giveBack(); });
  }
  timer_->start(delay);
}

void X11Typing::giveBackSoon() {
  if (spare_.holdsAny()) giveBackAfter(SpareKeys::kSettle);
}

void X11Typing::giveBack() {
  if (timer_) timer_->stop();
  if (!spare_.holdsAny()) return;
  // Another layout may have taken the keycodes since the last text. A silent server is told without asking.
  revision_ = 0;
  (void)refresh();
  xcb_connection_t* connection = server_.current();
  if (connection == nullptr) connection = server_.writableConnection();
  if (connection == nullptr) return;
  write(connection, spare_.clear());
  xcb_flush(connection);
}

}  // namespace vantora
