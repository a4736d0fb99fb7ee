// The desktop's general clipboard, plain text only.
#pragma once

#include <QString>
#include <QtGlobal>
#include <functional>
#include <optional>

namespace vantora {

// Reading and writing are answered later, since an owner of the clipboard may take its time or never answer; each
// request is answered exactly once, also when it failed. Thread: main. Owner: the composition root.
class Clipboard {
 public:
  virtual ~Clipboard() = default;
  // Grows with every change of the clipboard, by anybody, as far as it has been noticed.
  virtual qint64 changeCount() const = 0;
  // Called after every change of changeCount() that another program made; empty for nobody.
  virtual void setChangedHandler(std::function<void()> handler) = 0;
  // Puts `text` on the clipboard. `done` gets the change count of this very change; changeCount() never shows a change
  // made here before `done` has run.
  virtual void setText(const QString& text, std::function<void(qint64 changeCount)> done) = 0;
  // `done` gets the plain text, the empty one when there is none, or nothing when it could not be read: its owner did
  // not answer in time, or it is too long.
  using TextAnswer = std::function<void(const std::optional<QString>& text)>;
  virtual void requestText(TextAnswer done) = 0;
};

}  // namespace vantora
