// Numbered entries kept for the desktop process.
#pragma once

#include <algorithm>
#include <deque>
#include <limits>
#include <utility>
#include <vector>

#include "base/Json.h"

namespace vantora {

// Entries in the order they were added, numbered 1, 2, ... for as long as the program runs, so that the other side can
// confirm which ones it has handled. Limited in number and in total weight (given with each entry); beyond either the
// oldest are dropped. Thread: main. Owner: ChatBacklog, DesktopProcessClient.
template <typename Entry>
class NumberedOutbox {
 public:
  struct Limits {
    std::size_t entries = std::numeric_limits<std::size_t>::max();
    qsizetype weight = std::numeric_limits<qsizetype>::max();
  };
  struct Kept {
    qint64 number = 0;
    qsizetype weight = 0;
    Entry entry;
  };

  explicit NumberedOutbox(Limits limits) : limits_(limits) {}

  // Number of the newest entry; 0 before the first one.
  qint64 last() const { return last_; }
  qint64 next() const { return last_ + 1; }
  // Adds an entry under the number next(). Returns the dropped entries, oldest first; the new one may be among them.
  std::vector<Kept> add(Entry entry, qsizetype weight) {
    kept_.push_back({++last_, weight, std::move(entry)});
    weight_ += weight;
    std::vector<Kept> dropped;
    while (kept_.size() > limits_.entries || weight_ > limits_.weight) {
      weight_ -= kept_.front().weight;
      dropped.push_back(std::move(kept_.front()));
      kept_.pop_front();
    }
    return dropped;
  }
  // The entry of that number was handled; unknown numbers are ignored.
  void remove(qint64 number) {
    const auto found = std::ranges::find(kept_, number, &Kept::number);
    if (found == kept_.end()) return;
    weight_ -= found->weight;
    kept_.erase(found);
  }

  // Oldest first.
  const std::deque<Kept>& kept() const { return kept_; }

 private:
  const Limits limits_;
  std::deque<Kept> kept_;
  qsizetype weight_ = 0;
  qint64 last_ = 0;
};

}  // namespace vantora
