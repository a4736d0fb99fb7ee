#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "main/control/files/FileQueue.h"
#include "tests/fakes/Timeout.h"

using namespace std::chrono_literals;

namespace vantora {
namespace {

// Keeps the queue's thread busy until released.
class Plug {
 public:
  explicit Plug(FileQueue& queue) {
    queue.postAlways([started = started_, release = release_.get_future().share()] {
      started->set_value();
      release.wait();
    });
    started_->get_future().wait();
  }
  ~Plug() { release(); }
  void release() {
    if (!released_) release_.set_value();
    released_ = true;
  }

 private:
  std::shared_ptr<std::promise<void>> started_ = std::make_shared<std::promise<void>>();
  std::promise<void> release_;
  bool released_ = false;
};

void finish(FileQueue& queue) {
  std::promise<void> done;
  queue.postAlways([&] { done.set_value(); });
  ASSERT_EQ(done.get_future().wait_for(30s), std::future_status::ready);
}

TEST(FileQueueTest, runsTasksInTheirOrderOnAThreadOfItsOwn) {
  FileQueue queue(1000);
  std::vector<int> order;
  std::thread::id thread;
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(queue.post(1, [&, i] {
      order.push_back(i);
      thread = std::this_thread::get_id();
    }));
  }
  finish(queue);
  ASSERT_EQ(order.size(), 100U);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<size_t>(i)], i);
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(FileQueueTest, namesItsThread) {
  FileQueue queue(1000);
  std::string name(16, '\0');
  queue.postAlways([&] { pthread_getname_np(pthread_self(), name.data(), name.size()); });
  finish(queue);
  name.resize(name.find('\0'));
  EXPECT_EQ(std::string("vantora.filetransfer").find(name), 0U) << name;
}

TEST(FileQueueTest, takesNoMoreThanItsLimit) {
  FileQueue queue(10);
  Plug plug(queue);
  EXPECT_TRUE(queue.post(6, [] {}));
  EXPECT_TRUE(queue.post(4, [] {}));
  bool ran = false;
  EXPECT_FALSE(queue.post(1, [&] { ran = true; }));
  plug.release();
  finish(queue);
  EXPECT_FALSE(ran);
  EXPECT_TRUE(queue.post(10, [] {}));
  EXPECT_FALSE(queue.post(11, [] {}));
}

TEST(FileQueueTest, countsTheTaskAtHandUntilItIsDone) {
  FileQueue queue(10);
  std::promise<void> started;
  std::promise<void> release;
  ASSERT_TRUE(queue.post(10, [&] {
    started.set_value();
    release.get_future().wait();
  }));
  started.get_future().wait();
  EXPECT_FALSE(queue.post(1, [] {}));
  release.set_value();
  finish(queue);
  EXPECT_TRUE(queue.post(1, [] {}));
}

TEST(FileQueueTest, dropsWhatHasNotBegunWhenItEnds) {
  bool ran = false;
  bool dropped = false;
  {
    FileQueue queue(10);
    auto held = std::make_shared<int>();
    std::promise<void> begun;
    std::promise<void> queued;
    queue.postAlways([&begun, &dropped, weak = std::weak_ptr(held), ready = queued.get_future().share()] {
      begun.set_value();
      ready.wait();
      // What the next task holds is released once the queue's destructor has begun.
      testloop::Timeout timeout;
      while (!weak.expired() && !timeout.isOver()) std::this_thread::yield();
      dropped = weak.expired();
    });
    begun.get_future().wait();
    queue.postAlways([&ran, held] { ran = true; });
    held.reset();
    queued.set_value();
  }
  EXPECT_TRUE(dropped);
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace vantora
