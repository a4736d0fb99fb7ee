#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "main/desktop/SecondLaunch.h"
#include "tests/fakes/EventLoop.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

QByteArray uniqueName() {
  static int counter = 0;
  return "vantora-test-" + QByteArray::number(getpid()) + "-" + QByteArray::number(++counter);
}

// A socket with the name of a launch, or a line to one.
struct Line {
  Line() : socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  explicit Line(int descriptor) : socket(descriptor) {}
  ~Line() {
    if (socket >= 0) close(socket);
  }
  Line(Line&& other) noexcept : connected(other.connected), socket(std::exchange(other.socket, -1)) {}
  Line& operator=(Line&&) = delete;

  static Line to(const QByteArray& name) {
    Line line;
    fcntl(line.socket, F_SETFL, O_NONBLOCK);
    line.connected = line.with(name, ::connect) == 0;
    fcntl(line.socket, F_SETFL, 0);
    return line;
  }
  static Line boundTo(const QByteArray& name) {
    Line line;
    EXPECT_EQ(line.with(name, ::bind), 0);
    return line;
  }
  static Line listeningAs(const QByteArray& name) {
    Line line = boundTo(name);
    EXPECT_EQ(listen(line.socket, 8), 0);
    return line;
  }

  // The next caller; waits for it, for half a minute at most.
  Line accepted() const { return Line(comes() ? accept4(socket, nullptr, nullptr, SOCK_CLOEXEC) : -1); }
  // What comes next; waits likewise.
  char word() const {
    char letter = 0;
    return comes() && recv(socket, &letter, 1, 0) == 1 ? letter : '\0';
  }
  void say(char letter) const { EXPECT_EQ(send(socket, &letter, 1, MSG_NOSIGNAL), 1); }
  // Whether the other side has closed it.
  bool ended() const {
    char letter = 0;
    return recv(socket, &letter, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET;
  }

  bool connected = false;
  int socket;

 private:
  bool comes() const {
    pollfd input{socket, POLLIN, 0};
    return poll(&input, 1, 30000) == 1;
  }
  int with(const QByteArray& name, int (*call)(int, const sockaddr*, socklen_t)) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.constData(), static_cast<std::size_t>(name.size()));
    const auto size = offsetof(sockaddr_un, sun_path) + 1 + static_cast<std::size_t>(name.size());
    return call(socket, reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(size));
  }
};

TEST(SecondLaunch, isToldToTheFirst) {
  testing_loop::ensureApplication();
  const QByteArray name = uniqueName();
  int again = 0;
  SecondLaunch first;
  ASSERT_EQ(first.claim(name, [&] { ++again; }), SecondLaunch::Outcome::first);
  for (int i = 1; i <= 3; ++i) {
    std::atomic<int> outcome = -1;
    std::thread other([&] {
      SecondLaunch second;
      outcome = static_cast<int>(second.claim(name, [] {}));
    });
    EXPECT_TRUE(testing_loop::waitFor([&] { return again == i && outcome >= 0; }));
    other.join();
    EXPECT_EQ(outcome, static_cast<int>(SecondLaunch::Outcome::toldOther));
  }
}

TEST(SecondLaunch, freesTheNameWithItsHolder) {
  testing_loop::ensureApplication();
  const QByteArray name = uniqueName();
  {
    SecondLaunch first;
    ASSERT_EQ(first.claim(name, [] {}), SecondLaunch::Outcome::first);
  }
  bool again = false;
  SecondLaunch next;
  ASSERT_EQ(next.claim(name, [&] { again = true; }), SecondLaunch::Outcome::first);
  std::thread other([&] {
    SecondLaunch second;
    EXPECT_EQ(second.claim(name, [] {}), SecondLaunch::Outcome::toldOther);
  });
  EXPECT_TRUE(testing_loop::waitFor([&] { return again; }));
  other.join();
}

TEST(SecondLaunch, leavesItsWordToAHolderThatSleeps) {
  testing_loop::ensureApplication();
  const QByteArray name = uniqueName();
  int again = 0;
  SecondLaunch stuck;  // Its event loop does not run.
  ASSERT_EQ(stuck.claim(name, [&] { ++again; }), SecondLaunch::Outcome::first);
  SecondLaunch second;
  EXPECT_EQ(second.claim(
                name, [] {}, 300ms),
            SecondLaunch::Outcome::toldOther);
  EXPECT_EQ(again, 0);
  EXPECT_TRUE(testing_loop::waitFor([&] { return again == 1; }));
}

