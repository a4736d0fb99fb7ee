// Clock and timers that only the test advances.
#pragma once

#include <algorithm>
#include <map>

#include "base/Scheduler.h"

namespace vantora::fakes {

class FakeScheduler final : public Scheduler {
 public:
  std::chrono::nanoseconds monotonicNow() const override { return now_; }
  std::chrono::nanoseconds unixNow() const override { return unixBase_ + now_; }

  std::unique_ptr<Timer> after(std::chrono::milliseconds delay, Callback callback) override {
    return add(delay, std::nullopt, std::move(callback));
  }
  std::unique_ptr<Timer> every(std::chrono::milliseconds first, std::chrono::milliseconds period,
                               Callback callback) override {
    return add(first, period, std::move(callback));
  }

  // Advances the time and runs every timer that becomes due, in order of its due time.
  void advance(std::chrono::milliseconds by) {
    const auto end = now_ + by;
    for (;;) {
      auto next = std::min_element(entries_->begin(), entries_->end(),
                                   [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
      if (next == entries_->end() || next->second.due > end) break;
      now_ = std::max(now_, next->second.due);
      const Callback callback = next->second.callback;
      if (next->second.period) {
        next->second.due += *next->second.period;
      } else {
        entries_->erase(next);
      }
      callback();
    }
    now_ = end;
  }
  std::size_t runningTimers() const { return entries_->size(); }
  void setUnixBase(std::chrono::nanoseconds base) { unixBase_ = base; }

 private:
  struct Entry {
    std::chrono::nanoseconds due;
    std::optional<std::chrono::nanoseconds> period;
    Callback callback;
  };
  using Entries = std::map<long, Entry>;
  class Handle final : public Timer {
   public:
    Handle(std::shared_ptr<Entries> entries, long id) : entries_(std::move(entries)), id_(id) {}
    ~Handle() override { entries_->erase(id_); }

   private:
    std::shared_ptr<Entries> entries_;
    long id_;
  };

  std::unique_ptr<Timer> add(std::chrono::milliseconds first, std::optional<std::chrono::milliseconds> period,
                             Callback callback) {
    const long id = ++lastId_;
    (*entries_)[id] = Entry{now_ + first, period, std::move(callback)};
    return std::make_unique<Handle>(entries_, id);
  }

  std::chrono::nanoseconds now_{0};
  std::chrono::nanoseconds unixBase_{1'800'000'000'000'000'000};
  std::shared_ptr<Entries> entries_ = std::make_shared<Entries>();
  long lastId_ = 0;
};

}  // namespace vantora::fakes
