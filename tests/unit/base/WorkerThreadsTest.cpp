#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "base/WorkerThreads.h"
#include "base/process/AbandonableThread.h"
#include "tests/fakes/EventLoop.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

JsonObject numbered(int number) { return {{u"n"_s, number}}; }

// Blocks a worker until it is opened or asked to stop.
class Gate {
 public:
  WorkerThreads::Work work(int number) {
    return [this, number](const std::stop_token& stop) {
      ++running;
      while (!open && !stop.stop_requested()) std::this_thread::yield();
      if (stop.stop_requested()) ++stopped;
      --running;
      return numbered(number);
    };
  }
  std::atomic<bool> open = false;
  std::atomic<int> running = 0;
  std::atomic<int> stopped = 0;
};

class WorkerThreadsTest : public testing::Test {
 protected:
  WorkerThreadsTest() { testloop::ensureApplication(); }
  ~WorkerThreadsTest() override { testloop::drain(); }
  TaskDone keep() {
    return [this](const JsonObject& result) {
      EXPECT_EQ(std::this_thread::get_id(), main_);
      results_.append(result.value(u"n"_s).toInt());
    };
  }

  const std::thread::id main_ = std::this_thread::get_id();
  QList<int> results_;
};

TEST_F(WorkerThreadsTest, worksOnAnotherThreadAndReportsToTheMainThread) {
  WorkerThreads threads("test", 1);
  std::thread::id worker;
  const auto task = threads.start(
      [&](const std::stop_token&) {
        worker = std::this_thread::get_id();
        return numbered(7);
      },
      keep());
  EXPECT_TRUE(results_.isEmpty());
  ASSERT_TRUE(testloop::waitFor([&] { return !results_.isEmpty(); }));
  EXPECT_EQ(results_, QList<int>{7});
  EXPECT_NE(worker, main_);
}

TEST_F(WorkerThreadsTest, keepsToItsNumberOfThreadsAndToTheOrder) {
  WorkerThreads threads("test", 2);
  Gate gate;
  std::vector<std::unique_ptr<BackgroundTask>> tasks;
  tasks.reserve(5);
  for (int i = 0; i < 5; ++i) tasks.push_back(threads.start(gate.work(i), keep()));
  ASSERT_TRUE(testloop::waitFor([&] { return gate.running == 2; }));
  EXPECT_TRUE(results_.isEmpty());
  gate.open = true;
  ASSERT_TRUE(testloop::waitFor([&] { return results_.size() == 5; }));
  std::ranges::sort(results_);
  EXPECT_EQ(results_, (QList<int>{0, 1, 2, 3, 4}));
}

TEST_F(WorkerThreadsTest, oneThreadTakesWorkInItsOrder) {
  WorkerThreads threads("test", 1);
  std::vector<std::unique_ptr<BackgroundTask>> tasks;
  tasks.reserve(50);
  for (int i = 0; i < 50; ++i) {
    tasks.push_back(threads.start([i](const std::stop_token&) { return numbered(i); }, keep()));
  }
  ASSERT_TRUE(testloop::waitFor([&] { return results_.size() == 50; }));
  EXPECT_TRUE(std::ranges::is_sorted(results_));
}

TEST_F(WorkerThreadsTest, aCancelledTaskIsStoppedAndReportsNothing) {
  WorkerThreads threads("test", 1);
  Gate gate;
  auto running = threads.start(gate.work(1), keep());
  auto waiting = threads.start(gate.work(2), keep());
  ASSERT_TRUE(testloop::waitFor([&] { return gate.running == 1; }));
  waiting.reset();
  running.reset();
  ASSERT_TRUE(testloop::waitFor([&] { return gate.stopped == 1 && gate.running == 0; }));
  const auto last = threads.start([](const std::stop_token&) { return numbered(3); }, keep());
  ASSERT_TRUE(testloop::waitFor([&] { return !results_.isEmpty(); }));
  EXPECT_EQ(results_, QList<int>{3});
  EXPECT_EQ(gate.stopped, 1) << "what was still waiting never began";
}

TEST_F(WorkerThreadsTest, aTaskMayBeDestroyedByItsOwnResult) {
  WorkerThreads threads("test", 1);
  std::unique_ptr<BackgroundTask> task;
  bool done = false;
  task = threads.start([](const std::stop_token&) { return numbered(1); },
                       [&](const JsonObject&) {
                         task.reset();
                         done = true;
                       });
  EXPECT_TRUE(testloop::waitFor([&] { return done; }));
}

