// A text that goes to the viewer in pieces.
#pragma once

#include <QList>
#include <QString>
#include <memory>
#include <optional>

#include "base/Scheduler.h"
#include "main/control/ControlChannel.h"

namespace vantora {

// Sends one text at a time on "control_reliable", the next pieces only after earlier ones were transmitted, so that
// neither the main thread nor other messages wait for the whole text. Thread: main. Owner: ClipboardSync.
class OutgoingText {
 public:
  // Maximum bytes of a message that holds a piece; less when the viewer accepts less.
  static constexpr quint64 kMaxPieceMessage = 32 * 1024;
  // Limit in bytes: nothing more is sent while this many are buffered, or after this many were sent at once.
  static constexpr quint64 kMaxWaiting = 64 * 1024;
  static constexpr std::chrono::milliseconds kCheckPeriod{10};

  // Both must outlive this object.
  OutgoingText(ControlSender& sender, Scheduler& scheduler) : sender_(sender), scheduler_(scheduler) {}

  // Sends `text`, of `length` bytes of UTF-8, and drops one that is being sent. `asked`: the viewer asked for it. When
  // the same text is already being sent, it is restarted for a viewer that asked and continues otherwise.
  void start(const QString& text, qint64 length, bool asked);
  // The viewer asked for the text that is being sent: restarts it from its beginning, under a new id. Repeated calls do
  // not send more at once.
  void restart();
  bool isUnderWay() const { return transfer_.has_value(); }
  void stop();
  // Stops a text that the viewer did not ask for.
  void stopUnlessAsked();

 private:
  struct Transfer {
    QString text;
    qint64 length = 0;
    bool asked = false;
    QList<qsizetype> ends;
    qsizetype next = 0;
  };
  bool sends(const QString& text) const;
  void sendMore();
  qint64 sendNext();

  ControlSender& sender_;
  Scheduler& scheduler_;
  qint64 id_ = 0;  // Of the newest transfer.
  std::optional<Transfer> transfer_;
  std::unique_ptr<Timer> timer_;
};

}  // namespace vantora
