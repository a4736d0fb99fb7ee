#include "platform/NoDesktop.h"

namespace vantora {
namespace {

class NoDisplays final : public Displays {
 public:
  std::vector<Display> list() override { return {}; }
};

class NoInputSynthesis final : public InputSynthesis {
 public:
  bool usable() override { return false; }
  void postPointer(const PointerEvent&) override {}
  void postScroll(const ScrollEvent&) override {}
  bool postKey(const KeyEvent&) override { return false; }
  void releaseAll() override {}
};

class NoSystemCursor final : public SystemCursor {
 public:
  void watch(Notices) override {}
  void unwatch() override {}
  void armPointerNotice() override {}
  std::optional<QString> currentCursor() override { return std::nullopt; }
};

class NoAccessibility final : public Accessibility {
 public:
  AccessibilityTrust trust() override { return AccessibilityTrust::absent; }
  bool askPointedElements(int, Answer) override { return false; }
};

}  // namespace

std::unique_ptr<Displays> makeNoDisplays() { return std::make_unique<NoDisplays>(); }

std::unique_ptr<InputSynthesis> makeNoInputSynthesis() { return std::make_unique<NoInputSynthesis>(); }

std::unique_ptr<SystemCursor> makeNoSystemCursor() { return std::make_unique<NoSystemCursor>(); }

std::unique_ptr<Accessibility> makeNoAccessibility() { return std::make_unique<NoAccessibility>(); }

}  // namespace vantora
