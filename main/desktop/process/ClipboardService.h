// Gives the session access to the clipboard of the desktop process.
#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <functional>
#include <memory>

#include "base/Json.h"
#include "platform/Clipboard.h"

namespace vantora {

// The counterpart of RemoteClipboard. Thread: main of the desktop process. Owner: its entry point.
class ClipboardService {
 public:
  // `send` must stay callable as long as `clipboard` may call back. `name`: what the types of its messages begin with.
  ClipboardService(std::unique_ptr<Clipboard> clipboard, std::function<void(const JsonObject&)> send,
                   const QString& name = QStringLiteral("clipboard"));

  // Carries out "clipboard_set" {id, text}, replied to with "clipboard_stored" {id, count}, and "clipboard_get" {id},
  // replied to with "clipboard_text" {id, text, other: no text but other content} or {id, too_long: bytes of UTF-8} or,
  // when it could not be read, {id}. Returns whether `type` is one of them. Also sends "clipboard_changed" {count} and,
  // when others ask for the formats of a text that was set or read it, "clipboard_offered" and "clipboard_taken".
  bool take(const QString& type, const JsonObject& message);
  bool shared() const { return clipboard_->shared(); }
  // Calls `done` when another program, such as the desktop's clipboard manager, has read the text that was set within
  // the last second, since it ends with this process; at once when there is none, and in any case after 0.3 s.
  void whenRead(std::function<void()> done);

 private:
  const QString name_;
  std::function<void(const JsonObject&)> send_;
  QElapsedTimer sinceSet_;  // Of a text that nobody has read.
  std::function<void()> read_;
  QTimer patience_;
  std::unique_ptr<Clipboard> clipboard_;
};

}  // namespace vantora
