#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <optional>

#include "platform/DesktopChoice.h"
#include "platform/NoDesktop.h"
#include "tests/fakes/FakeClipboard.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

void expectNothing(DesktopSession& desktop) {
  EXPECT_TRUE(desktop.displays().list().empty());
  std::optional<bool> granted;
  desktop.input().requestPermission([&](const InputPermission& permission) { granted = permission.granted; });
  EXPECT_EQ(granted, false);
  desktop.input().moveTo(1, 0.5, 0.5);
  desktop.input().button(PointerButton::left, true);
  desktop.input().wheel({100, 100});
  EXPECT_FALSE(desktop.input().key(KEY_A, true, {}));
  desktop.input().releaseAll();
  EXPECT_EQ(desktop.makeScreenCapture()->open(0).outcome, ScreenCapture::Outcome::refused);
}

TEST(DesktopChoice, asksTheTypeOfTheSessionFirst) {
  using Variables = std::initializer_list<std::pair<const char*, const char*>>;
  const std::pair<Variables, WindowSystem> cases[] = {
      {{}, WindowSystem::none},
      {{{"DISPLAY", ""}}, WindowSystem::none},
      {{{"XDG_SESSION_TYPE", "tty"}}, WindowSystem::none},
      {{{"XDG_SESSION_TYPE", "x11"}}, WindowSystem::none},
      {{{"XDG_SESSION_TYPE", "wayland"}}, WindowSystem::none},
      {{{"DISPLAY", ":0"}}, WindowSystem::x11},
      {{{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "x11"}}, WindowSystem::x11},
      {{{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "tty"}}, WindowSystem::x11},
      {{{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "x11"}, {"WAYLAND_DISPLAY", "wayland-9"}}, WindowSystem::x11},
      {{{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "wayland"}}, WindowSystem::wayland},
      {{{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "Wayland"}, {"WAYLAND_DISPLAY", "wayland-0"}}, WindowSystem::wayland},
      {{{"WAYLAND_DISPLAY", "wayland-0"}}, WindowSystem::wayland},
      {{{"WAYLAND_DISPLAY", "wayland-0"}, {"XDG_SESSION_TYPE", "x11"}}, WindowSystem::wayland},
  };
  int number = 0;
  for (const auto& [variables, expected] : cases)
    EXPECT_EQ(windowSystemOf(Environment::of(variables)), expected) << number++;
}

TEST(DesktopChoice, hasNothingWithoutADisplayServer) {
  fakes::FakeClipboard clipboard;
  for (const auto& environment :
       {Environment::of({}), Environment::of({{"DISPLAY", ""}}), Environment::of({{"WAYLAND_DISPLAY", "wayland-0"}})}) {
    const auto desktop = makeDesktopSession(environment, clipboard);
    EXPECT_EQ(desktop->status(), (DesktopStatus{DesktopState::refused, u"cannot open display \"\""_s}));
    expectNothing(*desktop);
    EXPECT_EQ(&desktop->clipboard(), &clipboard);
  }
}

TEST(DesktopChoice, isReadyForADisplayServerThatDoesNotAnswerYet) {
  fakes::FakeClipboard clipboard;
  // Far above the numbers that servers use.
  for (const char* display : {":59999", "not a display"}) {
    const auto desktop = makeDesktopSession(Environment::of({{"DISPLAY", display}}), clipboard);
    EXPECT_EQ(desktop->status(), DesktopStatus{DesktopState::ready});
    expectNothing(*desktop);
  }
}

TEST(NoDesktop, hasACaptureThatSleepsUntilItIsWoken) {
  fakes::FakeClipboard clipboard;
  const auto capture = makeNoDesktop(clipboard, u"nothing here"_s)->makeScreenCapture();
  EXPECT_EQ(capture->open(3).error, u"nothing here"_s);
  CapturedFrame frame;
  EXPECT_EQ(capture->poll(frame), ScreenCapture::Poll::lost);
  EXPECT_EQ(capture->wait(1ms, ScreenCapture::WakeOn::changeOrCall), ScreenCapture::Woken::timeout);
  capture->wake();
  EXPECT_EQ(capture->wait(std::chrono::nanoseconds::max(), ScreenCapture::WakeOn::call), ScreenCapture::Woken::call);
}

}  // namespace
}  // namespace vantora
