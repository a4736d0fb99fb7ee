#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "base/MainThread.h"
#include "base/ThreadAffinity.h"
#include "tests/fakes/EventLoop.h"

namespace vantora {
namespace {

TEST(PostToMain, runsTasksOnTheMainThreadInTheirOrder) {
  testloop::ensureApplication();
  std::vector<int> order;
  std::thread::id ranOn;
  std::thread worker([&] {
    for (int i = 0; i < 100; ++i) {
      postToMain([&, i] {
        order.push_back(i);
        ranOn = std::this_thread::get_id();
      });
    }
  });
  worker.join();
  EXPECT_TRUE(order.empty());
  ASSERT_TRUE(testloop::waitFor([&] { return order.size() == 100; }));
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

// The main thread runs tasks while more are posted, so that only the queue synchronises the two threads; meant for the
// thread sanitizer, too.
TEST(PostToMain, handsOverWhatATaskHolds) {
  testloop::ensureApplication();
  constexpr int kTasks = 5000;
  const std::thread::id main = std::this_thread::get_id();
  int done = 0;
  int wrong = 0;
  std::atomic<int> freedElsewhere = 0;
  std::thread worker([&] {
    for (int i = 0; i < kTasks; ++i) {
      std::shared_ptr<int> value(new int(i), [&freedElsewhere, main](const int* freed) {
        if (std::this_thread::get_id() != main) ++freedElsewhere;
        delete freed;
      });
      postToMain([&, value = std::move(value)] {
        if (*value != done++) ++wrong;
      });
    }
  });
  const bool all = testloop::waitFor([&] { return done == kTasks; });
  worker.join();
  EXPECT_TRUE(all);
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(freedElsewhere, 0);
}

TEST(PostToMain, returnsBeforeTheTaskRunsOnTheMainThreadToo) {
  testloop::ensureApplication();
  bool ran = false;
  postToMain([&] { ran = true; });
  EXPECT_FALSE(ran);
  EXPECT_TRUE(testloop::waitFor([&] { return ran; }));
}

TEST(ThreadAffinity, acceptsItsOwnThread) {
  const ThreadAffinity affinity;
  affinity.check("here");
  SUCCEED();
}

TEST(ThreadAffinityDeathTest, endsTheProcessOnAnotherThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const ThreadAffinity affinity;
  EXPECT_DEATH(std::thread([&] { affinity.check("Area::call"); }).join(),
               "fatal: Area::call called from the wrong thread");
}

}  // namespace
}  // namespace vantora
