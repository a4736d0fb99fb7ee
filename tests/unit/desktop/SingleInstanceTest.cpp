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

#include "main/desktop/SingleInstance.h"
#include "tests/fakes/EventLoop.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

QByteArray uniqueName() {
  static int counter = 0;
  return "vantora-test-" + QByteArray::number(getpid()) + "-" + QByteArray::number(++counter);
}

// A socket with the name of a launch, or a connection to one.
struct TestSocket {
  TestSocket() : socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  explicit TestSocket(int descriptor) : socket(descriptor) {}
  ~TestSocket() {
    if (socket >= 0) close(socket);
  }
  TestSocket(TestSocket&& other) noexcept : connected(other.connected), socket(std::exchange(other.socket, -1)) {}
  TestSocket& operator=(TestSocket&&) = delete;

  static TestSocket to(const QByteArray& name) {
    TestSocket connection;
    fcntl(connection.socket, F_SETFL, O_NONBLOCK);
    connection.connected = connection.with(name, ::connect) == 0;
    fcntl(connection.socket, F_SETFL, 0);
    return connection;
  }
  static TestSocket boundTo(const QByteArray& name) {
    TestSocket connection;
    EXPECT_EQ(connection.with(name, ::bind), 0);
    return connection;
  }
  static TestSocket listeningAs(const QByteArray& name) {
    TestSocket connection = boundTo(name);
    EXPECT_EQ(listen(connection.socket, 8), 0);
    return connection;
  }

