// The host's connection to the signalling server.
#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

#include "base/Json.h"
#include "base/Scheduler.h"
#include "base/ThreadAffinity.h"
#include "main/signalling/SignalingUrl.h"
#include "main/signalling/WebSocketTask.h"

namespace vantora {

// Purpose: joins the room as the host, passes on every incoming JSON object, and reconnects with a growing delay after
// a receive error. Thread: main. Owner: Host, for the life of the process.
class Signaler {
 public:
  struct Settings {
    SignalingUrl url;
    QString room;
    // The access token of the server; read at each connect, nullopt or empty means no token.
    std::function<std::optional<QString>()> tokenLookup;
  };

  // Logs the URL and calls connect(). `scheduler` and what `makeTask` needs must outlive this object.
  Signaler(Settings settings, Scheduler& scheduler, WebSocketTaskFactory makeTask);
  ~Signaler();
  Signaler(const Signaler&) = delete;
  Signaler& operator=(const Signaler&) = delete;

  // Replaces the present connection by a new one, sends "join" on it and calls `onOpen`, all before the connection is
  // open.
  void connect();

  // Sends one message as a text frame. False when there is no connection; true means that the message was queued, not
  // that it arrived. An error while sending is only logged.
  bool send(const JsonObject& message);

  // The machine's addresses changed to `addresses`, which reach other machines. Connects at once, without using up a
  // delay, when a reconnect is pending or the present connection's own address is gone: packets of such a connection
  // are dropped without an error. Returns whether it did.
  bool addressesChanged(const QStringList& addresses);

  // Called for each incoming JSON object. May be replaced, and may destroy the Signaler.
  std::function<void(const JsonObject&)> onMessage;
  // Called at the end of each connect(); the first one runs inside the constructor, when this is still empty.
  std::function<void()> onOpen;

 private:
  WebSocketTask::Events eventsOfNextTask();
  void receive(const QString& text);
  void scheduleReconnect();

  ThreadAffinity affinity_;
  const Settings settings_;
  Scheduler& scheduler_;
  const WebSocketTaskFactory makeTask_;
  // Seconds until the next reconnect. Grows for the life of the process; a success does not reset it.
  double backoff_;
  // Destroyed before the members above: a task's callbacks use them.
  std::unique_ptr<WebSocketTask> task_;
  std::unique_ptr<Timer> reconnectTimer_;
};

}  // namespace vantora
