// The desktop's general clipboard, plain text only.
#pragma once

#include <QString>
#include <QtGlobal>
#include <functional>
#include <optional>

namespace vantora {

// The result of reading the clipboard.
struct ClipboardReading {
  // The plain text, an empty one when the clipboard has no text; nullopt when it could not be read (its owner did not
  // reply in time) or is too long.
  std::optional<QString> text{};
  // Bytes of UTF-8 of a text that is too long, as far as counted; else 0.
  qint64 tooLong = 0;
  // The empty text stands for content that is no text, such as an image.
  bool otherContent = false;
  // The program that copied the text asks that histories of the clipboard do not keep it: a password, say. Not known of
  // every clipboard.
  bool confidential = false;
};

// Reading and writing are asynchronous, since the clipboard's owner may reply late or never; the callback of each
// request is called exactly once, also on failure. Thread: main. Owner: DesktopProcessClient, which outlives the
// desktop session.
class Clipboard {
 public:
  // Maximum length of a text that is read or set, in bytes of UTF-8.
  static constexpr qint64 kMaxTextBytes = 10 * 1024 * 1024;

  virtual ~Clipboard() = default;
  // Incremented with every detected change of the clipboard, by any program.
  virtual qint64 changeCount() const = 0;
  // Called after every change of changeCount() that another program made; an empty handler unsubscribes.
  virtual void setChangedHandler(std::function<void()> handler) = 0;
  // Puts `text` on the clipboard. `done` gets the change count of this change; changeCount() does not include a change
  // made here before `done` is called.
  virtual void setText(const QString& text, std::function<void(qint64 changeCount)> done) = 0;
  using TextCallback = std::function<void(const ClipboardReading& reading)>;
  virtual void requestText(TextCallback done) = 0;
  // What others want of a text that was set here: desktops ask for its formats before they pass it on.
  enum class Interest { formats, text };
  // Called for each interest that is reported, that in the text always; an empty handler unsubscribes.
  virtual void setInterestHandler(std::function<void(Interest)> handler) = 0;
  // Whether other programs see a text as soon as it is set; else once there was interest in its formats.
  virtual bool isImmediate() const { return true; }
  // Whether what is set here is at present seen by the other programs of the desktop.
  virtual bool shared() const = 0;
  // The primary selection (the text that was selected last) in the same form; nullptr: it cannot be reached.
  virtual Clipboard* primary() { return nullptr; }
};

}  // namespace vantora
