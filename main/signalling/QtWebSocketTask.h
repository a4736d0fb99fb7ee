// WebSocket connections through Qt.
#pragma once

#include <QQueue>
#include <QWebSocket>
#include <chrono>
#include <memory>

#include "base/Lifetime.h"
#include "base/Scheduler.h"
#include "base/ThreadAffinity.h"
#include "main/signalling/WebSocketTask.h"

namespace vantora {

// Purpose: the WebSocketTask over a QWebSocket, with a limit to every wait and every buffer. Thread: main. Owner: see
// WebSocketTask. Connects directly, without any proxy, as the media does. TLS certificates are verified against the
// system's authorities.
class QtWebSocketTask final : public WebSocketTask {
 public:
  struct Limits {
    // From resume() until the connection is open.
    std::chrono::milliseconds handshake{10'000};
    // A ping goes out this often; a server that has not answered it when the next is due counts as dead.
    std::chrono::milliseconds pingPeriod{10'000};
    // Maximum size of a message from the server; a longer one breaks the connection.
    qint64 incomingBytes = 4 * 1024 * 1024;
    // Maximum number of messages that wait for the connection to open, and of bytes that wait in them or for the
    // network.
    qsizetype waitingMessages = 256;
    qint64 waitingBytes = 4 * 1024 * 1024;
    // A message that would exceed them is not sent. Pongs to a server that does not read can exceed them as well: this
    // is checked at this interval and breaks the connection.
    std::chrono::milliseconds backlogPeriod{1'000};
  };

  // `scheduler` must outlive the task.
  QtWebSocketTask(QUrl url, Events events, Scheduler& scheduler, Limits limits);
  ~QtWebSocketTask() override;
  QtWebSocketTask(const QtWebSocketTask&) = delete;
  QtWebSocketTask& operator=(const QtWebSocketTask&) = delete;

  void resume() override;
  void send(const QString& text) override;
  QString localAddress() const override;

 private:
  enum class State { idle, connecting, open, failed };

  // Calls a copy of `callback`, which may destroy this task.
  template <typename Callback, typename... Args>
  void emitEvent(Callback callback, const Args&... args);

  void connectSignals();
  void opened();
  void transmit(const QString& text);
  void reportSendError(const QString& reason);
  void checkAlive();
  // Bytes that wait for the network.
  qint64 backlog() const;
  void checkBacklog();
  void fail(const QString& reason);
  void reportFailure(const QString& reason, qsizetype undelivered);
  void dropSocket();
  QString closeText() const;

  ThreadAffinity affinity_;
  const QUrl url_;
  const Events events_;
  Scheduler& scheduler_;
  const Limits limits_;
  State state_ = State::idle;
  int running_ = 0;  // Number of callbacks in progress.
  QQueue<QString> waiting_;
  qint64 waitingBytes_ = 0;
  bool pingUnanswered_ = false;
  QString failure_;
  std::unique_ptr<QWebSocket> socket_;
  std::unique_ptr<Timer> handshakeTimer_;
  std::unique_ptr<Timer> pingTimer_;
  std::unique_ptr<Timer> backlogTimer_;
  Lifetime life_;
};

// Makes tasks with the default limits. `scheduler` must outlive the factory and its tasks.
[[nodiscard]] WebSocketTaskFactory qtWebSocketTasks(Scheduler& scheduler);

}  // namespace vantora
