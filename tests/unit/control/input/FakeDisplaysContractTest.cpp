#include "tests/contract/DisplaysContract.h"
#include "tests/fakes/FakeDisplays.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

class FakeBench final : public DisplaysBench {
 public:
  Displays& displays() override { return fake_; }
  void split() override {
    fake_.set({{.id = 2, .name = u"left"_s, .bounds = QRect(0, 0, 600, 600)},
               {.id = 3, .name = u"right"_s, .bounds = QRect(600, 0, 400, 600)}});
  }
  void lose() override { fake_.set({}); }

 private:
  fakes::FakeDisplays fake_{{Display{.id = 1, .name = u"screen"_s, .bounds = QRect(0, 0, 1000, 600)}}};
};

INSTANTIATE_TEST_SUITE_P(Fake, DisplaysContract, testing::Values([] { return std::make_unique<FakeBench>(); }));

}  // namespace
}  // namespace vantora
