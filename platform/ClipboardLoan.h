// The desktop's clipboard, which may hold another text for a moment.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "base/Lifetime.h"
#include "base/Scheduler.h"
#include "platform/Clipboard.h"

namespace vantora {

// As a Clipboard it shows what its user has there, also while a text is lent: that text and its return are no changes,
// readings get the user's text, and a text that is set meanwhile takes its place. What another program copies meanwhile
// stays on the clipboard and is a change, unless it is the lent text, which a clipboard manager has taken over. Of what
// was there, plain text comes back. Thread: main.
class ClipboardLoan final : public Clipboard {
 public:
  // For the reading of the user's text, and for the setting of each text.
  static constexpr std::chrono::milliseconds kReadTimeout{1000};
  static constexpr std::chrono::milliseconds kSetTimeout{1500};
  // So long after its return the user's text may be taken over by a clipboard manager.
  static constexpr std::chrono::milliseconds kTakeover{5000};
  // What may be replaced: text and nothing at all, which come back, but no confidential text, which would come back
  // without that mark; or anything.
  enum class Replaces { text, anything };

  // Both must outlive this object. The handlers of `clipboard` are used here.
  ClipboardLoan(Clipboard& clipboard, Scheduler& scheduler, Replaces replaces);
  // Puts the user's text back.
  ~ClipboardLoan() override;
  ClipboardLoan(const ClipboardLoan&) = delete;
  ClipboardLoan& operator=(const ClipboardLoan&) = delete;

  qint64 changeCount() const override { return clipboard_.changeCount() - hidden_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  void setText(const QString& text, std::function<void(qint64 changeCount)> done) override;
  void requestText(TextCallback done) override;
  void setInterestHandler(std::function<void(Interest)> handler) override { interest_ = std::move(handler); }
  bool shared() const override { return clipboard_.shared(); }

  // Puts `text` on the clipboard until it is given back; may be called again before.
  void lend(const QString& text);
  // The text is on the clipboard.
  bool lent() const { return phase_ == Phase::lent; }
  // Programs see it.
  bool seen() const { return seen_ || clipboard_.isImmediate(); }
  // The newest text could not be lent, or another program has copied since.
  bool failed() const { return failed_; }
  void giveBack();
  // Unless a text is lent again before; at once when another text is set meanwhile.
  void giveBackAfter(std::chrono::milliseconds delay);
  // Nothing is lent.
  bool returned() const { return phase_ == Phase::own; }
  // How often another program has read a lent text, and when the last event of a loan was: its start or interest.
  std::uint64_t readings() const { return readings_; }
  std::chrono::nanoseconds lastEvent() const { return lastEvent_; }

 private:
  enum class Phase { own, reading, setting, lent, checking, returning };

  void read();
  void set();
  void setFailed();
  void putBack();
  void otherProgramCopied();
  void check(qint64 changes);
  void newerCopy();
  void checkReturned(qint64 changes);
  void forgetReturned();
  void forward();
  void end();
  [[nodiscard]] bool account(qint64 count, bool hide);

  Clipboard& clipboard_;
  Scheduler& scheduler_;
  const Replaces replaces_;
  std::function<void()> changed_;
  std::function<void(Interest)> interest_;

  Phase phase_ = Phase::own;
  quint64 turn_ = 0;  // Replies to what an earlier phase began are ignored.
  std::unique_ptr<Timer> timeout_;
  std::unique_ptr<Timer> back_;
  QString text_;                          // To lend.
  QString onClipboard_;                   // The newest that was lent.
  std::optional<QString> kept_;           // To give back.
  std::function<void(qint64)> keptDone_;  // Somebody has set it meanwhile, and waits until it is back.
  // What was wanted while a copy was checked.
  enum class AfterCheck { stay, lend, giveBack };
  AfterCheck afterCheck_ = AfterCheck::stay;
  bool setSinceCopy_ = false;  // Somebody has set a text since the copy that is checked.
  bool replaced_ = false;      // The user's text is no longer on the clipboard.
  bool seen_ = false;          // Others were interested in the newest text.
  bool failed_ = false;
  std::uint64_t readings_ = 0;
  std::chrono::nanoseconds lastEvent_{};

  qint64 handled_ = 0;    // The clipboard's count, as far as its changes were handled.
  qint64 hidden_ = 0;     // Changes that are none for others.
  qint64 unchecked_ = 0;  // Of these: those that may be copies.

  struct Returned {
    std::size_t hash;  // Of the text.
    std::chrono::nanoseconds at;
    qint64 unchecked = 0;  // As above.
  };
  std::optional<Returned> returned_;
  quint64 returnedCheck_ = 0;  // The newest one.
  Lifetime life_;              // Last: for replies of the clipboard.
};

}  // namespace vantora
