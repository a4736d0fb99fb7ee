#include "platform/portal/TextPaste.h"

#include <algorithm>
#include <utility>

namespace vantora {
namespace {

using namespace std::chrono_literals;

// The desktop passes the text on, and clipboard managers read it.
constexpr auto kBeforeChord = 50ms;
// The desktop asks for the formats of the text.
constexpr auto kSeenTimeout = 600ms;
// A program inserts what it has read.
constexpr auto kAfterReading = 80ms;
// A clipboard that takes longer is left alone for a while.
constexpr auto kSlow = 500ms;

}  // namespace

TextPaste::TextPaste(ClipboardLoan& clipboard, ClipboardLoan& primary, Scheduler& scheduler, Keys keys)
    : clipboard_(clipboard), primary_(primary), scheduler_(scheduler), keys_(std::move(keys)) {}

bool TextPaste::lent() const { return clipboard_.lent() && (!both_ || primary_.lent()); }

bool TextPaste::failed() const { return clipboard_.failed() && (!both_ || primary_.failed()); }

TextPaste::Time TextPaste::lastEvent() const {
  return both_ ? std::max(clipboard_.lastEvent(), primary_.lastEvent()) : clipboard_.lastEvent();
}

TextPaste::Outcome TextPaste::proceed(std::u32string_view text) {
  const Time now = scheduler_.monotonicNow();
  if (phase_ == Phase::idle) {
    if (now < restUntil_) return Outcome::impossible;
    if (!keys_.delivered()) return Outcome::pending;
    const QString wanted = QString::fromUcs4(text.data(), static_cast<qsizetype>(text.size()));
    settling_ = false;
    both_ = primary_.shared();
    if (both_) primary_.lend(wanted);
    clipboard_.lend(wanted);
    phase_ = Phase::lending;
    startedAt_ = now;
    return Outcome::pending;
  }
  if (phase_ == Phase::lending) {
    if (clipboard_.failed()) {
      return now - startedAt_ >= kSlow ? giveUp(now) : finish(Outcome::impossible, 0ms);
    }
    const bool overdue = now - startedAt_ >= kLendTimeout;
    if (both_ && (primary_.failed() || (overdue && !primary_.lent()))) leavePrimary();
    if (overdue && !clipboard_.lent()) return giveUp(now);
    if (!overdue && (!lent() || now - lastEvent() < kBeforeChord)) return Outcome::pending;
    // Programs that do not see the text would paste another one.
    const bool late = overdue || now - lastEvent() >= kSeenTimeout;
    if (both_ && !primary_.seen()) {
      if (!late) return Outcome::pending;
      leavePrimary();
    }
    if (clipboard_.seen()) return press(now);
    return late ? giveUp(now) : Outcome::pending;
  }
  const bool delivered = keys_.delivered();
  const bool read = readings() != readingsBefore_;
  const bool late = now - startedAt_ >= kTakeTimeout;
  if (read && ((delivered && now - lastEvent() >= kAfterReading) || late)) return finish(Outcome::pasted, kLinger);
  if ((read || !failed()) && !late) return Outcome::pending;
  if (!delivered) keys_.drop();
  restUntil_ = now + kLateReading;
  return finish(Outcome::notRead, kLateReading);
}

void TextPaste::leavePrimary() {
  both_ = false;
  primary_.giveBack();
}

TextPaste::Outcome TextPaste::press(Time now) {
  readingsBefore_ = readings();
  startedAt_ = now;
  if (!keys_.press(both_ ? Chord::shiftInsert : Chord::controlV)) return finish(Outcome::impossible, 0ms);
  phase_ = Phase::pressed;
  return Outcome::pending;
}

// So that each further line does not take as long.
TextPaste::Outcome TextPaste::giveUp(Time now) {
  restUntil_ = now + kLateReading;
  return finish(Outcome::impossible, 0ms);
}

TextPaste::Outcome TextPaste::finish(Outcome outcome, std::chrono::milliseconds linger) {
  phase_ = Phase::idle;
  clipboard_.giveBackAfter(linger);
  primary_.giveBackAfter(linger);
  return outcome;
}

bool TextPaste::settled() {
  const Time now = scheduler_.monotonicNow();
  // Whoever has not read the text yet is behind with the keys as well.
  if ((clipboard_.returned() && primary_.returned()) || now < restUntil_) {
    settling_ = false;
    return true;
  }
  if (!std::exchange(settling_, true)) settlingSince_ = now;
  clipboard_.giveBack();
  primary_.giveBack();
  return (clipboard_.returned() && primary_.returned()) || now - settlingSince_ >= kReturnTimeout;
}

void TextPaste::cancel() {
  if (phase_ != Phase::idle) (void)finish(Outcome::impossible, phase_ == Phase::pressed ? kLinger : 0ms);
}

}  // namespace vantora
