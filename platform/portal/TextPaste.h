// Texts that are pasted, because no keys type them.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string_view>

#include "base/Scheduler.h"
#include "platform/ClipboardLoan.h"

namespace vantora {

// Lends a text to the clipboard and to the primary selection, and presses Shift+Insert, by which terminals paste the
// one and other programs the other; without a primary selection Ctrl+V, which does nothing in terminals. What the user
// had there comes back when a program has read the text. Texts right behind each other share one loan. Thread: main.
class TextPaste {
 public:
  // A program has to read within it.
  static constexpr std::chrono::milliseconds kTakeTimeout{2000};
  // Behind the newest text, before the user's text is put back.
  static constexpr std::chrono::milliseconds kLinger{400};
  // The same for a text that nobody has read: a busy program must not paste the user's text in its place. So long no
  // other text is pasted.
  static constexpr std::chrono::milliseconds kLateReading{4000};
  // For the lending.
  static constexpr std::chrono::milliseconds kLendTimeout{3000};
  // Keys wait so long at most until the user's text is back.
  static constexpr std::chrono::milliseconds kReturnTimeout{1500};

  enum class Chord { shiftInsert, controlV };
  struct Keys {
    // False: the chord cannot be pressed.
    std::function<bool(Chord chord)> press;
    // Whether all keys have reached the desktop.
    std::function<bool()> delivered;
    // Drops those that have not.
    std::function<void()> drop;
  };
  enum class Outcome {
    pending,     // To be called again a moment later.
    pasted,      // A program has read the text.
    notRead,     // Within the time; it may still.
    impossible,  // Nothing was pressed: the clipboard cannot be used at present.
  };

  // All of these must outlive this object.
  TextPaste(ClipboardLoan& clipboard, ClipboardLoan& primary, Scheduler& scheduler, Keys keys);

  // Whether there is a clipboard.
  bool possible() const { return clipboard_.shared(); }
  // Pastes `text`; to be called until it is no longer pending.
  [[nodiscard]] Outcome proceed(std::u32string_view text);
  // A text is pending.
  bool underWay() const { return phase_ != Phase::idle; }
  // Whether the user's text is back on the clipboard, as far as that is to be waited for; else puts it back.
  [[nodiscard]] bool settled();
  // Drops the text under way.
  void cancel();

 private:
  enum class Phase { idle, lending, pressed };
  using Time = std::chrono::nanoseconds;

  bool lent() const;
  bool failed() const;
  void leavePrimary();
  Outcome press(Time now);
  Outcome giveUp(Time now);
  Outcome finish(Outcome outcome, std::chrono::milliseconds linger);
  std::uint64_t readings() const { return clipboard_.readings() + primary_.readings(); }
  Time lastEvent() const;

  ClipboardLoan& clipboard_;
  ClipboardLoan& primary_;
  Scheduler& scheduler_;
  const Keys keys_;
  Phase phase_ = Phase::idle;
  bool both_ = false;  // The primary selection is lent as well.
  std::uint64_t readingsBefore_ = 0;
  Time startedAt_{};  // Of the phase.
  Time restUntil_{};  // After a text that nobody has read, or a clipboard that could not be used in time.
  Time settlingSince_{};
  bool settling_ = false;
};

}  // namespace vantora
