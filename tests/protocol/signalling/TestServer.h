// A signalling server of the test's own, on a port of its own of this machine.
#pragma once

#include <QHostAddress>
#include <QStringList>
#include <QUrl>
#include <QWebSocket>
#include <QWebSocketServer>
#include <memory>

namespace vantora::testloop {

// Keeps what every client sent; it sends to the newest client.
class TestServer {
 public:
  // Port 0 takes any free one.
  explicit TestServer(quint16 port = 0)
      : server_(std::make_unique<QWebSocketServer>(QStringLiteral("test"), QWebSocketServer::NonSecureMode)) {
    QObject::connect(server_.get(), &QWebSocketServer::newConnection, server_.get(), [this] { accept(); });
    listening_ = server_->listen(QHostAddress::LocalHost, port);
  }

  bool listening() const { return listening_; }
  quint16 port() const { return server_->serverPort(); }
  QUrl url() const { return QUrl(QStringLiteral("ws://127.0.0.1:%1").arg(port())); }
  // Clients that were accepted so far.
  int accepted() const { return accepted_; }
  bool connected() const { return client_ && client_->isValid(); }
  QWebSocket* client() { return client_.get(); }
  const QStringList& texts() const { return texts_; }

 private:
  void accept() {
    ++accepted_;
    client_.reset(server_->nextPendingConnection());
    QObject::connect(client_.get(), &QWebSocket::textMessageReceived, client_.get(),
                     [this](const QString& text) { texts_.append(text); });
  }

  std::unique_ptr<QWebSocketServer> server_;
  std::unique_ptr<QWebSocket> client_;
  QStringList texts_;
  int accepted_ = 0;
  bool listening_ = false;
};

}  // namespace vantora::testloop
