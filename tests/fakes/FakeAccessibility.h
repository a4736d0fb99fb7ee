// An accessibility service that answers when the test says so.
#pragma once

#include <utility>

#include "platform/Accessibility.h"

namespace vantora::fakes {

// Keeps to the contract of Accessibility: one request at a time, answered at most once.
class FakeAccessibility final : public Accessibility {
 public:
  AccessibilityTrust trust() override { return trusted; }
  bool askPointedElements(int most, Answer answer) override {
    if (answer_) return false;
    ++requests;
    lastMost = most;
    if (answersAtOnce) {
      answer(pointed);
    } else {
      answer_ = std::move(answer);
    }
    return true;
  }

  bool asked() const { return answer_ != nullptr; }
  // Answers the request that is open with `pointed`.
  void answer() {
    if (const auto open = std::exchange(answer_, nullptr)) open(pointed);
  }

  AccessibilityTrust trusted = AccessibilityTrust::absent;
  bool answersAtOnce = true;
  PointedElements pointed;
  int requests = 0;
  int lastMost = 0;

 private:
  Answer answer_;
};

}  // namespace vantora::fakes
