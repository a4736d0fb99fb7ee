// WebSocket connections without a network: the test acts as the server.
#pragma once

#include <QStringList>
#include <QUrl>
#include <memory>
#include <vector>

#include "main/signalling/WebSocketTask.h"

namespace vantora::fakes {

// The calls of one task, and its callbacks. Stays readable after the task is destroyed.
struct FakeConnection {
  QUrl url;
  WebSocketTask::Events events;
  bool resumed = false;
  bool destroyed = false;
  QStringList sent;
  QString localAddress;

  // The server's side of the connection. Nothing arrives once the task is destroyed.
  void deliverText(const QString& text) {
    const auto keepAlive = events.text;
    if (!destroyed && keepAlive) keepAlive(text);
  }
  void deliverBinary(const QByteArray& bytes) {
    const auto keepAlive = events.binary;
    if (!destroyed && keepAlive) keepAlive(bytes);
  }
  void failReceiving(const QString& reason) {
    const auto keepAlive = events.receiveError;
    if (!destroyed && keepAlive) keepAlive(reason);
  }
  void failSending(const QString& reason) {
    const auto keepAlive = events.sendError;
    if (!destroyed && keepAlive) keepAlive(reason);
  }
};

class FakeWebSocketTask final : public WebSocketTask {
 public:
  explicit FakeWebSocketTask(std::shared_ptr<FakeConnection> connection) : connection_(std::move(connection)) {}
  ~FakeWebSocketTask() override { connection_->destroyed = true; }
  void resume() override { connection_->resumed = true; }
  void send(const QString& text) override { connection_->sent.append(text); }
  QString localAddress() const override { return connection_->localAddress; }

 private:
  std::shared_ptr<FakeConnection> connection_;
};

// Records every connection that was made, oldest first.
class FakeWebSockets {
 public:
  WebSocketTaskFactory factory() {
    return [this](const QUrl& url, WebSocketTask::Events events) {
      connections.push_back(std::make_shared<FakeConnection>());
      last().url = url;
      last().events = std::move(events);
      return std::make_unique<FakeWebSocketTask>(connections.back());
    };
  }
  FakeConnection& last() { return *connections.back(); }

  std::vector<std::shared_ptr<FakeConnection>> connections;
};

}  // namespace vantora::fakes
