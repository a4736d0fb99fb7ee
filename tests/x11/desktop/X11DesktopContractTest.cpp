// The contracts of a desktop on a real X server.
#include <linux/input-event-codes.h>

#include <optional>

#include "platform/x11/X11Desktop.h"
#include "tests/contract/DesktopContract.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/x11/capture/ScreenPainter.h"
#include "tests/x11/cursor/ThemeCursors.h"
#include "tests/x11/input/X11InputFixture.h"

namespace vantora {
namespace {

using namespace testx11;

class X11DesktopBench final : public DesktopBench {
 public:
  DesktopSession& session() override { return *session_; }
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
  void split() override { EXPECT_TRUE(server_.splitIntoTwoMonitors(600, 400, 600)); }
  void paint(std::uint32_t rgb, const QRect& area) override {
    painter_.fill(rgb, area.x(), area.y(), area.width(), area.height());
  }
  void showCursor(const QString& name) override {
    if (name.isEmpty()) return program().showNameless();
    EXPECT_TRUE(program().show(name.toStdString()));
  }
  void movePointer() override { program().movePointer(50 + moves_++, 50); }
  void lose() override {
    program_.reset();  // Xlib ends the process when the server goes.
    server_.kill();
  }

 private:
  void settle() { EXPECT_TRUE(usable(session_->input())); }
  ThemeCursors& program() {
    if (!program_) program_.emplace(server_.display().toStdString(), "Adwaita");
    return *program_;
  }

  XvfbServer server_{1000, 600};
  TestWindow window_{server_.display()};
  ScreenPainter painter_{server_.display()};
  std::optional<ThemeCursors> program_;
  fakes::FakeClipboard clipboard_;
  std::unique_ptr<DesktopSession> session_ = makeX11Desktop(Environment::of({}), server_.display(), clipboard_);
  int moves_ = 0;
};

INSTANTIATE_DESKTOP_CONTRACT(X11, X11DesktopBench);

}  // namespace
}  // namespace vantora
