// Input that only records what was posted.
#pragma once

#include <algorithm>
#include <cmath>
#include <deque>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/DesktopInput.h"
#include "platform/Displays.h"

namespace vantora::fakes {

// Follows the contract of DesktopInput: it tracks what is held, and without a desktop nothing has an effect. Permission
// requests are completed at once or, while `promptsUser` is set, one in order for each call of answer().
class FakeDesktopInput final : public DesktopInput {
 public:
  // One pointer event.
  struct PointerAction {
    enum class Kind { moved, pressed, released } kind = Kind::moved;
    // Of a motion.
    std::uint32_t displayId = 0;
    double fx = 0;
    double fy = 0;
    // Of the other events.
    PointerButton button = PointerButton::left;
    bool operator==(const PointerAction&) const = default;
  };
  static PointerAction moved(std::uint32_t displayId, double fx, double fy) {
    return {PointerAction::Kind::moved, displayId, fx, fy, PointerButton::left};
  }
  static PointerAction pressed(PointerButton button) { return {PointerAction::Kind::pressed, 0, 0, 0, button}; }
  static PointerAction released(PointerButton button) { return {PointerAction::Kind::released, 0, 0, 0, button}; }

  struct KeyAction {
    std::uint16_t code = 0;
    bool down = false;
    KeyModifiers modifiers = {};
    bool operator==(const KeyAction&) const = default;
  };

  // `displays` determines the position of a motion; without them `position` stays.
  explicit FakeDesktopInput(Displays* displays = nullptr) : displays_(displays) {}

  void requestPermission(PermissionCallback answer) override {
    if (promptsUser) {
      pendingRequests_.push_back(std::move(answer));
    } else {
      answer(permission());
    }
  }
  bool moveTo(std::uint32_t displayId, double fx, double fy) override {
    if (!usable_) return false;
    if (displays_) {
      const auto display = displays_->find(displayId);
      if (!display) return false;
      const QRect& bounds = display->bounds;
      const auto along = [](double fraction, int low, int size) {
        const double inside = std::isnan(fraction) ? 0 : std::clamp(fraction, 0.0, 1.0);
        return low + std::min(std::floor(inside * size + 1e-6), size - 1.0);
      };
      position = {along(fx, bounds.x(), bounds.width()), along(fy, bounds.y(), bounds.height())};
    }
    pointerActions.push_back(moved(displayId, fx, fy));
    return true;
  }
  void button(PointerButton button, bool down) override {
    if (!usable_) return;
    pointerActions.push_back(down ? pressed(button) : released(button));
    if (down) {
      heldButtons.insert(button);
    } else {
      heldButtons.erase(button);
    }
  }
  void wheel(const ScrollEvent& event) override {
    if (usable_) scrollEvents.push_back(event);
  }
  bool key(std::uint16_t code, bool down, const KeyModifiers& modifiers) override {
    if (!usable_ || code == kNoSuchKey || missingKeys.contains(code)) return false;
    keyActions.push_back({code, down, modifiers});
    if (down) {
      heldKeys.insert(code);
    } else {
      heldKeys.erase(code);
    }
    return true;
  }
  TypingStep type(std::u32string_view text) override {
    if (!usable_) return {.possible = false};
    const std::size_t taken = std::min(text.size(), typingStep);
    std::size_t missing = 0;
    for (const char32_t character : text.substr(0, taken)) {
      if (missingCharacters.contains(character)) {
        ++missing;
      } else {
        typed.push_back(character);
      }
    }
    return {.taken = taken, .typed = taken - missing, .wait = typingPause};
  }
  bool readyForKeys() override {
    ++readyRequests;
    return ready;
  }
  void releaseAll() override {
    ++releases;
    heldButtons.clear();
    heldKeys.clear();
  }

  // Removes the desktop, or restores it.
  void setUsable(bool usable) { usable_ = usable; }
  // The reason reported while it is not usable.
  void setRefusal(const QString& reason) { refusal_ = reason; }
  // The user decides on the oldest request; false without one.
  bool answer() {
    if (pendingRequests_.empty()) return false;
    const PermissionCallback oldest = std::move(pendingRequests_.front());
    pendingRequests_.pop_front();
    oldest(permission());
    return true;
  }
  std::size_t pendingRequests() const { return pendingRequests_.size(); }

  // No keyboard has this key.
  static constexpr std::uint16_t kNoSuchKey = 0x2ff;

  bool promptsUser = false;
  std::vector<PointerAction> pointerActions;
  std::vector<ScrollEvent> scrollEvents;
  std::vector<KeyAction> keyActions;
  QPointF position;
  std::set<PointerButton> heldButtons;
  std::set<std::uint16_t> heldKeys;
  std::set<std::uint16_t> missingKeys;  // Positions that this desktop does not have.
  std::u32string typed;
  std::size_t typingStep = 10;  // Characters that one call of type() takes.
  std::chrono::milliseconds typingPause{5};
  std::set<char32_t> missingCharacters;  // For which this desktop has no means.
  bool ready = true;                     // For keys behind texts.
  int readyRequests = 0;
  int releases = 0;

 private:
  InputPermission permission() const { return {usable_, usable_ ? QString() : refusal_}; }

  Displays* const displays_;
  bool usable_ = true;
  QString refusal_;
  std::deque<PermissionCallback> pendingRequests_;
};

}  // namespace vantora::fakes
