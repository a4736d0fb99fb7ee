#include "tests/contract/InputSynthesisContract.h"
#include "tests/fakes/FakeInputSynthesis.h"

namespace vantora {
namespace {

class FakeBench final : public InputSynthesisBench {
 public:
  InputSynthesis& synthesis() override { return fake_; }
  QPointF pointerPosition() override { return fake_.position; }
  std::set<PointerButton> heldButtons() override { return fake_.heldButtons; }
  std::set<QString> heldKeys() override { return fake_.heldKeys; }
  void lose() override { fake_.setUsable(false); }

 private:
  fakes::FakeInputSynthesis fake_;
};

INSTANTIATE_TEST_SUITE_P(Fake, InputSynthesisContract, testing::Values([] { return std::make_unique<FakeBench>(); }));

}  // namespace
}  // namespace vantora
