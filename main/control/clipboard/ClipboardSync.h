// Keeps the desktop's clipboard and the viewer's in step.
#pragma once

#include <QList>
#include <memory>
#include <optional>

#include "base/Lifetime.h"
#include "base/Scheduler.h"
#include "base/ThreadAffinity.h"
#include "main/control/ControlChannel.h"
#include "main/control/clipboard/IncomingText.h"
#include "main/control/clipboard/OutgoingText.h"
#include "main/control/dispatch/ControlDispatcher.h"
#include "platform/Clipboard.h"

namespace vantora {

// Sets and reads the clipboard for the viewer, and watches it when asked to. One operation is under way at a time,
// since an owner of the clipboard may be slow: what the viewer sets meanwhile waits, the newest text alone, and who
// asks meanwhile is answered by one reading. A text that is too long for one message goes in pieces to a viewer that
// knows them; any other that asked is told that it is too large. Thread: main. Owner: Host, across connections.
class ClipboardSync {
 public:
  // Requests that may wait for a reading; those beyond are dropped.
  static constexpr qsizetype kMaxWaitingRequests = 64;
  // A text of more bytes of UTF-8 keeps the thread busy for a while: the next reading begins no sooner than kRest
  // later.
  static constexpr qint64 kLongReading = 1024 * 1024;
  static constexpr std::chrono::milliseconds kRest{1000};

  // All of these must outlive this object.
  ClipboardSync(Clipboard& clipboard, ControlSender& sender, Scheduler& scheduler);
  ~ClipboardSync();
  ClipboardSync(const ClipboardSync&) = delete;
  ClipboardSync& operator=(const ClipboardSync&) = delete;

  // Puts the viewer's text on the clipboard, in place of one that is still arriving in pieces. The watcher does not
  // send it back.
  void setClipboardContent(const QString& text);
  // A piece of the viewer's text. Whether it was the last one, with which the text went to the clipboard. A text that
  // is too long is refused on "control_reliable".
  bool takePiece(const TextPiece& piece);
  // `parts`: the viewer of this connection takes long texts in pieces.
  void setClipboardSyncEnabled(bool enabled, bool parts = false);
  // Starts the watcher anew; does nothing unless it is switched on. What is on the clipboard now is not sent.
  void startClipboardMonitoring();
  // One look: sends a change that nobody was told of on "control_reliable".
  void checkClipboardChanges();
  // Sends "clipboard_sync" on the channel of the request, or "clipboard_too_large" for a text that does not fit into
  // one message; with `parts` such a text goes in pieces on "control_reliable". Nothing is sent when the viewer's
  // connection was replaced meanwhile. With `parts` a text that is under way in pieces is sent anew, without another
  // reading, as long as the clipboard has not changed.
  void sendClipboardContent(const ReplyAddress& on, bool parts = false);
  // What was under way in pieces ends with "control_reliable".
  void channelClosed(ControlChannel channel);

 private:
  void noticed();
  bool unseenChange() const { return clipboard_.changeCount() != lastClipboardChangeCount_; }
  void proceed();
  void answerWithTextUnderWay();
  void write(const QString& text);
  void read();
  void readingArrived(const ClipboardReading& reading);
  bool isEcho(const QString& text) const;
  // Who is sent a text.
  struct Receiver {
    ReplyAddress to;
    bool parts = false;
    bool asked = true;
  };
  // A text and its length in bytes of UTF-8; no text when it is too long for anybody.
  struct Content {
    std::optional<QString> text;
    qint64 length = 0;
  };
  static Content contentOf(const ClipboardReading& reading);
  void syncChange(const Content& content);
  void send(const Receiver& receiver, const Content& content);
  void refuse(const Receiver& receiver, qint64 length, qint64 limit);

  ThreadAffinity affinity_;
  Clipboard& clipboard_;
  ControlSender& sender_;
  Scheduler& scheduler_;
  bool clipboardSyncEnabled_ = false;
  qint64 lastClipboardChangeCount_ = 0;
  // The viewer's text while nothing else was seen on the clipboard, and when it arrived there: desktops have programs
  // that soon take over what was copied, which is a change and yet nothing new.
  std::optional<QString> viewersText_;
  std::chrono::nanoseconds writtenAt_{};
  std::unique_ptr<Timer> clipboardMonitorTimer_;
  std::unique_ptr<Timer> soon_;  // A look that a change brought forward.

  // An operation is under way.
  bool busy_ = false;
  // What comes next: the newest text to set, then one reading for everybody who waits.
  std::optional<QString> nextText_;
  QList<Receiver> waiting_;
  bool lookWaits_ = false;
  // The reading under way: whom it is for, and the change count it began with when it is also a look of the watcher.
  QList<Receiver> askers_;
  std::optional<qint64> lookedAt_;
  std::chrono::nanoseconds readAt_{};  // When it began.
  qint64 readCount_ = 0;               // The change count then.
  std::unique_ptr<Timer> rest_;        // No reading begins while it runs.

  // The connection whose viewer takes changes in pieces.
  std::optional<quint64> changesInParts_;
  OutgoingText outgoing_;
  qint64 outgoingCount_ = 0;  // The change count that its text was read with.
  IncomingText incoming_;

  Lifetime life_;  // For answers of the clipboard.
};

// Installs the handlers of the clipboard messages. Both must outlive `dispatcher`. Main thread.
void bindClipboardMessages(ControlDispatcher& dispatcher, ClipboardSync& sync, const ControlSender& sender);

}  // namespace vantora