TEST(SecondLaunch, doesNotRunBesideAHolderWhoseQueueIsFull) {
  testing_loop::ensureApplication();
  const QByteArray name = uniqueName();
  SecondLaunch stuck;
  ASSERT_EQ(stuck.claim(name, [] {}), SecondLaunch::Outcome::first);
  std::vector<Line> waiting;
  do {
    waiting.emplace_back(Line::to(name));
    ASSERT_LT(waiting.size(), 100U);
  } while (waiting.back().connected);
  ASSERT_GT(waiting.size(), 1U);
  SecondLaunch second;
  EXPECT_EQ(second.claim(
                name, [] {}, 300ms),
            SecondLaunch::Outcome::toldOther);
}

TEST(SecondLaunch, takesTheNameOfAHolderThatEndsWithTheWordUnanswered) {
  testing_loop::ensureApplication();
  const QByteArray name = uniqueName();
  auto holder = std::make_optional<Line>(Line::listeningAs(name));
  std::thread ending([&holder] {
    const Line caller = holder->accepted();
    EXPECT_EQ(caller.word(), 'a');
    holder.reset();
  });
  SecondLaunch second;
  EXPECT_EQ(second.claim(
                name, [] {}, 60s),
            SecondLaunch::Outcome::first);
  ending.join();
  EXPECT_TRUE(Line::to(name).connected);  // It has the name, and did not only give up.
}

TEST(SecondLaunch, saysItAgainToAHolderThatHungUp) {
  testing_loop::ensureApplication();
  const QByteArray name = uniqueName();
  const Line holder = Line::listeningAs(name);
  std::atomic<int> outcome = -1;
  std::thread other([&] {
    SecondLaunch second;
    outcome = static_cast<int>(second.claim(
        name, [] {}, 60s));
  });
  static_cast<void>(holder.accepted());
  const Line caller = holder.accepted();
  EXPECT_EQ(caller.word(), 'a');
  caller.say('t');
  other.join();
  EXPECT_EQ(outcome, static_cast<int>(SecondLaunch::Outcome::toldOther));
}

TEST(SecondLaunch, runsBesideAHolderThatNeverListens) {
  const QByteArray name = uniqueName();
  const Line holder = Line::boundTo(name);
  SecondLaunch second;
  EXPECT_EQ(second.claim(
                name, [] {}, 300ms),
            SecondLaunch::Outcome::first);
}

TEST(SecondLaunch, waitsSecondsForABusyHolder) {
  testing_loop::ensureApplication();
  const QByteArray name = uniqueName();
  int again = 0;
  SecondLaunch first;
  ASSERT_EQ(first.claim(name, [&] { ++again; }), SecondLaunch::Outcome::first);
  std::atomic<int> outcome = -1;
  std::thread other([&] {
    SecondLaunch second;
    outcome = static_cast<int>(second.claim(name, [] {}));
  });
  // The holder is busy with something else.
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_EQ(outcome, -1);
  EXPECT_TRUE(testing_loop::waitFor([&] { return outcome >= 0; }));
  other.join();
  EXPECT_EQ(outcome, static_cast<int>(SecondLaunch::Outcome::toldOther));
  EXPECT_EQ(again, 1);
}

TEST(SecondLaunch, ignoresCallersThatSayNothingOrSomethingElse) {
  testing_loop::ensureApplication();
  const QByteArray name = uniqueName();
  int again = 0;
  SecondLaunch first;
  ASSERT_EQ(first.claim(name, [&] { ++again; }), SecondLaunch::Outcome::first);
  for (const char* word : {"", "x"}) {
    const Line line = Line::to(name);
    ASSERT_TRUE(line.connected);
    for (const char* letter = word; *letter; ++letter) line.say(*letter);
    ASSERT_TRUE(testing_loop::waitFor([&] { return line.ended(); }));
  }
  EXPECT_EQ(again, 0);
}

TEST(LaunchName, tellsRoomsServersAndDesktopsApart) {
  const Environment here([](const char*) { return std::optional<QString>(u":1"_s); });
  const Environment there([](const char*) { return std::optional<QString>(u":2"_s); });
  const QByteArray name = launchName(here, u"r"_s, u"ws://h"_s);
  EXPECT_EQ(name, launchName(here, u"r"_s, u"ws://h"_s));
  EXPECT_NE(name, launchName(there, u"r"_s, u"ws://h"_s));
  EXPECT_NE(name, launchName(here, u"s"_s, u"ws://h"_s));
  EXPECT_NE(name, launchName(here, u"r"_s, u"ws://i"_s));
}

}  // namespace
}  // namespace vantora
