// The order of a viewer's keys and texts.
#pragma once

#include <QString>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <variant>

#include "base/Scheduler.h"
#include "platform/DesktopInput.h"

namespace vantora {

// What became of a text. `reason` says why it ended early; empty when it was typed to its end.
struct TypedText {
  std::size_t typed = 0;
  std::size_t length = 0;
  QString reason = {};
};

// Posts keys at once while no text is being typed; otherwise they wait for their turn. A text is typed in steps,
// between which the event loop runs. Bounded: kMaxWaitingKeys key events and kMaxTexts texts with kMaxWaitingLength
// characters wait at most; of the key events beyond that only the releases of held keys are kept. Thread: main. Owner:
// InputInjector.
class KeyQueue {
 public:
  // Code points of a text.
  static constexpr std::size_t kMaxTextLength = 4000;
  // A text may be a single key stroke of the viewer, so as many wait as keys.
  static constexpr std::size_t kMaxTexts = 512;
  static constexpr std::size_t kMaxWaitingLength = 16 * kMaxTextLength;
  static constexpr std::size_t kMaxWaitingKeys = 512;

  // Called once, at the latest by releaseAll(); never when the queue is destroyed.
  using Answer = std::function<void(const TypedText&)>;

  // Both must outlive this object.
  KeyQueue(DesktopInput& input, Scheduler& scheduler) : input_(input), scheduler_(scheduler) {}

  // See DesktopInput::key().
  void key(std::uint16_t code, bool down, const KeyModifiers& modifiers);
  // Types a text. "\n" and "\r\n" are Enter and count as one character, "\t" is Tab; other control characters and
  // unpaired surrogates count but are skipped. Answers at once when the text is too long or too many wait.
  void type(const QString& text, Answer answer);
  // Drops all that waits, answers its texts and releases what is held.
  void releaseAll();

 private:
  struct Key {
    std::uint16_t code = 0;
    bool down = false;
    KeyModifiers modifiers;
  };
  struct Text {
    std::u32string characters;  // Those that can be typed.
    std::size_t done = 0;       // Of `characters`.
    TypedText result;
    Answer answer;
  };

  void post(const Key& key);
  void proceed();
  void runLater(std::chrono::milliseconds delay);
  // Types a part of the first text; how long to wait before the next part, or nullopt when the text has ended.
  std::optional<std::chrono::milliseconds> typeStep(Text& text);

  DesktopInput& input_;
  Scheduler& scheduler_;
  std::deque<std::variant<Key, Text>> waiting_;
  std::size_t waitingKeys_ = 0;
  std::size_t waitingTexts_ = 0;
  std::size_t waitingLength_ = 0;  // Of the texts.
  std::set<std::uint16_t> held_;   // Once all that waits has been posted.
  std::unique_ptr<Timer> timer_;   // Runs while anything waits.
};

}  // namespace vantora
