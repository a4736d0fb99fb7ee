#include "platform/portal/PortalInput.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <QTimer>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "platform/PixelOf.h"
#include "platform/portal/eis/EisInput.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// `altgrKey`: as KeyLayout has it.
ModifierTable modifierKeys(std::uint16_t altgrKey) {
  ModifierTable keys = {{{KEY_LEFTSHIFT, {KEY_LEFTSHIFT, KEY_RIGHTSHIFT}},
                         {KEY_LEFTCTRL, {KEY_LEFTCTRL, KEY_RIGHTCTRL}},
                         {KEY_LEFTALT, {KEY_LEFTALT}},
                         {KEY_LEFTMETA, {KEY_LEFTMETA, KEY_RIGHTMETA}},
                         {}}};
  const auto altgr = static_cast<Keycode>(altgrKey);
  if (altgr != 0) keys[static_cast<std::size_t>(Modifier::altgr)] = {.press = altgr, .keys = {altgr}};
  return keys;
}

// Characters of one step of a text, and the pause behind it: programs shall be able to follow.
constexpr std::size_t kTypingStep = 16;
constexpr std::chrono::milliseconds kTypingPause{10};

// Enter and Tab remain keys.
std::u32string_view lineOf(std::u32string_view text) { return text.substr(0, text.find_first_of(U"\n\t")); }

int kernelButton(PointerButton button) {
  switch (button) {
    case PointerButton::left:
      return BTN_LEFT;
    case PointerButton::right:
      return BTN_RIGHT;
    case PointerButton::centre:
      return BTN_MIDDLE;
  }
  return BTN_LEFT;
}

// Whether the pointer was reported there; positions between pixels may be rounded either way.
bool isAt(QPoint reported, QPointF expected) {
  return std::abs(reported.x() - expected.x()) < 1.5 && std::abs(reported.y() - expected.y()) < 1.5;
}

// Whether another target has led to the same conclusion before: a single report may be of an earlier position, or of
// one of the local user.
bool agreesTwice(std::optional<QPoint>& first, QPoint target) {
  if (!first) first = target;
  return *first != target;
}

}  // namespace

PortalInput::PortalInput(PortalSession& session, PortalDisplays& displays)
    : session_(session), displays_(displays), calls_(session), modifierKeys_(modifierKeys(KEY_RIGHTALT)) {}

PortalInput::~PortalInput() { releaseAll(); }

void PortalInput::requestPermission(PermissionCallback answer) {
  switch (session_.state()) {
    case PortalSession::State::preparing:
    case PortalSession::State::asking:
      waiting_.push_back(std::move(answer));
      return;
    case PortalSession::State::granted:
      if (session_.grant().control()) return requestRoute(std::move(answer));
      return answer({.reason = session_.grant().inputOffered ? u"the user shares the screen without control of it"_s
                                                             : u"the desktop's portal offers no input"_s});
    case PortalSession::State::refused:
    case PortalSession::State::closed:
      return answer({.reason = session_.reason()});
    case PortalSession::State::idle:
      return answer({.reason = u"the user has not been asked yet: the screen is not shared"_s});
  }
}

void PortalInput::requestRoute(PermissionCallback answer) {
  switch (route_) {
    case Route::unknown:
    case Route::connecting:
      waiting_.push_back(std::move(answer));
      return;
    case Route::usable:
      return answer({.granted = true});
    case Route::lost:
      return answer({.reason = u"the desktop accepts no connection for input"_s});
  }
}

void PortalInput::sessionChanged() {
  if (session_.state() == PortalSession::State::preparing || session_.state() == PortalSession::State::asking) return;
  if (session_.state() == PortalSession::State::granted) return chooseRoute();
  // The desktop releases what a session held.
  dropHeld();
  dropPaste();
  calls_.reset();
  eis_.reset();
  connecting_.reset();
  route_ = Route::unknown;
  units_ = Units::unknown;
  takenForLayout_.reset();
  takenForPixels_.reset();
  motion_.reset();
  keyboardAnnounced_ = false;
  answerWaiting();
}

void PortalInput::answerWaiting() {
  for (const PermissionCallback& answer : std::exchange(waiting_, {})) requestPermission(answer);
}

void PortalInput::dropHeld() {
  heldButtons_.clear();
  heldKeys_.clear();
  ownModifiers_.reset();
}

void PortalInput::chooseRoute() {
  if (route_ != Route::unknown) return;
  if (!session_.grant().control() || !session_.grant().eis || !eisAvailable()) return finishRoute(Route::usable);
  route_ = Route::connecting;
  connecting_ = std::make_unique<QObject>();
  session_.connectToEis([this](FileDescriptor socket, const QString& error) {
    // The portal's calls still work when there is no such connection.
    if (!error.isEmpty()) return finishRoute(Route::usable);
    eis_ = makeEisInput(std::move(socket), session_.grant().streams,
                        {.ready = [this] { finishRoute(Route::usable); }, .ended = [this] { connectionEnded(); }});
    if (!eis_) return finishRoute(Route::lost);
    constexpr std::chrono::seconds kConnectTimeout(5);
    QTimer::singleShot(kConnectTimeout, connecting_.get(), [this] { finishRoute(Route::lost); });
  });
}

