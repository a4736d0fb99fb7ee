#include "base/process/AbandonableThread.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace vantora {
namespace {

std::atomic<int> abandonedNow = 0;
std::atomic<bool> everAbandoned = false;

}  // namespace

struct AbandonableThread::State {
  std::mutex mutex;
  std::condition_variable ended;
  bool over = false;
  bool abandoned = false;
};

AbandonableThread::AbandonableThread(std::function<void()> work)
    : state_(std::make_shared<State>()), thread_([state = state_, work = std::move(work)]() mutable {
        work();
        work = nullptr;
        const std::lock_guard lock(state->mutex);
        state->over = true;
        if (state->abandoned) --abandonedNow;
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
      state_->abandoned = true;
      everAbandoned = true;
      ++abandonedNow;
      thread_.detach();
      return false;
    }
  }
  // The thread is past its work and ends without blocking.
  thread_.join();
  return true;
}

int AbandonableThread::abandonedCount() { return abandonedNow; }

bool AbandonableThread::wasAnyAbandoned() { return everAbandoned; }

}  // namespace vantora
