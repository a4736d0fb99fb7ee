#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "main/desktop/DesktopProcess.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/Places.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

class DesktopProcessTest : public testing::Test {
 protected:
  void SetUp() override { testloop::ensureApplication(); }

  void start(const QString& program = testplaces::program(u"desktop_double"_s)) {
    process_ = std::make_unique<DesktopProcess>(
        scheduler_, program,
        DesktopProcess::Events{.connected = [this] { ++connected_; },
                               .message = [this](const JsonObject& message) { received_.push_back(message); },
                               .disconnected = [this] { ++disconnected_; }});
    process_->start();
  }
  // The process id in the n-th "ready".
  pid_t readyPid(int nth) {
    int seen = 0;
    for (const JsonObject& message : received_) {
      if (message.value(u"type").toString() == u"ready"_s && ++seen == nth) return message.value(u"pid").toInt();
    }
    return 0;
  }
  bool waitForReady(int nth) {
    return testloop::waitFor([&] { return readyPid(nth) != 0; });
  }

  fakes::FakeScheduler scheduler_;
  int connected_ = 0;
  int disconnected_ = 0;
  std::vector<JsonObject> received_;
  std::unique_ptr<DesktopProcess> process_;
};

TEST_F(DesktopProcessTest, talksToTheProcessThatItStarted) {
  start();
  EXPECT_EQ(connected_, 1);
  process_->send({{u"type"_s, u"hello"_s}});
  ASSERT_TRUE(testloop::waitFor([&] { return received_.size() == 2; }));
  EXPECT_EQ(received_[1].value(u"of").toObject().value(u"type").toString(), u"hello"_s);
}

TEST_F(DesktopProcessTest, startsItWithoutTheBlockedSignalsOfTheSession) {
  sigset_t ours;
  sigemptyset(&ours);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ours, signal);
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &ours, &before);
  start();
  const bool ready = waitForReady(1);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ASSERT_TRUE(ready);
  EXPECT_FALSE(received_[0].value(u"signalsBlocked").toBool(true));
}

TEST_F(DesktopProcessTest, deliversWhatAProcessSentBeforeItEnded) {
  start();
  ASSERT_TRUE(waitForReady(1));
  process_->send({{u"type"_s, u"farewell"_s}});
  // The session is busy until the process has ended, so that it finds the message and the end at once.
  siginfo_t end{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(readyPid(1)), &end, WEXITED | WNOWAIT), 0);
  ASSERT_EQ(end.si_status, 0);
  ASSERT_TRUE(testloop::waitFor([&] { return disconnected_ == 1; }));
  ASSERT_EQ(received_.size(), 2u);
  EXPECT_EQ(received_[1].value(u"type").toString(), u"goodbye"_s);
}

TEST_F(DesktopProcessTest, startsItAgainAfterASecondThenLater) {
  start();
  ASSERT_TRUE(waitForReady(1));
  process_->send({{u"type"_s, u"die"_s}});
  ASSERT_TRUE(testloop::waitFor([&] { return disconnected_ == 1; }));
  scheduler_.advance(999ms);
  EXPECT_EQ(connected_, 1);
  scheduler_.advance(1ms);
  EXPECT_EQ(connected_, 2);
  ASSERT_TRUE(waitForReady(2));
  EXPECT_NE(readyPid(1), readyPid(2));

  process_->send({{u"type"_s, u"die"_s}});
  ASSERT_TRUE(testloop::waitFor([&] { return disconnected_ == 2; }));
  scheduler_.advance(1999ms);
  EXPECT_EQ(connected_, 2);
  scheduler_.advance(1ms);
  EXPECT_EQ(connected_, 3);
}

TEST_F(DesktopProcessTest, startsAProcessThatRanForLongAgainAfterASecond) {
  start();
  for (int i = 1; i <= 3; ++i) {
    ASSERT_TRUE(waitForReady(i));
    scheduler_.advance(61s);
    process_->send({{u"type"_s, u"die"_s}});
    ASSERT_TRUE(testloop::waitFor([&] { return disconnected_ == i; }));
    scheduler_.advance(1s);
    EXPECT_EQ(connected_, i + 1);
  }
}

