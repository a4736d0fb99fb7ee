// Chat and reactions that the signalling server broadcasts to the room.
#pragma once

#include <QString>
#include <functional>

#include "base/Json.h"
#include "base/Scheduler.h"

namespace vantora {

// The text shown for a reaction; a bell for an unknown one.
QString reactionText(const QString& reaction);

// Thread: main. Owner: Host.
class ChatInbox {
 public:
  struct Callbacks {
    // Shows a line in the chat window; `ts` is in milliseconds since 1970.
    std::function<void(const QString& from, const QString& text, qint64 ts)> presentChat;
    std::function<void(const QString& title, const QString& body)> deliverHostNotification;
  };

  explicit ChatInbox(const Scheduler& scheduler) : scheduler_(scheduler) {}
  // Either callback may be empty; it is then skipped.
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  void handleChatBroadcast(const JsonObject& message);
  void handleReactionBroadcast(const JsonObject& message);

 private:
  void show(const QString& title, const QString& from, const QString& text, qint64 ts);

  const Scheduler& scheduler_;
  Callbacks callbacks_;
};

}  // namespace vantora