// What was usable cannot be replaced within this session: the portal refuses its own calls beside a connection.
void PortalInput::connectionEnded() {
  dropHeld();
  if (route_ == Route::usable) return session_.end(u"the desktop has ended the connection for input"_s);
  finishRoute(Route::lost);
}

void PortalInput::finishRoute(Route route) {
  route_ = route;
  connecting_.reset();
  if (route == Route::usable && session_.grant().control()) announceKeyboard();
  answerWaiting();
}

bool PortalInput::moveTo(std::uint32_t displayId, double fx, double fy) {
  const auto target = displays_.target(displayId);
  if (!target || !session_.grant().pointer) return false;
  motion_ = Motion{.screen = *target,
                   .target = QPoint(pixelOf(fx, target->pixels.width()), pixelOf(fy, target->pixels.height()))};
  return send(*motion_);
}

QPointF PortalInput::Motion::inLayout() const {
  return {static_cast<double>(target.x()) * screen.layout.width() / screen.pixels.width(),
          static_cast<double>(target.y()) * screen.layout.height() / screen.pixels.height()};
}

bool PortalInput::send(const Motion& motion) {
  if (motion.screen.layout == motion.screen.pixels || units_ != Units::pixels)
    return events().moveTo(motion.screen.node, motion.inLayout(), {});
  const QPoint reached(std::min(motion.target.x(), motion.screen.layout.width() - 1),
                       std::min(motion.target.y(), motion.screen.layout.height() - 1));
  const QPointF rest = motion.target - reached;
  return events().moveTo(motion.screen.node, reached,
                         {rest.x() * motion.screen.layout.width() / motion.screen.pixels.width(),
                          rest.y() * motion.screen.layout.height() / motion.screen.pixels.height()});
}

void PortalInput::cursorReported(std::uint32_t node, QPoint position) {
  if (units_ != Units::unknown || !motion_ || motion_->screen.node != node ||
      motion_->screen.layout == motion_->screen.pixels)
    return;
  const QPointF sent = motion_->inLayout();
  // Near the origin both are the same.
  if (isAt(motion_->target, sent)) return;
  if (isAt(position, motion_->target)) {
    if (agreesTwice(takenForLayout_, motion_->target)) units_ = Units::layout;
  } else if (isAt(position, sent) && agreesTwice(takenForPixels_, motion_->target)) {
    units_ = Units::pixels;
    (void)send(*motion_);
  }
}

void PortalInput::nudge() {
  if (!session_.grant().pointer) return;
  if (events().moveBy({1, 0})) (void)events().moveBy({-1, 0});
}

void PortalInput::button(PointerButton button, bool down) {
  if (!session_.grant().pointer) return;
  const int code = kernelButton(button);
  if (heldButtons_.erase(code) > 0) events().releaseButton(code);
  if (down && events().pressButton(code)) heldButtons_.insert(code);
}

void PortalInput::wheel(const ScrollEvent& event) {
  if (!session_.grant().pointer) return;
  // The portal counts downwards.
  scroll(ScrollAxis::vertical, -std::max(event.vertical, -INT32_MAX));
  scroll(ScrollAxis::horizontal, event.horizontal);
}

// The viewer's mouse wheel reports one notch as 120 or 100 pixels, depending on its system. Any other distance comes
// from a touch pad or a smooth wheel.
void PortalInput::scroll(ScrollAxis axis, std::int32_t pixels) {
  if (pixels == 0) return;
  constexpr int kMaxNotches = 32;
  for (const int notch : {120, 100}) {
    if (pixels % notch != 0) continue;
    (void)events().scrollNotches(axis, std::clamp(pixels / notch, -kMaxNotches, kMaxNotches));
    return;
  }
  // Programs scroll by about 53 pixels for a notch, which is 10 units of a smooth axis.
  constexpr double kUnitsPerPixel = 10.0 / 53.0;
  constexpr double kMaxUnits = kMaxNotches * 10.0;
  (void)events().scrollSmoothly(axis, std::clamp(pixels * kUnitsPerPixel, -kMaxUnits, kMaxUnits));
}

// On a machine without a keyboard, programs learn of the portal's with its first key, and miss that key.
void PortalInput::announceKeyboard() {
  if (std::exchange(keyboardAnnounced_, true)) return;
  // It has no symbol on any layout.
  if (events().pressKey(KEY_UNKNOWN)) events().releaseKey(KEY_UNKNOWN);
}

bool PortalInput::key(std::uint16_t code, bool down, const KeyModifiers& modifiers) {
  // Compositors drop what keymaps cannot name.
  constexpr std::uint16_t kHighestKey = 247;
  if (code == 0 || code > kHighestKey || !session_.grant().keyboard) return false;
  if (!down && !heldKeys_.contains(code)) return true;
  takeModifiers(modifiers, static_cast<Keycode>(code));
  // Compositors ignore a press of a key that is down.
  if (heldKeys_.erase(code) > 0) events().releaseKey(code);
  if (down && events().pressKey(code)) heldKeys_.insert(code);
  if (heldKeys_.empty()) releaseModifiers();
  return true;
}

