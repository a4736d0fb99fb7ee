// Watches the X clipboard and reads its text without blocking on its owner.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>
#include <array>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "platform/Clipboard.h"
#include "platform/x11/X11Connection.h"

namespace vantora {

// Requests the text from the clipboard's owner on a separate connection; Qt's own reading would block the whole program
// until the owner replies. Callbacks are called from the event loop, in the order of the requests, each after its
// timeout at the latest. Thread: one with a Qt event loop. Owner: QtClipboard.
class X11ClipboardReader {
 public:
  using Done = Clipboard::TextCallback;
  struct Options {
    std::chrono::milliseconds timeout{4000};
    qsizetype bytes = 64 * 1024 * 1024;  // Longer texts are not read.
    bool primary = false;                // The primary selection instead of the clipboard.
  };

  // `displayName`: such as ":0"; empty: the DISPLAY variable decides.
  explicit X11ClipboardReader(const QString& displayName = {}) : X11ClipboardReader(displayName, Options()) {}
  X11ClipboardReader(const QString& displayName, Options options);
  ~X11ClipboardReader();
  X11ClipboardReader(const X11ClipboardReader&) = delete;
  X11ClipboardReader& operator=(const X11ClipboardReader&) = delete;

  // From now on `changed` is called with the new owner's window whenever the clipboard gets an owner, also the same one
  // again, and with XCB_NONE when it is cleared. False when there is no server or it lacks XFixes.
  [[nodiscard]] bool watch(std::function<void(xcb_window_t owner)> changed);
  // Calls `changed` now for every change that the server has processed so far.
  void catchUp();
  // `done` gets the result: no text when the owner does not reply in time, when the text is longer than the limit, and
  // when there is no server. Never called before read() has returned, nor after this object is destroyed.
  void read(Done done);

 private:
  // In the order in which they are requested.
  enum Target : size_t { utf8String, mimeUtf8, latin1String, targetCount };

  bool hasOwner();

  bool prepare();
  void next();
  void ask(size_t target);
  void drain();
  void handle(const xcb_generic_event_t& event);
  void answered(xcb_atom_t property);
  void pieceArrived();
  struct Piece {
    xcb_atom_t type = XCB_NONE;
    QByteArray bytes;
  };
  // Reads and deletes `property` of our window.
  Piece takeProperty(xcb_atom_t property);
  void finish(const ClipboardReading& reading);
  QString decoded() const;

  const Options options_;
  QObject context_;  // Timers and notifiers stop with it.
  X11Connection connection_;
  std::unique_ptr<QSocketNotifier> notifier_;
  QTimer timeout_;
  std::uint64_t generation_ = 0;
  xcb_window_t window_ = XCB_NONE;
  xcb_atom_t clipboard_ = XCB_NONE;
  xcb_atom_t incremental_ = XCB_NONE;
  std::array<xcb_atom_t, targetCount> targets_{};
  // Replies arrive in these properties in turn, so that a late reply to an earlier request is recognised.
  std::array<xcb_atom_t, 8> properties_{};
  size_t turn_ = 0;

  std::function<void(xcb_window_t)> changed_;
  int ownerEventType_ = -1;  // The event type of a new owner.

  std::deque<Done> waiting_;
  // The current request.
  bool asking_ = false;
  bool inPieces_ = false;
  size_t target_ = 0;
  QByteArray bytes_;
};

}  // namespace vantora
