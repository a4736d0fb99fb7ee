// A text that goes to the viewer in pieces.
#pragma once

#include <QList>
#include <QString>
#include <memory>
#include <optional>

#include "base/Scheduler.h"
#include "main/control/ControlChannel.h"

namespace vantora {

// Sends one text at a time on "control_reliable", a few pieces and then the next when those have left, so that neither
// the main thread nor other messages wait for all of it. Thread: main. Owner: ClipboardSync.
class OutgoingText {
 public:
  // A message that holds a piece is no longer than this, nor than what the viewer takes.
  static constexpr quint64 kMaxPieceMessage = 32 * 1024;
  // So much may wait to leave before no more is sent, and so much is sent at once.
  static constexpr quint64 kMaxWaiting = 64 * 1024;
  static constexpr std::chrono::milliseconds kLookEvery{10};

  // Both must outlive this object.
  OutgoingText(ControlSender& sender, Scheduler& scheduler) : sender_(sender), scheduler_(scheduler) {}

  // Sends `text`, of `length` bytes of UTF-8, in place of one that is under way. `asked`: the viewer asked for it. When
  // the same text is under way it is restarted for a viewer that asked, else it goes on.
  void start(const QString& text, qint64 length, bool asked);
  // The viewer asked for the text that is under way: sends it from its beginning once more, under a new id. However
  // often this is called, no more is sent at once.
  void restart();
  bool isUnderWay() const { return transfer_.has_value(); }
  void stop();
  // Gives up a text that the viewer did not ask for.
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
