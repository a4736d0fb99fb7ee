// Input that only writes down what was posted.
#pragma once

#include <algorithm>
#include <set>
#include <vector>

#include "platform/InputSynthesis.h"

namespace vantora::fakes {

// Keeps to the contract of InputSynthesis: it knows what is held, and without a desktop nothing
// has an effect.
class FakeInputSynthesis final : public InputSynthesis {
 public:
  bool usable() override { return usable_; }
  QString refusal() override { return usable_ ? QString() : refusal_; }

  void postPointer(const PointerEvent& event) override {
    if (!usable_) return;
    pointerEvents.push_back(event);
    position = event.point;
    if (!event.frame.isEmpty()) {
      position.setX(std::clamp(position.x(), event.frame.left(), event.frame.right() - 1));
      position.setY(std::clamp(position.y(), event.frame.top(), event.frame.bottom() - 1));
    }
    if (event.type == PointerEventType::leftDown || event.type == PointerEventType::rightDown) {
      heldButtons.insert(event.button);
    }
    if (event.type == PointerEventType::leftUp || event.type == PointerEventType::rightUp) {
      heldButtons.erase(event.button);
    }
  }

  void postScroll(const ScrollEvent& event) override {
    if (usable_) scrollEvents.push_back(event);
  }

  bool postKey(const KeyEvent& event) override {
    if (!usable_ || missingKeys.contains(event.name)) return false;
    keyEvents.push_back(event);
    if (event.down) {
      heldKeys.insert(event.name);
    } else {
      heldKeys.erase(event.name);
    }
    return true;
  }

  void releaseAll() override {
    ++releases;
    heldButtons.clear();
    heldKeys.clear();
  }

  // Without a desktop from now on, or with one again.
  void setUsable(bool usable) { usable_ = usable; }
  // What it says for a reason while it is not usable.
  void setRefusal(const QString& reason) { refusal_ = reason; }

  std::vector<PointerEvent> pointerEvents;
  std::vector<ScrollEvent> scrollEvents;
  std::vector<KeyEvent> keyEvents;
  QPointF position;
  std::set<PointerButton> heldButtons;
  std::set<QString> heldKeys;
  std::set<QString> missingKeys{QStringLiteral("NoSuchKey")};  // Positions that this desktop does not have.
  int releases = 0;

 private:
  bool usable_ = true;
  QString refusal_;
};

}  // namespace vantora::fakes
