#include "platform/ClipboardLoan.h"

#include <QHash>
#include <algorithm>
#include <utility>

namespace vantora {

ClipboardLoan::ClipboardLoan(Clipboard& clipboard, Scheduler& scheduler, Replaces replaces)
    : clipboard_(clipboard), scheduler_(scheduler), replaces_(replaces), handled_(clipboard.changeCount()) {
  clipboard_.setChangedHandler([this] { otherProgramCopied(); });
  clipboard_.setInterestHandler([this](Interest interest) {
    if (phase_ == Phase::setting || phase_ == Phase::lent || phase_ == Phase::checking) {
      seen_ = true;
      if (interest == Interest::text) ++readings_;
      lastEvent_ = scheduler_.monotonicNow();
    } else if (interest_) {
      interest_(interest);
    }
  });
}

ClipboardLoan::~ClipboardLoan() {
  clipboard_.setChangedHandler({});
  clipboard_.setInterestHandler({});
  if (replaced_ && phase_ != Phase::returning && kept_) clipboard_.setText(*kept_, [](qint64) {});
}

// Whether the text was set.
bool ClipboardLoan::account(qint64 count, bool hide) {
  const qint64 grown = count - handled_;
  if (grown <= 0) return false;
  handled_ = count;
  if (hide) hidden_ += grown;
  return true;
}

void ClipboardLoan::setText(const QString& text, std::function<void(qint64)> done) {
  forgetReturned();
  kept_ = text;
  setSinceCopy_ = phase_ == Phase::checking;
  const auto before = std::exchange(keptDone_, std::move(done));
  if (phase_ == Phase::own || phase_ == Phase::returning) {
    putBack();
  } else if (phase_ == Phase::reading) {
    set();  // What the user had is replaced anyway.
  } else if (back_) {
    giveBack();
  }
  if (before) before(changeCount());  // Never set: replaced by this text.
}

void ClipboardLoan::requestText(TextCallback done) {
  if (kept_) return done({.text = kept_});
  clipboard_.requestText(std::move(done));
}

void ClipboardLoan::lend(const QString& text) {
  forgetReturned();
  text_ = text;
  failed_ = false;
  back_.reset();
  if (phase_ == Phase::own) {
    phase_ = Phase::reading;
    timeout_ = scheduler_.after(kReadTimeout, [this] {
      failed_ = true;
      end();
    });
    return read();
  }
  if (phase_ == Phase::checking) {
    afterCheck_ = AfterCheck::lend;
  } else if (phase_ != Phase::reading) {
    set();
  }
}

void ClipboardLoan::read() {
  clipboard_.requestText(life_.guard([this, turn = ++turn_](const ClipboardReading& reading) {
    if (turn != turn_) return;
    if (replaces_ == Replaces::text && (!reading.text || reading.otherContent || reading.confidential)) {
      failed_ = true;
      return end();
    }
    kept_ = reading.text.value_or(QString());
    set();
  }));
}

void ClipboardLoan::set() {
  phase_ = Phase::setting;
  onClipboard_ = text_;
  seen_ = false;
  timeout_ = scheduler_.after(kSetTimeout, [this] {
    // It may still be set.
    replaced_ = true;
    setFailed();
  });
  clipboard_.setText(text_, life_.guard([this, turn = ++turn_](qint64 count) {
    const bool stored = account(count, true);
    if (turn != turn_) return;
    if (!stored) return setFailed();
    timeout_.reset();
    replaced_ = true;
    phase_ = Phase::lent;
    lastEvent_ = scheduler_.monotonicNow();
  }));
}

void ClipboardLoan::setFailed() {
  failed_ = true;
  if (!replaced_ && !keptDone_) return end();
  giveBack();
}

void ClipboardLoan::giveBackAfter(std::chrono::milliseconds delay) {
  if (phase_ == Phase::own || phase_ == Phase::returning) return;
  if (keptDone_ || delay <= delay.zero()) return giveBack();
  back_ = scheduler_.after(delay, [this] { giveBack(); });
}

void ClipboardLoan::giveBack() {
  back_.reset();
  switch (phase_) {
    case Phase::own:
    case Phase::returning:
      return;
    case Phase::reading:
      return end();
    case Phase::checking:
      afterCheck_ = AfterCheck::giveBack;
      return;
    case Phase::setting:
    case Phase::lent:
      return putBack();
  }
}

void ClipboardLoan::putBack() {
  phase_ = Phase::returning;
  timeout_.reset();
  clipboard_.setText(*kept_, life_.guard([this, turn = ++turn_](qint64 count) {
    // A text that somebody has set meanwhile is a change.
    const bool stored = account(count, turn != turn_ || !keptDone_);
    if (turn != turn_) return;
    if (stored && !keptDone_) returned_ = {.hash = qHash(*kept_), .at = scheduler_.monotonicNow()};
    end();
  }));
}

// The clipboard is its user's again.
void ClipboardLoan::end() {
  ++turn_;
  phase_ = Phase::own;
  timeout_.reset();
  back_.reset();
  kept_.reset();
  text_.clear();
  onClipboard_.clear();
  replaced_ = false;
  afterCheck_ = AfterCheck::stay;
  if (const auto done = std::exchange(keptDone_, nullptr)) done(changeCount());
}

void ClipboardLoan::forward() {
  if (const auto handler = changed_) handler();
}

void ClipboardLoan::otherProgramCopied() {
  const qint64 changes = std::max<qint64>(clipboard_.changeCount() - handled_, 0);
  handled_ = std::max(handled_, clipboard_.changeCount());
  switch (phase_) {
    case Phase::reading:
      read();
      return forward();
    case Phase::lent:
    case Phase::checking:
      return check(changes);
    case Phase::own:
      if (returned_) return checkReturned(changes);
      return forward();
    case Phase::setting:
      // The lent text replaces it before anybody could read it.
      hidden_ += changes;
      return;
    case Phase::returning:
      return forward();
  }
}

void ClipboardLoan::checkReturned(qint64 changes) {
  if (returned_->unchecked == 0 && scheduler_.monotonicNow() - returned_->at > kTakeover) {
    returned_.reset();
    return forward();
  }
  hidden_ += changes;
  returned_->unchecked += changes;
  clipboard_.requestText(life_.guard([this, check = ++returnedCheck_](const ClipboardReading& reading) {
    if (!returned_ || check != returnedCheck_) return;
    if (!reading.text || qHash(*reading.text) != returned_->hash) return forgetReturned();
    returned_->unchecked = 0;
  }));
}

void ClipboardLoan::forgetReturned() {
  const qint64 unchecked = returned_ ? returned_->unchecked : 0;
  returned_.reset();
  hidden_ -= unchecked;
  if (unchecked > 0) forward();
}

void ClipboardLoan::check(qint64 changes) {
  hidden_ += changes;
  unchecked_ += changes;
  setSinceCopy_ = false;
  if (phase_ != Phase::checking) {
    phase_ = Phase::checking;
    afterCheck_ = back_ ? AfterCheck::giveBack : AfterCheck::stay;
    back_.reset();
    timeout_ = scheduler_.after(kReadTimeout, [this] { newerCopy(); });
  }
  clipboard_.requestText(life_.guard([this, turn = ++turn_](const ClipboardReading& reading) {
    if (turn != turn_) return;
    if (reading.text != onClipboard_) return newerCopy();
    timeout_.reset();
    unchecked_ = 0;
    phase_ = Phase::lent;
    const AfterCheck next = std::exchange(afterCheck_, AfterCheck::stay);
    if (next == AfterCheck::lend) set();
    if (next == AfterCheck::giveBack) giveBack();
  }));
}

void ClipboardLoan::newerCopy() {
  if (setSinceCopy_) {
    // Replaced before anybody was told of it.
    unchecked_ = 0;
    if (std::exchange(afterCheck_, AfterCheck::stay) == AfterCheck::lend) return set();
    failed_ = true;
    return putBack();
  }
  hidden_ -= std::exchange(unchecked_, 0);
  const bool again = afterCheck_ == AfterCheck::lend;
  const QString text = text_;
  end();
  failed_ = true;
  forward();
  if (again && phase_ == Phase::own) lend(text);
}

}  // namespace vantora
