#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <optional>

#include "platform/DesktopChoice.h"
#include "platform/DesktopFactory.h"
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
  EXPECT_FALSE(desktop.input().moveTo(1, 0.5, 0.5));
  desktop.input().button(PointerButton::left, true);
  desktop.input().wheel({100, 100});
  EXPECT_FALSE(desktop.input().key(KEY_A, true, {}));
  desktop.input().releaseAll();
  EXPECT_EQ(desktop.makeScreenCapture()->open(0).outcome, ScreenCapture::Outcome::refused);
}

using Variables = std::initializer_list<std::pair<const char*, const char*>>;

// Display servers that the test makes up; ":0" and "wayland-0".
DisplayServers servers(XServerKind xServer, bool compositor) {
  return {.xServer = [=](const QString& display) { return display == u":0"_s ? xServer : XServerKind::absent; },
          .compositor = [=](const QString& socket) { return socket == u"/run/user/7/wayland-0"_s && compositor; }};
}

struct Case {
  Variables variables;
  XServerKind xServer;
  bool compositor;
  WindowSystem expected;
};

void expectChoices(std::initializer_list<Case> cases) {
  int number = 0;
  for (const auto& [variables, xServer, compositor, expected] : cases)
    EXPECT_EQ(windowSystemOf(Environment::of(variables), servers(xServer, compositor)), expected) << number++;
}

constexpr std::pair<const char*, const char*> kDisplay{"DISPLAY", ":0"};
constexpr std::pair<const char*, const char*> kCompositor{"WAYLAND_DISPLAY", "wayland-0"};
constexpr std::pair<const char*, const char*> kFolder{"XDG_RUNTIME_DIR", "/run/user/7"};
constexpr std::pair<const char*, const char*> kX11Type{"XDG_SESSION_TYPE", "x11"};
constexpr std::pair<const char*, const char*> kWaylandType{"XDG_SESSION_TYPE", "Wayland"};

using enum XServerKind;

TEST(DesktopChoice, hasNoWindowSystemWithoutTheNameOfAServer) {
  expectChoices({{{}, native, true, WindowSystem::none},
                 {{{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}, kFolder}, native, true, WindowSystem::none},
                 {{{"XDG_SESSION_TYPE", "tty"}}, native, true, WindowSystem::none},
                 {{kX11Type}, native, true, WindowSystem::none}});
}

TEST(DesktopChoice, goesByWhatRepliesRatherThanByDisplay) {
  expectChoices({{{kDisplay}, native, false, WindowSystem::x11},
                 // A service of the user, which knows neither the type nor the compositor.
                 {{kDisplay}, xwayland, false, WindowSystem::wayland},
                 {{kDisplay, kCompositor, kFolder}, xwayland, true, WindowSystem::wayland},
                 {{kDisplay, kCompositor, kFolder}, absent, true, WindowSystem::wayland},
                 // A nested X server, started from a terminal of a Wayland desktop.
                 {{kDisplay, kCompositor, kFolder, kWaylandType}, native, true, WindowSystem::x11},
                 {{kDisplay, kCompositor, kFolder, kWaylandType}, xwayland, true, WindowSystem::wayland},
                 // Over ssh: the type is that of the remote login.
                 {{kDisplay, {"XDG_SESSION_TYPE", "tty"}}, native, false, WindowSystem::x11},
                 {{kCompositor, kFolder}, absent, true, WindowSystem::wayland},
                 {{{"WAYLAND_DISPLAY", "/run/user/7/wayland-0"}, kDisplay}, absent, true, WindowSystem::wayland}});
}

TEST(DesktopChoice, goesByTheTypeOfTheSessionWhileNothingReplies) {
  expectChoices({{{kDisplay, kWaylandType}, absent, false, WindowSystem::wayland},
                 // Its portals need neither name.
                 {{kWaylandType}, absent, false, WindowSystem::wayland},
                 {{kDisplay, kCompositor, kFolder, kWaylandType}, absent, false, WindowSystem::wayland},
                 {{kDisplay, kCompositor, kFolder}, absent, false, WindowSystem::x11},
                 {{kDisplay}, absent, false, WindowSystem::x11},
                 {{kCompositor, kFolder}, absent, false, WindowSystem::wayland},
                 // Without a folder there is no socket to try.
                 {{kCompositor}, absent, true, WindowSystem::wayland}});
}

