// One attempt at a WebSocket connection.
#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>

namespace vantora {

// Purpose: one connection, from its first packet to its first failure; never reused. Thread: main,
// callbacks too. Owner: the Signaler, which makes a new task for each attempt.
//
// A task accepts messages before the connection is open: they wait and are sent in order when it opens. After the
// failure nothing is received and every further message is a send error.
class WebSocketTask {
 public:
  // Any of them may be empty. Called from the event loop, never from inside resume(). A callback may
  // destroy the task; nothing is called after that.
  struct Events {
    std::function<void(const QString&)> text;
    std::function<void(const QByteArray&)> binary;
    // The connection could not be made, broke, or was closed by the server; called at most once; only send errors may
    // follow.
    std::function<void(const QString& reason)> receiveError;
    // One message could not be delivered; also called from inside send().
    std::function<void(const QString& reason)> sendError;
  };

  virtual ~WebSocketTask() = default;

  // Starts connecting. Called once.
  virtual void resume() = 0;
  // Sends one text frame now or, before the connection is open, when it opens.
  virtual void send(const QString& text) = 0;
  // The address of this machine that the connection uses, as text; empty while it is not open.
  virtual QString localAddress() const = 0;
};

using WebSocketTaskFactory =
    std::function<std::unique_ptr<WebSocketTask>(const QUrl& url, WebSocketTask::Events events)>;

}  // namespace vantora