TEST_F(WorkerThreadsTest, aResultOnItsWayIsDroppedWithItsTask) {
  WorkerThreads threads("test", 1);
  std::atomic<bool> worked = false;
  auto task = threads.start(
      [&](const std::stop_token&) {
        worked = true;
        return numbered(1);
      },
      keep());
  while (!worked) std::this_thread::yield();
  task.reset();
  const auto last = threads.start([](const std::stop_token&) { return numbered(2); }, keep());
  ASSERT_TRUE(testloop::waitFor([&] { return !results_.isEmpty(); }));
  EXPECT_EQ(results_, QList<int>{2});
}

TEST_F(WorkerThreadsTest, endsWithWorkUnderWayAndTasksMayOutliveIt) {
  Gate gate;
  std::unique_ptr<BackgroundTask> running;
  std::unique_ptr<BackgroundTask> waiting;
  {
    WorkerThreads threads("test", 1);
    running = threads.start(gate.work(1), keep());
    waiting = threads.start(gate.work(2), keep());
    ASSERT_TRUE(testloop::waitFor([&] { return gate.running == 1; }));
  }
  EXPECT_EQ(gate.running, 0);
  EXPECT_EQ(gate.stopped, 1);
  running.reset();
  waiting.reset();
  testloop::drain();
  EXPECT_TRUE(results_.isEmpty());
}

TEST_F(WorkerThreadsTest, leavesWorkBehindThatIgnoresItsStopAndWhatThatTouchesLivesOn) {
  struct Stuck {
    std::atomic<bool> running = false;
    std::atomic<bool> open = false;
    std::atomic<bool> toldToStop = false;
  };
  auto stuck = std::make_shared<Stuck>();
  const std::weak_ptr<Stuck> alive = stuck;
  auto kept = std::make_shared<int>(1);
  const std::weak_ptr<int> keptByResult = kept;
  std::unique_ptr<BackgroundTask> running;
  std::unique_ptr<BackgroundTask> waiting;
  const auto start = std::chrono::steady_clock::now();
  {
    WorkerThreads threads("test", 1);
    running = threads.start(
        [stuck](const std::stop_token& stop) {
          stuck->running = true;
          while (!stuck->open) std::this_thread::yield();
          stuck->toldToStop = stop.stop_requested();
          return numbered(1);
        },
        [kept = std::move(kept), keep = keep()](const JsonObject& result) { keep(result); });
    waiting = threads.start([](const std::stop_token&) { return numbered(2); }, keep());
    ASSERT_TRUE(testloop::waitFor([&] { return stuck->running.load(); }));
  }
  EXPECT_GE(std::chrono::steady_clock::now() - start, WorkerThreads::kTimeout);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30)) << "the end came all the same";
  EXPECT_EQ(AbandonableThread::abandonedCount(), 1);
  EXPECT_TRUE(AbandonableThread::wasAnyAbandoned());
  EXPECT_TRUE(keptByResult.expired()) << "what the result was for is let go of on the main thread";
  running.reset();
  waiting.reset();

  stuck->open = true;
  Stuck* const last = stuck.get();
  ASSERT_TRUE(testloop::waitFor([&] { return AbandonableThread::abandonedCount() == 0; }));
  EXPECT_TRUE(last->toldToStop);
  stuck.reset();
  EXPECT_TRUE(alive.expired()) << "the thread let go of it";
  testloop::drain();
  EXPECT_TRUE(results_.isEmpty());
}

TEST_F(WorkerThreadsTest, aNewSetOfThreadsWorksBesideOneLeftBehind) {
  const auto begun = std::make_shared<std::atomic<bool>>(false);
  const auto open = std::make_shared<std::atomic<bool>>(false);
  std::unique_ptr<BackgroundTask> running;
  {
    WorkerThreads threads("test", 1);
    running = threads.start(
        [begun, open](const std::stop_token&) {
          *begun = true;
          while (!*open) std::this_thread::yield();
          return numbered(1);
        },
        keep());
    ASSERT_TRUE(testloop::waitFor([&] { return begun->load(); }));
  }
  ASSERT_EQ(AbandonableThread::abandonedCount(), 1);
  WorkerThreads threads("test", 1);
  const auto task = threads.start([](const std::stop_token&) { return numbered(2); }, keep());
  EXPECT_TRUE(testloop::waitFor([&] { return !results_.isEmpty(); }));
  *open = true;
  EXPECT_TRUE(testloop::waitFor([&] { return AbandonableThread::abandonedCount() == 0; }));
  testloop::drain();
  EXPECT_EQ(results_, QList<int>{2});
}

}  // namespace
}  // namespace vantora
