// A server that is grabbed by another program, or that does not respond at all.
#include <algorithm>
#include <chrono>
#include <tuple>

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Displays.h"
#include "tests/x11/input/X11InputFixture.h"

namespace vantora::testx11 {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class X11SilentServerTest : public X11InputFixture {
 protected:
  void TearDown() override { server_.goOn(); }

  // Another program, the one with the window, grabs the server.
  void takeServer() {
    xcb_grab_server(window_->connection());
    window_->clear();
  }
  void giveServerBack() {
    xcb_ungrab_server(window_->connection());
    window_->clear();
  }
  // How long it takes.
  template <typename Action>
  std::chrono::milliseconds timed(Action action) {
    const auto start = Clock::now();
    action();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
  }
  // The shortest of several durations: a busy machine delays one, a wait for the server all of them.
  template <typename Action>
  std::chrono::milliseconds least(Action action) {
    return std::min({timed(action), timed(action), timed(action)});
  }
  // Everything that a viewer can send, many times: more than the socket buffer holds.
  void sendEverything() {
    for (int again = 0; again < 2000; ++again) {
      move(again % 100, 20);
      if (again % 100 != 0) continue;
      press(PointerButton::right);
      release(PointerButton::right);
      input_->wheel({120, 120});
      std::ignore = key("KeyB", true, {.shift = true});
      std::ignore = key("KeyB", false);
      std::ignore = usable();
    }
  }
  bool becomesUsable() {
    return window_->waitUntil([this] { return usable(); });
  }

  // One wait for the server plus a margin for a slow machine; far below one wait for each call.
  static constexpr auto kOnce = X11Connection::kTimeout * 4;
};

TEST_F(X11SilentServerTest, pressesMovesAndTypesWhileAProgramHasTakenTheServer) {
  press(PointerButton::left, 10, 10);
  settle();
  takeServer();
  move(200, 100);
  EXPECT_TRUE(window_->waitUntil([this] { return window_->pointer().x == 200; }));
  release(PointerButton::left, 201, 100);
  EXPECT_TRUE(window_->waitUntil([this] { return window_->pointer().mask == 0; }));
  EXPECT_TRUE(usable());
  EXPECT_TRUE(key("KeyA", true));
  EXPECT_TRUE(window_->waitUntil([this] { return window_->keysDown().contains(kKeyA); }));
  EXPECT_TRUE(key("KeyA", false));
  input_->wheel({120, 0});
  EXPECT_TRUE(window_->waitUntil([this] { return window_->buttons().size() >= 3; }));
  giveServerBack();
  EXPECT_TRUE(usable());
}

TEST_F(X11SilentServerTest, listsNewDisplaysWhileAProgramHasTakenTheServer) {
  const auto displays = makeX11Displays(server_.display());
  ASSERT_EQ(displays->list().size(), 1U);
  ASSERT_TRUE(server_.splitIntoTwoMonitors(512, 512, 768));
  takeServer();
  EXPECT_TRUE(window_->waitUntil([&] { return displays->list().size() == 2; }));
}

TEST_F(X11SilentServerTest, waitsOnceForAServerThatSaysNothing) {
  server_.stop();
  EXPECT_LT(timed([this] { EXPECT_FALSE(key("KeyA", true)); }), kOnce);
  EXPECT_LT(least([this] { EXPECT_FALSE(usable()); }), X11Connection::kTimeout / 2);
  EXPECT_LT(timed([this] { sendEverything(); }), kOnce);
  EXPECT_LT(timed([this] { input_->releaseAll(); }), kOnce);
  server_.goOn();
  ASSERT_TRUE(becomesUsable());
  EXPECT_TRUE(key("KeyA", true));
  EXPECT_TRUE(window().keysDown().contains(kKeyA));
}

// Pointer events have no reply: only the full socket shows that the server does not read.
TEST_F(X11SilentServerTest, doesNotWaitForRoomInAFullSocket) {
  server_.stop();
  EXPECT_LT(timed([this] {
              for (int again = 0; again < 20'000; ++again) {
                move(again % 100, 20);
              }
            }),
            kOnce);
  server_.goOn();
  ASSERT_TRUE(becomesUsable());
  move(321, 123);
  EXPECT_EQ(window().pointer().x, 321);
}

TEST_F(X11SilentServerTest, releasesEverythingWhenTheServerRespondsAgain) {
  EXPECT_TRUE(key("KeyA", true, {.control = true}));
  press(PointerButton::left);
  settle();
  ASSERT_FALSE(window_->keysDown().empty());
  ASSERT_FALSE(window_->repeats(kKeyA));
  server_.stop();
  EXPECT_FALSE(usable());
  // These releases are lost: the server is silent.
  EXPECT_FALSE(key("KeyA", false));
  release(PointerButton::left);
  server_.goOn();
  ASSERT_TRUE(becomesUsable());
  EXPECT_TRUE(window().keysDown().empty());
  EXPECT_EQ(window().pointer().mask, 0);
  EXPECT_TRUE(window().repeats(kKeyA));
}

TEST_F(X11SilentServerTest, leavesTheReleasesForAServerThatResumesLater) {
  EXPECT_TRUE(key("KeyA", true, {.control = true}));
  press(PointerButton::left);
  settle();
  server_.stop();
  EXPECT_LT(timed([this] { input_->releaseAll(); }), kOnce);
  EXPECT_LT(least([this] { input_->releaseAll(); }), X11Connection::kTimeout / 2);
  server_.goOn();
  EXPECT_TRUE(window_->waitUntil([this] { return window_->keysDown().empty() && window_->pointer().mask == 0; }));
  EXPECT_TRUE(window_->repeats(kKeyA));
}

TEST_F(X11SilentServerTest, canBeDestroyedWhileTheServerSaysNothing) {
  EXPECT_TRUE(key("KeyA", true));
  server_.stop();
  EXPECT_LT(timed([this] { input_.reset(); }), kOnce);
}

TEST_F(X11SilentServerTest, keepsTheDisplaysItKnowsWhileTheServerSaysNothing) {
  const auto displays = makeX11Displays(server_.display());
  ASSERT_EQ(displays->list().size(), 1U);
  // Reported but not yet read when the server becomes silent.
  ASSERT_TRUE(server_.splitIntoTwoMonitors(512, 512, 768));
  server_.stop();
  EXPECT_LT(timed([&] { EXPECT_EQ(displays->list().size(), 1U); }), kOnce);
  EXPECT_LT(least([&] { EXPECT_EQ(displays->list().size(), 1U); }), X11Connection::kTimeout / 2);
  server_.goOn();
  EXPECT_TRUE(window_->waitUntil([&] { return displays->list().size() == 2; }));
}

TEST_F(X11SilentServerTest, opensASilentServerWhenItResumes) {
  server_.stop();
  const auto displays = makeX11Displays(server_.display());
  auto fresh = makeX11Input(server_.display(), *displays);
  EXPECT_LT(timed([&] { EXPECT_FALSE(testx11::usable(*fresh)); }), kOnce);
  EXPECT_LT(least([&] { EXPECT_FALSE(testx11::usable(*fresh)); }), X11Connection::kTimeout / 2);
  EXPECT_LT(timed([&] { EXPECT_TRUE(displays->list().empty()); }), kOnce);
  // Destroyed while it is still being opened.
  EXPECT_LT(timed([&] { std::ignore = testx11::usable(*makeX11Input(server_.display(), *displays)); }), kOnce);
  server_.goOn();
  EXPECT_TRUE(window_->waitUntil([&] { return testx11::usable(*fresh) && displays->list().size() == 1; }));
}

}  // namespace
}  // namespace vantora::testx11