TEST_F(DesktopProcessTest, waitsNoLongerThanHalfAMinuteBetweenStarts) {
  start(u"/nonexistent/program"_s);
  for (int i = 0; i < 8; ++i) {
    ASSERT_TRUE(testloop::waitFor([&] { return scheduler_.runningTimers() == 1; }));
    scheduler_.advance(30s);
  }
  EXPECT_GE(disconnected_ + connected_, 1);
  ASSERT_TRUE(testloop::waitFor([&] { return scheduler_.runningTimers() == 1; }));
}

TEST_F(DesktopProcessTest, replacesAProcessThatSendsMalformedData) {
  start();
  ASSERT_TRUE(waitForReady(1));
  process_->send({{u"type"_s, u"garbage"_s}});
  ASSERT_TRUE(testloop::waitFor([&] { return disconnected_ == 1; }));
  scheduler_.advance(1s);
  ASSERT_TRUE(waitForReady(2));
}

TEST_F(DesktopProcessTest, replacesAProcessThatNoLongerReads) {
  start();
  ASSERT_TRUE(waitForReady(1));
  process_->send({{u"type"_s, u"hang"_s}});
  const JsonObject large{{u"type"_s, u"x"_s}, {u"text"_s, QString(8'000'000, QChar(u'x'))}};
  for (int i = 0; i < 15; ++i) process_->send(large);
  ASSERT_TRUE(testloop::waitFor([&] { return disconnected_ == 1; }));
}

TEST_F(DesktopProcessTest, replacesAProcessThatAnswersNothing) {
  start();
  ASSERT_TRUE(waitForReady(1));
  process_->send({{u"type"_s, u"hang"_s}});
  scheduler_.advance(20s);
  testloop::drain();
  EXPECT_EQ(disconnected_, 0);
  scheduler_.advance(5s);
  ASSERT_TRUE(testloop::waitFor([&] { return disconnected_ == 1; }));
  scheduler_.advance(1s);
  ASSERT_TRUE(waitForReady(2));
}

TEST_F(DesktopProcessTest, keepsAProcessThatAnswers) {
  start();
  ASSERT_TRUE(waitForReady(1));
  for (int i = 0; i < 10; ++i) {
    scheduler_.advance(5s);
    // The echo after the ping shows that the pong has arrived.
    process_->send({{u"type"_s, u"hello"_s}});
    const auto echoes = static_cast<size_t>(i) + 2;
    ASSERT_TRUE(testloop::waitFor([&] { return received_.size() == echoes; }));
  }
  EXPECT_EQ(disconnected_, 0);
}

TEST_F(DesktopProcessTest, endsTheProcess) {
  start();
  ASSERT_TRUE(waitForReady(1));
  const pid_t pid = readyPid(1);
  process_.reset();
  EXPECT_NE(kill(pid, 0), 0);
}

TEST_F(DesktopProcessTest, endsAHangingProcess) {
  start();
  ASSERT_TRUE(waitForReady(1));
  process_->send({{u"type"_s, u"hang"_s}});
  testloop::drain();
  const pid_t pid = readyPid(1);
  process_.reset();
  EXPECT_NE(kill(pid, 0), 0);
}

TEST_F(DesktopProcessTest, keepsOtherSocketsToItself) {
  std::vector<int> sockets;
  sockets.reserve(20);
  for (int i = 0; i < 20; ++i) sockets.push_back(socket(AF_UNIX, SOCK_STREAM, 0));
  start();
  ASSERT_TRUE(waitForReady(1));
  EXPECT_LT(received_[0].value(u"descriptors").toInt(), 20);
  for (const int descriptor : sockets) close(descriptor);
}

}  // namespace
}  // namespace vantora
