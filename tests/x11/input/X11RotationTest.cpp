// The pointer on a screen that is rotated or mirrored.
#include <gtest/gtest.h>

#include <QPoint>
#include <QSize>
#include <tuple>

#include "main/control/input/InputInjector.h"
#include "platform/x11/X11Displays.h"
#include "platform/x11/X11Input.h"
#include "platform/x11/capture/X11ScreenCapture.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/x11/capture/ScreenPainter.h"
#include "tests/x11/input/X11InputFixture.h"
#include "tests/x11/support/TestWindow.h"
#include "tests/x11/support/XephyrServer.h"

namespace vantora::testx11 {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kGround = 0x101010;

struct Mark {
  std::uint32_t colour = 0;
  QPoint at = {};
};

// Different from every rotated or mirrored version of themselves; they include the corner pixels.
std::vector<Mark> marksOn(const QSize& screen) {
  const int right = screen.width() - 1;
  const int bottom = screen.height() - 1;
  return {
      {0xff0000, {0, 0}},    {0x00ff00, {right, 0}},        {0x0000ff, {0, bottom}},       {0xffff00, {right, bottom}},
      {0xff00ff, {111, 29}}, {0x00ffff, {right - 43, 307}}, {0xffffff, {203, bottom - 61}}};
}

std::optional<QPoint> find(const CapturedFrame& frame, std::uint32_t colour) {
  const CpuPixels& pixels = std::get<CpuPixels>(frame.memory);
  for (int y = 0; y < frame.size.height(); ++y) {
    const std::uint8_t* pixel = pixels.data + static_cast<std::ptrdiff_t>(y) * pixels.stride;
    for (int x = 0; x < frame.size.width(); ++x, pixel += 4) {
      if ((static_cast<std::uint32_t>(pixel[2]) << 16 | static_cast<std::uint32_t>(pixel[1]) << 8 | pixel[0]) == colour)
        return QPoint(x, y);
    }
  }
  return std::nullopt;
}

using Turn = std::tuple<std::string, std::string>;  // Rotation, reflection.

class X11TurnedScreen : public testing::TestWithParam<Turn> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(outer_.running());
    ASSERT_TRUE(server_.running()) << "Xephyr (package xserver-xephyr) did not start";
    displays_ = makeX11Displays(server_.display());
    input_ = makeX11Input(server_.display(), *displays_);
    capture_ = makeX11ScreenCapture(server_.display().toStdString());
  }

  // Moves the pointer to every mark's position in the captured frame, as a viewer would.
  void expectPointerOnMarks(InputInjector& injector) {
    const bool sideways = std::get<0>(GetParam()) == "left" || std::get<0>(GetParam()) == "right";
    const QSize screen = sideways ? kSize.transposed() : kSize;
    const std::vector<Mark> marks = marksOn(screen);
    ScreenPainter painter(server_.display());
    painter.fillAll(kGround);
    for (const Mark& mark : marks) painter.fill(mark.colour, mark.at.x(), mark.at.y(), 1, 1);
    ASSERT_EQ(capture_->open(0).outcome, ScreenCapture::Outcome::opened);
    CapturedFrame frame;
    ASSERT_EQ(capture_->poll(frame), ScreenCapture::Poll::changed);
    ASSERT_EQ(frame.size, screen);
    TestWindow person(server_.display());
    for (const Mark& mark : marks) {
      const auto seen = find(frame, mark.colour);
      ASSERT_TRUE(seen);
      injector.move((seen->x() + 0.5) / frame.size.width(), (seen->y() + 0.5) / frame.size.height());
      ASSERT_TRUE(usable(*input_));
      const TestWindow::Pointer pointer = person.pointer();
      EXPECT_EQ(QPoint(pointer.x, pointer.y), mark.at);
    }
  }

  fakes::FakeScheduler scheduler_;
  static constexpr QSize kSize{640, 480};
  fakes::RecordedLog log_;
  XvfbServer outer_{800, 800};
  XephyrServer server_{outer_, kSize.width(), kSize.height()};
  std::unique_ptr<Displays> displays_;
  std::unique_ptr<DesktopInput> input_;
  std::unique_ptr<ScreenCapture> capture_;
};

TEST_P(X11TurnedScreen, putsThePointerWhereTheFrameShowsIt) {
  ASSERT_TRUE(server_.turn(std::get<0>(GetParam()), std::get<1>(GetParam())));
  InputInjector injector(*displays_, *input_, scheduler_);
  injector.setTargetScreen(0);
  expectPointerOnMarks(injector);
  injector.setMappingMode(false);
  expectPointerOnMarks(injector);
}

TEST_P(X11TurnedScreen, followsAScreenThatIsTurnedWhileItIsShared) {
  InputInjector injector(*displays_, *input_, scheduler_);
  injector.setTargetScreen(0);
  ASSERT_TRUE(server_.turn(std::get<0>(GetParam()), std::get<1>(GetParam())));
  expectPointerOnMarks(injector);
}

INSTANTIATE_TEST_SUITE_P(EveryWay, X11TurnedScreen,
                         testing::Combine(testing::Values("normal", "left", "inverted", "right"),
                                          testing::Values("normal", "x", "y", "xy")),
                         [](const auto& turn) { return std::get<0>(turn.param) + "_" + std::get<1>(turn.param); });

}  // namespace
}  // namespace vantora::testx11
