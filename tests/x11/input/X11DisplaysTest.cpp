#include <gtest/gtest.h>
#include <xcb/randr.h>

#include <QStringList>

#include "platform/x11/X11Displays.h"
#include "tests/x11/support/TestWindow.h"
#include "tests/x11/support/XvfbServer.h"

namespace vantora::testx11 {
namespace {

// Names of the active monitors as the server lists them, which are also their numbers.
std::vector<std::uint32_t> monitorNumbers(const QString& display) {
  TestWindow window(display);
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(window.connection())).data->root;
  std::unique_ptr<xcb_randr_get_monitors_reply_t, decltype(&std::free)> reply(
      xcb_randr_get_monitors_reply(window.connection(), xcb_randr_get_monitors(window.connection(), root, 1), nullptr),
      &std::free);
  std::vector<std::uint32_t> numbers;
  if (!reply) return numbers;
  for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem > 0; xcb_randr_monitor_info_next(&it)) {
    numbers.push_back(it.data->name);
  }
  return numbers;
}

TEST(X11Displays, keepsTheOrderAndTheNumbersOfTheServer) {
  XvfbServer server(1000, 600);
  ASSERT_TRUE(server.running());
  ASSERT_TRUE(server.splitIntoTwoMonitors(600, 400, 600));
  std::vector<std::uint32_t> numbers;
  QStringList names;
  const auto displays = makeX11Displays(server.display());
  for (const Display& display : displays->list()) {
    numbers.push_back(display.id);
    names.append(display.name);
  }
  EXPECT_EQ(numbers, monitorNumbers(server.display()));
  EXPECT_EQ(names, (QStringList{QStringLiteral("left"), QStringLiteral("right")}));
}

TEST(X11Displays, showsTheRootWindowOfAServerWithoutMonitors) {
  XvfbServer server(640, 480, {"-extension", "RANDR"});
  ASSERT_TRUE(server.running());
  const auto displays = makeX11Displays(server.display());
  const std::vector<Display> list = displays->list();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list.front().bounds, QRect(0, 0, 640, 480));
  EXPECT_NE(list.front().id, 0U);
}

TEST(X11Displays, comesBackWithItsServer) {
  XvfbServer server(640, 480);
  ASSERT_TRUE(server.running());
  const auto displays = makeX11Displays(server.display());
  EXPECT_EQ(displays->list().size(), 1U);
  server.kill();
  EXPECT_TRUE(displays->list().empty());
  ASSERT_TRUE(server.restart());
  EXPECT_EQ(displays->list().size(), 1U);
}

TEST(X11Displays, forgetsAMonitorThatIsTakenAway) {
  XvfbServer server(1000, 600);
  ASSERT_TRUE(server.running());
  const auto displays = makeX11Displays(server.display());
  ASSERT_TRUE(server.splitIntoTwoMonitors(600, 400, 600));
  EXPECT_EQ(displays->list().size(), 2U);
  ASSERT_EQ(server.run({"xrandr", "--delmonitor", "right"}), 0);
  const std::vector<Display> list = displays->list();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list.front().bounds, QRect(0, 0, 600, 600));
}

}  // namespace
}  // namespace vantora::testx11
