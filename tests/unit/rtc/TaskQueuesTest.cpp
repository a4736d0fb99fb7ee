#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <memory>
#include <semaphore>
#include <thread>
#include <utility>
#include <vector>

#include "main/rtc/TaskQueues.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using Task = absl::AnyInvocable<void() &&>;

// Runs its tasks when the test says so.
class ManualQueue final : public webrtc::TaskQueueBase {
 public:
  explicit ManualQueue(bool& deleted) : deleted_(deleted) {}

  void Delete() override {
    deleted_ = true;
    delete this;
  }
  void PostTask(Task task) override { tasks.push_back(std::move(task)); }
  void PostDelayedTask(Task task, webrtc::TimeDelta delay) override {
    delays.push_back(delay);
    PostTask(std::move(task));
  }
  void PostDelayedHighPrecisionTask(Task task, webrtc::TimeDelta) override { PostTask(std::move(task)); }

  void runNext() {
    Task task = std::move(tasks.front());
    tasks.pop_front();
    std::move(task)();
  }

  std::deque<Task> tasks;
  std::vector<webrtc::TimeDelta> delays;

 private:
  bool& deleted_;
};

class BatchedTaskQueue : public testing::Test {
 protected:
  auto note(int number) {
    return [this, number] {
      EXPECT_TRUE(queue_->IsCurrent());
      ran_.push_back(number);
    };
  }

  bool innerDeleted_ = false;
  ManualQueue* inner_ = new ManualQueue(innerDeleted_);
  std::unique_ptr<webrtc::TaskQueueBase, webrtc::TaskQueueDeleter> queue_ =
      makeBatchedTaskQueue(std::unique_ptr<webrtc::TaskQueueBase, webrtc::TaskQueueDeleter>(inner_));
  std::vector<int> ran_;
};

TEST_F(BatchedTaskQueue, runsAllThatWaitsInOneTaskAndInOrder) {
  queue_->PostTask(note(1));
  queue_->PostTask(note(2));
  queue_->PostTask(note(3));
  ASSERT_EQ(inner_->tasks.size(), 1);
  inner_->runNext();
  EXPECT_EQ(ran_, (std::vector{1, 2, 3}));
  EXPECT_EQ(webrtc::TaskQueueBase::Current(), nullptr);
}

TEST_F(BatchedTaskQueue, runsATaskThatATaskPostsInTheNextBatch) {
  queue_->PostTask([this] { queue_->PostTask(note(2)); });
  inner_->runNext();
  EXPECT_TRUE(ran_.empty());
  ASSERT_EQ(inner_->tasks.size(), 1);
  inner_->runNext();
  EXPECT_EQ(ran_, std::vector{2});
}

TEST_F(BatchedTaskQueue, beginsABatchOnlyWhenTheTimeOfTheLastOneIsOver) {
  std::vector<std::chrono::steady_clock::time_point> begun;
  for (int batch = 0; batch < 3; ++batch) {
    queue_->PostTask([&begun] { begun.push_back(std::chrono::steady_clock::now()); });
    inner_->runNext();
  }
  ASSERT_EQ(begun.size(), 3);
  // From the start of one batch to that of the one after the next.
  EXPECT_GE(begun[2] - begun[0], kTaskBatch);
}

TEST_F(BatchedTaskQueue, runsDelayedTasksAsItsOwn) {
  queue_->PostDelayedTask(note(1), webrtc::TimeDelta::Millis(1));
  queue_->PostDelayedHighPrecisionTask(note(2), webrtc::TimeDelta::Millis(1));
  ASSERT_EQ(inner_->tasks.size(), 2);
  inner_->runNext();
  inner_->runNext();
  EXPECT_EQ(ran_, (std::vector{1, 2}));
}

TEST_F(BatchedTaskQueue, runsDelayedTasksTogetherWhileItIsQuiet) {
  const auto post = [this](int delayMs) {
    queue_->PostDelayedTask([] {}, webrtc::TimeDelta::Millis(delayMs));
    return std::chrono::microseconds(inner_->delays.back().us());
  };
  // In use until the opposite has been seen.
  EXPECT_EQ(post(25), 25ms);
  std::this_thread::sleep_for(kQuietAfter);
  for (const int delayMs : {0, 25, 60, 100}) {
    const auto before = std::chrono::steady_clock::now().time_since_epoch();
    const auto delay = post(delayMs);
    const auto after = std::chrono::steady_clock::now().time_since_epoch();
    EXPECT_GE(delay, std::chrono::milliseconds(delayMs));
    EXPECT_LT(delay, std::chrono::milliseconds(delayMs) + kQuietTick);
    // At some moment of the call the delay reached up to a tick.
    EXPECT_GE((after + delay) / kQuietTick * kQuietTick, before + delay - 1us);
  }
  // At once, when more is sent.
  for (int task = 0; task <= kQuietTasks; ++task) queue_->PostTask([] {});
  EXPECT_EQ(post(25), 25ms);
  EXPECT_EQ(post(0), 0ms);
}

TEST_F(BatchedTaskQueue, dropsWhatWaitsWhenItIsDeleted) {
  const auto held = std::make_shared<int>();
  queue_->PostTask([this, held] { ran_.push_back(1); });
  EXPECT_EQ(held.use_count(), 2);
  queue_.reset();
  EXPECT_TRUE(innerDeleted_);
  EXPECT_TRUE(ran_.empty());
  EXPECT_EQ(held.use_count(), 1);
}

TEST(TaskQueues, batchTheOneOfTheCongestionControl) {
  const auto queue =
      makeTaskQueues()->CreateTaskQueue("rtp_send_controller", webrtc::TaskQueueFactory::Priority::NORMAL);
  std::vector<std::chrono::steady_clock::time_point> begun;
  for (int batch = 0; batch < 4; ++batch) {
    std::binary_semaphore ran(0);
    queue->PostTask([&] {
      begun.push_back(std::chrono::steady_clock::now());
      ran.release();
    });
    ran.acquire();
  }
  EXPECT_GE(begun.back() - begun.front(), 2 * kTaskBatch);
}

}  // namespace
}  // namespace vantora
