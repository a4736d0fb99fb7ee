// Keeps the desktop's clipboard and the viewer's in step.
#pragma once

#include <QList>
#include <memory>
#include <optional>

#include "main/base/Scheduler.h"
#include "main/base/ThreadAffinity.h"
#include "main/control/ControlChannel.h"
#include "main/control/dispatch/ControlDispatcher.h"
#include "platform/Clipboard.h"

namespace vantora {

// Sets and reads the clipboard for the viewer, and watches it when asked to. One operation is under way at a time,
// since an owner of the clipboard may be slow: what the viewer sets meanwhile waits, the newest text alone, and who
// asks meanwhile is answered by one reading. Thread: main. Owner: Host, across connections.
class ClipboardSync {
 public:
  // Requests that may wait for a reading; those beyond are dropped.
  static constexpr qsizetype kMaxWaitingRequests = 64;

  // All of these must outlive this object.
  ClipboardSync(Clipboard& clipboard, ControlOutlet& outlet, Scheduler& scheduler);
  ~ClipboardSync();
  ClipboardSync(const ClipboardSync&) = delete;
  ClipboardSync& operator=(const ClipboardSync&) = delete;

  // Puts the viewer's text on the clipboard. The watcher does not send it back.
  void setClipboardContent(const QString& text);
  void setClipboardSyncEnabled(bool enabled);
  bool isClipboardSyncEnabled() const { return clipboardSyncEnabled_; }
  // Starts the watcher anew; does nothing unless it is switched on. What is on the clipboard now is not sent.
  void startClipboardMonitoring();
  // One look: sends a change that nobody was told of on "control_reliable".
  void checkClipboardChanges();
  // Sends "clipboard_sync" on the channel of the request, unless the viewer's connection was replaced meanwhile or the
  // text is longer than the viewer takes.
  void sendClipboardContent(const ReplyAddress& on);

 private:
  void noticed();
  bool unseenChange() const { return clipboard_.changeCount() != lastClipboardChangeCount_; }
  void proceed();
  void write(const QString& text);
  void read();
  void readingArrived(const std::optional<QString>& text);
  bool isEcho(const QString& text) const;
  void syncChange(const QString& text);
  void sendText(ControlChannel channel, const QString& text);

  ThreadAffinity affinity_;
  Clipboard& clipboard_;
  ControlOutlet& outlet_;
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
  QList<ReplyAddress> waiting_;
  bool lookWaits_ = false;
  // The reading under way: whom it is for, and the change count it began with when it is also a look of the watcher.
  QList<ReplyAddress> askers_;
  std::optional<qint64> lookedAt_;
  std::chrono::nanoseconds readAt_{};  // When it began.

  std::shared_ptr<ClipboardSync*> self_;  // For answers that come later; they check that it still lives.
};

// Installs the handlers of the clipboard messages. Both must outlive `dispatcher`. Main thread.
void bindClipboardMessages(ControlDispatcher& dispatcher, ClipboardSync& sync, const ControlOutlet& outlet);

}  // namespace vantora
