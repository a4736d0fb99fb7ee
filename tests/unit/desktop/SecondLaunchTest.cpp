#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "main/desktop/SecondLaunch.h"
#include "tests/fakes/EventLoop.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

QByteArray uniqueName() {
  static int counter = 0;
  return "vantora-test-" + QByteArray::number(getpid()) + "-" + QByteArray::number(++counter);
}

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

TEST(SecondLaunch, runsBesideAHolderThatDoesNotAnswer) {
  testing_loop::ensureApplication();
  const QByteArray name = uniqueName();
  SecondLaunch stuck;  // Nobody runs its event loop.
  ASSERT_EQ(stuck.claim(name, [] {}), SecondLaunch::Outcome::first);
  SecondLaunch second;
  EXPECT_EQ(second.claim(name, [] {}), SecondLaunch::Outcome::first);
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
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path + 1, name.constData(), static_cast<std::size_t>(name.size()));
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + static_cast<std::size_t>(name.size()));
  for (const char* word : {"", "x"}) {
    const int line = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(connect(line, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(send(line, word, std::strlen(word), 0), static_cast<ssize_t>(std::strlen(word)));
    char reply = 0;
    bool ended = false;
    ASSERT_TRUE(testing_loop::waitFor([&] {
      ended = ended || recv(line, &reply, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET;
      return ended;
    }));
    close(line);
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