void PortalInput::takeModifiers(const KeyModifiers& modifiers, Keycode event) {
  const ModifierPlan plan = planModifiers(modifierKeys_, modifiers, ownModifiers_, ownModifiers_, event);
  for (const Keycode key : plan.release) setModifier(key, false);
  for (const Keycode key : plan.press) setModifier(key, true);
}

// Most layouts that have a third level have its key where Right Alt is.
void PortalInput::setLayout(std::optional<KeyLayout> layout) {
  layout_ = std::move(layout);
  modifierKeys_ = modifierKeys(layout_ ? layout_->altgrKey() : KEY_RIGHTALT);
}

void PortalInput::pasteThrough(ClipboardLoan& clipboard, ClipboardLoan& primary, Scheduler& scheduler) {
  paste_ =
      std::make_unique<TextPaste>(clipboard, primary, scheduler,
                                  TextPaste::Keys{.press = [this](TextPaste::Chord chord) { return pressPaste(chord); },
                                                  .delivered = [this] { return events().delivered(); },
                                                  .drop = [this] { events().dropWaiting(); }});
}

TypingStep PortalInput::type(std::u32string_view text) {
  if (!session_.grant().keyboard) return {.possible = false};
  TypingStep step{.wait = kTypingPause};
  if (events().busy()) return step;
  while (step.taken < std::min(text.size(), kTypingStep)) {
    const std::u32string_view rest = text.substr(step.taken);
    if (unpasted_ == 0 && hasToPaste(lineOf(rest))) {
      if (step.taken > 0) break;
      return paste(lineOf(rest));
    }
    if (unpasted_ > 0) --unpasted_;
    ++step.taken;
    if (typeCharacter(rest.front())) ++step.typed;
  }
  releaseModifiers();
  return step;
}

bool PortalInput::lacks(char32_t character) {
  if (layout_->find(character)) return false;
  return !layout_->has(character) || !events().takesSymbols();
}

bool PortalInput::hasToPaste(std::u32string_view line) {
  if (paste_ && paste_->underWay()) return true;
  if (!paste_ || !layout_ || !paste_->possible()) return false;
  return std::any_of(line.begin(), line.end(), [this](char32_t character) { return lacks(character); });
}

TypingStep PortalInput::paste(std::u32string_view line) {
  TypingStep step{.wait = kTypingPause};
  switch (paste_->proceed(line)) {
    case TextPaste::Outcome::pending:
      break;
    case TextPaste::Outcome::pasted:
      step.taken = step.typed = line.size();
      break;
    case TextPaste::Outcome::notRead:
      step.taken = line.size();
      break;
    case TextPaste::Outcome::impossible:
      unpasted_ = line.size();
      break;
  }
  return step;
}

bool PortalInput::pressPaste(TextPaste::Chord chord) {
  const auto v = layout_ ? layout_->find(U'v') : std::nullopt;
  const bool pressed = chord == TextPaste::Chord::shiftInsert ? tap(KEY_INSERT, {.shift = true})
                                                              : tap(v ? v->code : KEY_V, {.control = true});
  releaseModifiers();
  return pressed;
}

bool PortalInput::readyForKeys() { return !paste_ || paste_->settled(); }

bool PortalInput::typeCharacter(char32_t character) {
  if (character == U'\n') return tap(KEY_ENTER, {});
  if (character == U'\t') return tap(KEY_TAB, {});
  if (layout_) {
    if (const auto stroke = layout_->find(character))
      return tap(stroke->code, {.shift = stroke->shift, .altgr = stroke->altgr});
    if (lacks(character)) return false;
  }
  const std::uint32_t keysym = xkb_utf32_to_keysym(character);
  takeModifiers({}, 0);
  return keysym != 0 && events().tapSymbol(keysym);
}

bool PortalInput::tap(std::uint16_t code, const KeyModifiers& modifiers) {
  takeModifiers(modifiers, static_cast<Keycode>(code));
  if (heldKeys_.erase(code) > 0) events().releaseKey(code);
  if (!events().pressKey(code)) return false;
  events().releaseKey(code);
  return true;
}

void PortalInput::setModifier(Keycode key, bool down) {
  ownModifiers_[key] = down && events().pressKey(key);
  if (!down) events().releaseKey(key);
}

void PortalInput::dropPaste() {
  unpasted_ = 0;
  if (paste_) paste_->cancel();
}

void PortalInput::releaseModifiers() {
  for (std::size_t key = 0; key < ownModifiers_.size(); ++key) {
    if (ownModifiers_[key]) setModifier(static_cast<Keycode>(key), false);
  }
}

void PortalInput::releaseAll() {
  dropPaste();
  events().dropWaiting();
  for (const int button : std::exchange(heldButtons_, {})) events().releaseButton(button);
  for (const std::uint16_t key : std::exchange(heldKeys_, {})) events().releaseKey(key);
  releaseModifiers();
}

}  // namespace vantora
