// Watches the X clipboard and reads its text without ever waiting for its owner.
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

// Asks the owner of the clipboard for its text on a connection of its own; a toolkit's own reading would block the
// whole program while the owner takes its time. Answers come from the event loop, in the order of the requests, each
// after its timeout at the latest. Thread: one with a Qt event loop. Owner: QtClipboard.
class X11ClipboardReader {
 public:
  using Done = Clipboard::TextAnswer;
  struct Limits {
    std::chrono::milliseconds timeout{4000};
    qsizetype bytes = 64 * 1024 * 1024;  // Longer texts are not read.
  };

  // `displayName`: such as ":0"; empty: the DISPLAY variable decides.
  explicit X11ClipboardReader(const QString& displayName = {}) : X11ClipboardReader(displayName, Limits()) {}
  X11ClipboardReader(const QString& displayName, Limits limits);
  ~X11ClipboardReader();
  X11ClipboardReader(const X11ClipboardReader&) = delete;
  X11ClipboardReader& operator=(const X11ClipboardReader&) = delete;

  // From now on `changed` is called with the new owner's window whenever the clipboard got an owner, also the same one
  // again, and with XCB_NONE when it was cleared. False when there is no server or it cannot tell.
  [[nodiscard]] bool watch(std::function<void(xcb_window_t owner)> changed);
  // Calls `changed` now for whatever the server has done so far.
  void catchUp();
  // `done` gets what was read: no text when its owner does not answer in time, when it is longer than the limit, and
  // when there is no server. Never called before read() has returned, nor after this object is gone.
  void read(Done done);

 private:
  // In the order in which they are asked for.
  enum Target : size_t { utf8String, mimeUtf8, latin1String, targetCount };

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
  // What `property` of our window holds; the property is gone afterwards.
  Piece takeProperty(xcb_atom_t property);
  void finish(const ClipboardReading& reading);
  QString decoded() const;

  const Limits limits_;
  QObject context_;  // Timers and notices stop with it.
  X11Connection connection_;
  std::unique_ptr<QSocketNotifier> notifier_;
  QTimer timeout_;
  std::uint64_t generation_ = 0;
  xcb_window_t window_ = XCB_NONE;
  xcb_atom_t clipboard_ = XCB_NONE;
  xcb_atom_t incremental_ = XCB_NONE;
  std::array<xcb_atom_t, targetCount> targets_{};
  // Answers arrive in these properties by turns, so that a late one to an earlier request is told apart.
  std::array<xcb_atom_t, 8> properties_{};
  size_t turn_ = 0;

  std::function<void(xcb_window_t)> changed_;
  int noticeType_ = -1;  // The event type of a new owner.

  std::deque<Done> waiting_;
  // The request under way.
  bool asking_ = false;
  bool inPieces_ = false;
  size_t target_ = 0;
  QByteArray bytes_;
};

}  // namespace vantora
