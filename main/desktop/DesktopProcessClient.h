// The session's side of the desktop process: state to show, requests of its user, and the clipboard.
#pragma once

#include <functional>
#include <optional>

#include "main/desktop/ChatBacklog.h"
#include "main/desktop/DesktopProcess.h"
#include "main/desktop/NumberedOutbox.h"
#include "main/desktop/RemoteClipboard.h"
#include "main/desktop/UiMessages.h"

namespace vantora {

// Sends the desktop process the state of the session at its start and after every change, forwards chat and
// notifications to it, and forwards its requests to the session. A new process gets the conversation with the number of
// unseen lines, and the messages that the previous process did not carry out. Thread: main. Owner: HostAppDelegate.
class DesktopProcessClient {
 public:
  // Limits for messages waiting to be carried out by a desktop process (notifications, repeated launches, the
  // introduction); beyond either the oldest are dropped. Bytes are those of JSON text.
  static constexpr std::size_t kMaxKeptMessages = 1000;
  static constexpr qsizetype kMaxKeptBytes = 2'000'000;

  struct Callbacks {
    std::function<HostState()> state;
    std::function<void(const UiRequest&)> requested;
    std::function<void(const QString& text)> sendChat;
  };

  // `scheduler` must outlive this object. Nothing is started before start().
  DesktopProcessClient(Scheduler& scheduler, const QString& program);

  Clipboard& clipboard() { return clipboard_; }

  // Starts the desktop process for the session behind `callbacks`. With `introduce` its window opens by itself where no
  // tray shows the item: once per session, however often the process is started.
  void start(Callbacks callbacks, bool introduce);
  // The state of the session may have changed.
  void changed();
  void presentChat(const QString& from, const QString& text, qint64 ts);
  void deliverHostNotification(const QString& title, const QString& body);
  // The program was launched again by its user.
  void reopen();

 private:
  void connected();
  void take(const JsonObject& message);
  void deliver(const JsonObject& message);
  // Gives the message a "number", which the desktop process confirms once it has carried the message out; until then
  // the message is sent to each new process.
  void deliverReliably(JsonObject message);
  void ready(const JsonObject& message);

  Callbacks callbacks_;
  std::optional<HostState> lastSentState_;
  bool ready_ = false;
  ChatBacklog backlog_;
  NumberedOutbox<JsonObject> kept_{{.entries = kMaxKeptMessages, .weight = kMaxKeptBytes}};
  RemoteClipboard primary_;
  RemoteClipboard clipboard_;
  DesktopProcess process_;
};

}  // namespace vantora
