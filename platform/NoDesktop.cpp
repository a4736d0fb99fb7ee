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

}  // namespace

std::unique_ptr<Displays> makeNoDisplays() { return std::make_unique<NoDisplays>(); }

std::unique_ptr<InputSynthesis> makeNoInputSynthesis() { return std::make_unique<NoInputSynthesis>(); }

}  // namespace vantora
