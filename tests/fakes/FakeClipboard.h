// A clipboard controlled by the test.
#pragma once

#include <deque>

#include "platform/Clipboard.h"

namespace vantora::fakes {

// Completes requests at once or, while `slow` is set, one in order for each call of answer().
class FakeClipboard final : public Clipboard {
 public:
  qint64 changeCount() const override { return changes; }
  void setChangedHandler(std::function<void()> handler) override { changed = std::move(handler); }
  void setText(const QString& wanted, std::function<void(qint64)> done) override {
    ++sets;
    perform([this, wanted, done = std::move(done)] {
      text = wanted;
      const qint64 own = ++changes;
      done(own);
    });
  }
  void requestText(TextCallback done) override {
    ++reads;
    perform([this, done = std::move(done)] {
      if (readable) return done({.text = text, .otherContent = otherContent, .confidential = confidential});
      done({.tooLong = tooLong});
    });
  }

  void setInterestHandler(std::function<void(Interest)> handler) override { interested = std::move(handler); }
  bool isImmediate() const override { return immediate; }
  bool shared() const override { return isShared; }
  Clipboard* primary() override { return primarySelection; }

  // Another program copies. `noticed`: whether the change is reported, as on most desktops.
  void copy(const QString& copied, bool noticed = false) {
    text = copied;
    ++changes;
    if (noticed && changed) changed();
  }
  // Completes the oldest pending request; false without one.
  bool answer() {
    if (waiting.empty()) return false;
    const auto task = std::move(waiting.front());
    waiting.pop_front();
    task();
    return true;
  }

  bool slow = false;
  bool readable = true;
  qint64 tooLong = 0;  // Reported by a failed read.
  bool otherContent = false;
  bool confidential = false;
  bool isShared = true;
  bool immediate = true;
  FakeClipboard* primarySelection = nullptr;
  QString text;
  qint64 changes = 7;
  int sets = 0;
  int reads = 0;
  std::function<void()> changed;
  std::function<void(Interest)> interested;
  std::deque<std::function<void()>> waiting;

 private:
  void perform(std::function<void()> task) {
    if (slow) {
      waiting.push_back(std::move(task));
    } else {
      task();
    }
  }
};

}  // namespace vantora::fakes
