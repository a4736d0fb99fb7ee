#include "tests/contract/DesktopInputContract.h"
#include "tests/fakes/FakeDesktopInput.h"
#include "tests/fakes/FakeDisplays.h"

namespace vantora {
namespace {

class FakeBench final : public DesktopInputBench {
 public:
  Displays& displays() override { return displays_; }
  DesktopInput& input() override { return fake_; }
  QPointF pointerPosition() override { return fake_.position; }
  std::set<PointerButton> heldButtons() override { return fake_.heldButtons; }
  std::set<std::uint16_t> heldKeys() override { return fake_.heldKeys; }
  void lose() override { fake_.setUsable(false); }

 private:
  fakes::FakeDisplays displays_{{{.id = 7, .bounds = {0, 0, 320, 200}}}};
  fakes::FakeDesktopInput fake_{&displays_};
};

INSTANTIATE_TEST_SUITE_P(Fake, DesktopInputContract, testing::Values([] { return std::make_unique<FakeBench>(); }));

}  // namespace
}  // namespace vantora
