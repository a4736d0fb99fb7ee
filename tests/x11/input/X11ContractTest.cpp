// The contracts of the platform on a real server.
#include <linux/input-event-codes.h>

#include "platform/x11/X11Displays.h"
#include "platform/x11/X11Input.h"
#include "tests/contract/DesktopInputContract.h"
#include "tests/contract/DisplaysContract.h"
#include "tests/x11/input/X11InputFixture.h"

namespace vantora::testing_x11 {
namespace {

class X11InputBench final : public DesktopInputBench {
 public:
  Displays& displays() override { return *displays_; }
  DesktopInput& input() override { return *input_; }
  QPointF pointerPosition() override {
    settle();
    const auto pointer = window_.pointer();
    return {static_cast<double>(pointer.x), static_cast<double>(pointer.y)};
  }
  std::set<PointerButton> heldButtons() override {
    settle();
    const int mask = window_.pointer().mask;
    std::set<PointerButton> held;
    if ((mask & XCB_BUTTON_MASK_1) != 0) held.insert(PointerButton::left);
    if ((mask & XCB_BUTTON_MASK_2) != 0) held.insert(PointerButton::centre);
    if ((mask & XCB_BUTTON_MASK_3) != 0) held.insert(PointerButton::right);
    return held;
  }
  std::set<std::uint16_t> heldKeys() override {
    settle();
    const std::set<int> down = window_.keysDown();
    std::set<std::uint16_t> held;
    if (down.contains(kKeyA)) held.insert(KEY_A);
    if (down.contains(kKeyB)) held.insert(KEY_B);
    if (down.contains(kEnter)) held.insert(KEY_ENTER);
    return held;
  }
  void lose() override { server_.kill(); }

 private:
  void settle() { EXPECT_TRUE(usable(*input_)); }

  XvfbServer server_{320, 200};
  TestWindow window_{server_.display()};
  std::unique_ptr<Displays> displays_ = makeX11Displays(server_.display());
  std::unique_ptr<DesktopInput> input_ = makeX11Input(server_.display(), *displays_);
};

class X11DisplaysBench final : public DisplaysBench {
 public:
  Displays& displays() override { return *displays_; }
  void split() override { EXPECT_TRUE(server_.splitIntoTwoMonitors(600, 400, 600)); }
  void lose() override { server_.kill(); }

 private:
  XvfbServer server_{1000, 600};
  std::unique_ptr<Displays> displays_ = makeX11Displays(server_.display());
};

}  // namespace
}  // namespace vantora::testing_x11

namespace vantora {
namespace {

INSTANTIATE_TEST_SUITE_P(X11, DesktopInputContract,
                         testing::Values([] { return std::make_unique<testing_x11::X11InputBench>(); }));
INSTANTIATE_TEST_SUITE_P(X11, DisplaysContract,
                         testing::Values([] { return std::make_unique<testing_x11::X11DisplaysBench>(); }));

}  // namespace
}  // namespace vantora
