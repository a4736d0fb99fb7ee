// The desktop's general clipboard, plain text only.
#pragma once

#include <QString>
#include <QtGlobal>
#include <functional>
#include <optional>

namespace vantora {

// What a reading found.
struct ClipboardReading {
  // The plain text, the empty one when there is none; nothing when it could not be read (its owner did not answer in
  // time) or is too long.
  std::optional<QString> text{};
  // Bytes of UTF-8 of a text that is too long, as far as they were counted; else 0.
  qint64 tooLong = 0;
};

// Reading and writing are answered later, since an owner of the clipboard may take its time or never answer; each
// request is answered exactly once, also when it failed. Thread: main. Owner: the composition root.
class Clipboard {
 public:
  // Bytes of UTF-8 of the longest text that is read or set.
  static constexpr qint64 kMaxTextBytes = 10 * 1024 * 1024;

  virtual ~Clipboard() = default;
  // Grows with every change of the clipboard, by anybody, as far as it has been noticed.
  virtual qint64 changeCount() const = 0;
  // Called after every change of changeCount() that another program made; empty for nobody.
  virtual void setChangedHandler(std::function<void()> handler) = 0;
  // Puts `text` on the clipboard. `done` gets the change count of this very change; changeCount() never shows a change
  // made here before `done` has run.
  virtual void setText(const QString& text, std::function<void(qint64 changeCount)> done) = 0;
  using TextAnswer = std::function<void(const ClipboardReading& reading)>;
  virtual void requestText(TextAnswer done) = 0;
};

}  // namespace vantora
