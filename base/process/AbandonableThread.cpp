#include "base/process/AbandonableThread.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace vantora {
namespace {

std::atomic<int> leftNow = 0;
std::atomic<bool> leftEver = false;

}  // namespace

struct AbandonableThread::State {
  std::mutex mutex;
  std::condition_variable ended;
  bool over = false;
  bool left = false;
};

AbandonableThread::AbandonableThread(std::function<void()> work)
    : state_(std::make_shared<State>()), thread_([state = state_, work = std::move(work)]() mutable {
        work();
        work = nullptr;
        const std::lock_guard lock(state->mutex);
        state->over = true;
        if (state->left) --leftNow;
        state->ended.notify_all();
      }) {}

AbandonableThread::~AbandonableThread() {
  if (thread_.joinable()) (void)join(Clock::now());
}

bool AbandonableThread::join(Clock::time_point deadline) {
  if (!thread_.joinable()) return true;
  {
    std::unique_lock lock(state_->mutex);
    if (!state_->ended.wait_until(lock, deadline, [this] { return state_->over; })) {
      state_->left = true;
      leftEver = true;
      ++leftNow;
      thread_.detach();
      return false;
    }
  }
  // Only its last steps are left, which wait for nothing.
  thread_.join();
  return true;
}

int AbandonableThread::leftBehind() { return leftNow; }

bool AbandonableThread::wasAnyAbandoned() { return leftEver; }

}  // namespace vantora
