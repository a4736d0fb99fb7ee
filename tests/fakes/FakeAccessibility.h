// An accessibility service that replies when the test calls answer().
#pragma once

#include <utility>

#include "platform/Accessibility.h"

namespace vantora::fakes {

// Follows the contract of Accessibility: one request at a time, completed at most once.
class FakeAccessibility final : public Accessibility {
 public:
  AccessibilityTrust trust() override { return trusted; }
  bool askPointedElements(int maximum, ElementsCallback answer) override {
    if (answer_) return false;
    ++requests;
    lastMaximum = maximum;
    if (answersAtOnce) {
      answer(pointed);
    } else {
      answer_ = std::move(answer);
    }
    return true;
  }

  bool asked() const { return answer_ != nullptr; }
  // Completes the pending request with `pointed`.
  void answer() {
    if (const auto open = std::exchange(answer_, nullptr)) open(pointed);
  }

  AccessibilityTrust trusted = AccessibilityTrust::absent;
  bool answersAtOnce = true;
  PointedElements pointed;
  int requests = 0;
  int lastMaximum = 0;

 private:
  ElementsCallback answer_;
};

}  // namespace vantora::fakes