  // The next caller; waits for at most 30 seconds.
  TestSocket accepted() const { return TestSocket(readable() ? accept4(socket, nullptr, nullptr, SOCK_CLOEXEC) : -1); }
  // The next byte; waits likewise.
  char readByte() const {
    char byte = 0;
    return readable() && recv(socket, &byte, 1, 0) == 1 ? byte : '\0';
  }
  void sendByte(char byte) const { EXPECT_EQ(send(socket, &byte, 1, MSG_NOSIGNAL), 1); }
  // Whether the other side has closed the connection.
  bool ended() const {
    char byte = 0;
    return recv(socket, &byte, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET;
  }

  bool connected = false;
  int socket;

 private:
  bool readable() const {
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

TEST(SingleInstance, isReportedToTheFirstLaunch) {
  testloop::ensureApplication();
  const QByteArray name = uniqueName();
  int again = 0;
  SingleInstance first;
  ASSERT_EQ(first.acquire(name, [&] { ++again; }), SingleInstance::Outcome::firstLaunch);
  for (int i = 1; i <= 3; ++i) {
    std::atomic<int> outcome = -1;
    std::thread other([&] {
      SingleInstance second;
      outcome = static_cast<int>(second.acquire(name, [] {}));
    });
    EXPECT_TRUE(testloop::waitFor([&] { return again == i && outcome >= 0; }));
    other.join();
    EXPECT_EQ(outcome, static_cast<int>(SingleInstance::Outcome::notifiedRunning));
  }
}

TEST(SingleInstance, freesTheNameWithItsHolder) {
  testloop::ensureApplication();
  const QByteArray name = uniqueName();
  {
    SingleInstance first;
    ASSERT_EQ(first.acquire(name, [] {}), SingleInstance::Outcome::firstLaunch);
  }
  bool again = false;
  SingleInstance next;
  ASSERT_EQ(next.acquire(name, [&] { again = true; }), SingleInstance::Outcome::firstLaunch);
  std::thread other([&] {
    SingleInstance second;
    EXPECT_EQ(second.acquire(name, [] {}), SingleInstance::Outcome::notifiedRunning);
  });
  EXPECT_TRUE(testloop::waitFor([&] { return again; }));
  other.join();
}

TEST(SingleInstance, leavesItsRequestToAHolderThatIsStopped) {
  testloop::ensureApplication();
  const QByteArray name = uniqueName();
  int again = 0;
  SingleInstance stuck;  // Its event loop does not run.
  ASSERT_EQ(stuck.acquire(name, [&] { ++again; }), SingleInstance::Outcome::firstLaunch);
  SingleInstance second;
  EXPECT_EQ(second.acquire(
                name, [] {}, 300ms),
            SingleInstance::Outcome::notifiedRunning);
  EXPECT_EQ(again, 0);
  EXPECT_TRUE(testloop::waitFor([&] { return again == 1; }));
}

TEST(SingleInstance, doesNotRunBesideAHolderWhoseQueueIsFull) {
  testloop::ensureApplication();
  const QByteArray name = uniqueName();
  SingleInstance stuck;
  ASSERT_EQ(stuck.acquire(name, [] {}), SingleInstance::Outcome::firstLaunch);
  std::vector<TestSocket> waiting;
  do {
    waiting.emplace_back(TestSocket::to(name));
    ASSERT_LT(waiting.size(), 100U);
  } while (waiting.back().connected);
  ASSERT_GT(waiting.size(), 1U);
  SingleInstance second;
  EXPECT_EQ(second.acquire(
                name, [] {}, 300ms),
            SingleInstance::Outcome::notifiedRunning);
}

TEST(SingleInstance, takesTheNameOfAHolderThatEndsWithoutAReply) {
  testloop::ensureApplication();
  const QByteArray name = uniqueName();
  auto holder = std::make_optional<TestSocket>(TestSocket::listeningAs(name));
  std::thread ending([&holder] {
    const TestSocket caller = holder->accepted();
    EXPECT_EQ(caller.readByte(), 'a');
    holder.reset();
  });
  SingleInstance second;
  EXPECT_EQ(second.acquire(
                name, [] {}, 60s),
            SingleInstance::Outcome::firstLaunch);
  ending.join();
  EXPECT_TRUE(TestSocket::to(name).connected);  // It has the name, and acquire() did not just time out.
}

TEST(SingleInstance, repeatsTheRequestToAHolderThatDisconnected) {
  testloop::ensureApplication();
  const QByteArray name = uniqueName();
  const TestSocket holder = TestSocket::listeningAs(name);
  std::atomic<int> outcome = -1;
  std::thread other([&] {
    SingleInstance second;
    outcome = static_cast<int>(second.acquire(
        name, [] {}, 60s));
  });
  static_cast<void>(holder.accepted());
  const TestSocket caller = holder.accepted();
  EXPECT_EQ(caller.readByte(), 'a');
  caller.sendByte('t');
  other.join();
  EXPECT_EQ(outcome, static_cast<int>(SingleInstance::Outcome::notifiedRunning));
}

TEST(SingleInstance, runsBesideAHolderThatNeverListens) {
  const QByteArray name = uniqueName();
  const TestSocket holder = TestSocket::boundTo(name);
  SingleInstance second;
  EXPECT_EQ(second.acquire(
                name, [] {}, 300ms),
            SingleInstance::Outcome::firstLaunch);
}

TEST(SingleInstance, waitsSecondsForABusyHolder) {
  testloop::ensureApplication();
  const QByteArray name = uniqueName();
  int again = 0;
  SingleInstance first;
  ASSERT_EQ(first.acquire(name, [&] { ++again; }), SingleInstance::Outcome::firstLaunch);
  std::atomic<int> outcome = -1;
  std::thread other([&] {
    SingleInstance second;
    outcome = static_cast<int>(second.acquire(name, [] {}));
  });
  // The holder is busy with something else.
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_EQ(outcome, -1);
  EXPECT_TRUE(testloop::waitFor([&] { return outcome >= 0; }));
  other.join();
  EXPECT_EQ(outcome, static_cast<int>(SingleInstance::Outcome::notifiedRunning));
  EXPECT_EQ(again, 1);
}

TEST(SingleInstance, ignoresCallersThatSendNothingOrSomethingElse) {
  testloop::ensureApplication();
  const QByteArray name = uniqueName();
  int again = 0;
  SingleInstance first;
  ASSERT_EQ(first.acquire(name, [&] { ++again; }), SingleInstance::Outcome::firstLaunch);
  for (const char* request : {"", "x"}) {
    const TestSocket connection = TestSocket::to(name);
    ASSERT_TRUE(connection.connected);
    for (const char* byte = request; *byte; ++byte) connection.sendByte(*byte);
    ASSERT_TRUE(testloop::waitFor([&] { return connection.ended(); }));
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