TEST(DesktopChoice, isDecidedByTheUserFirst) {
  expectChoices({{{{"VANTORA_WINDOW_SYSTEM", "x11"}, kDisplay, kCompositor, kFolder, kWaylandType},
                  xwayland,
                  true,
                  WindowSystem::x11},
                 {{{"VANTORA_WINDOW_SYSTEM", "Wayland"}, kDisplay, kX11Type}, native, false, WindowSystem::wayland},
                 {{{"VANTORA_WINDOW_SYSTEM", "none"}, kDisplay, kX11Type}, native, true, WindowSystem::none},
                 {{{"VANTORA_WINDOW_SYSTEM", "windows"}, kDisplay, kX11Type}, native, true, WindowSystem::x11}});
}

TEST(DesktopChoice, takesTheWordOfAnX11SessionWithoutAskingAServer) {
  const DisplayServers untouchable{.xServer =
                                       [](const QString&) {
                                         ADD_FAILURE() << "asked for the X server";
                                         return absent;
                                       },
                                   .compositor =
                                       [](const QString&) {
                                         ADD_FAILURE() << "asked for the compositor";
                                         return true;
                                       }};
  const auto environment = Environment::of({kDisplay, kX11Type, kCompositor, kFolder});
  EXPECT_EQ(windowSystemOf(environment, untouchable), WindowSystem::x11);
}

TEST(DesktopChoice, showsWindowsOnWhatRepliesAndWaitsForDisplayOtherwise) {
  const auto platforms = [](Variables variables, XServerKind xServer) {
    return toolkitPlatforms(Environment::of(variables), servers(xServer, true));
  };
  EXPECT_EQ(platforms({kDisplay}, native).list, "xcb;wayland;offscreen");
  EXPECT_EQ(platforms({kDisplay, kCompositor, kFolder}, xwayland).list, "xcb;wayland;offscreen");
  EXPECT_EQ(platforms({kDisplay, kCompositor, kFolder}, absent).list, "wayland;offscreen");
  EXPECT_FALSE(platforms({kDisplay, kCompositor, kFolder}, absent).awaitsDisplay);
  EXPECT_EQ(platforms({kDisplay}, absent).list, "offscreen");
  EXPECT_TRUE(platforms({kDisplay}, absent).awaitsDisplay);
  EXPECT_EQ(platforms({}, native).list, "offscreen");
  EXPECT_FALSE(platforms({}, native).awaitsDisplay);
}

TEST(DesktopFactory, hasNothingWithoutADisplayServer) {
  fakes::FakeClipboard clipboard;
  for (const auto& environment : {Environment::of({}), Environment::of({{"DISPLAY", ""}})}) {
    const auto desktop = makeDesktopSession(environment, clipboard, servers(absent, true));
    EXPECT_EQ(desktop->status(), (DesktopStatus{DesktopState::refused, u"cannot open display \"\""_s}));
    expectNothing(*desktop);
    EXPECT_EQ(&desktop->clipboard(), &clipboard);
  }
}

// Never through its X server, which shows and takes nothing.
TEST(DesktopFactory, reachesACompositorThroughItsPortals) {
  fakes::FakeClipboard clipboard;
  const DisplayServers xwaylandOnly{.xServer = [](const QString&) { return xwayland; },
                                    .compositor = [](const QString&) { return false; }};
  for (const auto& environment : {Environment::of({{"DISPLAY", ":59999"}}),
                                  Environment::of({{"DISPLAY", ":59999"}, kWaylandType, kCompositor})}) {
    const auto desktop = makeDesktopSession(environment, clipboard, xwaylandOnly);
    EXPECT_EQ(desktop->status(), DesktopStatus{DesktopState::starting}) << "nobody was asked yet";
    EXPECT_TRUE(desktop->displays().list().empty());
    EXPECT_FALSE(desktop->input().moveTo(1, 0.5, 0.5));
    EXPECT_FALSE(desktop->input().key(KEY_A, true, {}));
  }
}

TEST(DesktopFactory, isReadyForADisplayServerThatDoesNotReplyYet) {
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
