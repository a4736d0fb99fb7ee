// Synchronises the desktop's clipboard with the viewer's.
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

// Sets and reads the clipboard for the viewer, and watches it on request. One operation runs at a time, since the owner
// of the clipboard may be slow: of the texts that the viewer sets meanwhile only the newest is kept, and one reading
// answers all requests that come meanwhile. A text that is too long for one message is sent in pieces to a viewer that
// supports them; any other viewer that asked is informed that the text is too large. Thread: main. Owner: Host, across
// connections.
class ClipboardSync {
 public:
  // Maximum number of requests that wait for a reading; further ones are dropped.
  static constexpr qsizetype kMaxWaitingRequests = 64;
  // A text with more bytes of UTF-8 keeps the thread busy for a while: the next reading begins at least kRest later.
  static constexpr qint64 kLongReading = 1024 * 1024;
  static constexpr std::chrono::milliseconds kRest{1000};

  // All of these must outlive this object.
  ClipboardSync(Clipboard& clipboard, ControlSender& sender, Scheduler& scheduler);
  ~ClipboardSync();
  ClipboardSync(const ClipboardSync&) = delete;
  ClipboardSync& operator=(const ClipboardSync&) = delete;

  // Puts the viewer's text on the clipboard and drops one that is still arriving in pieces. The watcher does not send
  // it back.
  void setClipboardContent(const QString& text);
  // Takes a piece of the viewer's text. True when it was the last one and the text was put on the clipboard. A text
  // that is too long is refused on "control_reliable".
  bool takePiece(const TextPiece& piece);
  // `parts`: the viewer of this connection accepts long texts in pieces.
  void setClipboardSyncEnabled(bool enabled, bool parts = false);
  // Restarts the watcher; does nothing unless it is enabled. The present content of the clipboard is not sent.
  void startClipboardMonitoring();
  // Checks once: sends a change that was not reported yet on "control_reliable".
  void checkClipboardChanges();
  // Sends "clipboard_sync" on the channel of the request, or "clipboard_too_large" for a text that does not fit into
  // one message; with `parts` such a text goes in pieces on "control_reliable". Nothing is sent when the viewer's
  // connection was replaced meanwhile. With `parts` a text that is being sent in pieces is restarted without another
  // reading, as long as the clipboard has not changed.
  void sendClipboardContent(const ReplyAddress& on, bool parts = false);
  // Transfers in pieces end with "control_reliable".
  void channelClosed(ControlChannel channel);

 private:
  void clipboardChanged();
  bool unseenChange() const { return clipboard_.changeCount() != lastClipboardChangeCount_; }
  void proceed();
  void answerWithTextUnderWay();
  void write(const QString& text);
  void read();
  void readingArrived(const ClipboardReading& reading);
  bool isEcho(const QString& text) const;
  // The recipient of a text.
  struct Receiver {
    ReplyAddress to;
    bool parts = false;
    bool asked = true;
  };
  // A text and its length in bytes of UTF-8; nullopt for a text that is too long to be sent at all.
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
  // The viewer's text until another one is seen on the clipboard, and when it was set. Clipboard managers soon take
  // over a copied text: that is a change without a new text.
  std::optional<QString> viewersText_;
  std::chrono::nanoseconds writtenAt_{};
  std::unique_ptr<Timer> clipboardMonitorTimer_;
  std::unique_ptr<Timer> settleTimer_;  // Runs from a change event to its check.

  // An operation is in progress.
  bool busy_ = false;
  // The next operations: setting the newest text, then one reading for all waiting requests.
  std::optional<QString> nextText_;
  QList<Receiver> waiting_;
  bool checkPending_ = false;
  // The reading in progress: its recipients, and its change count when it is also a check of the watcher.
  QList<Receiver> askers_;
  std::optional<qint64> checkedCount_;
  std::chrono::nanoseconds readAt_{};  // When it began.
  qint64 readCount_ = 0;               // The change count at that time.
  std::unique_ptr<Timer> rest_;        // No reading begins while it runs.

  // The connection whose viewer accepts changes in pieces.
  std::optional<quint64> changesInParts_;
  OutgoingText outgoing_;
  qint64 outgoingCount_ = 0;  // The change count at which its text was read.
  IncomingText incoming_;

  Lifetime life_;  // For replies of the clipboard.
};

// Installs the handlers of the clipboard messages. Both must outlive `dispatcher`. Main thread.
void bindClipboardMessages(ControlDispatcher& dispatcher, ClipboardSync& sync, const ControlSender& sender);

}  // namespace vantora
