#include "companion/server/HttpGate.h"

namespace vantora::companion {

namespace {

constexpr QByteArrayView kStrangePage =
    "Rooms are open to the pages of this server only. Allow a page from elsewhere with --allow-origin.\n";

}  // namespace

HttpGate::HttpGate(std::unique_ptr<QTcpSocket> socket, const StaticFiles& files, const OriginPolicy& policy,
                   Scheduler& scheduler, std::chrono::milliseconds timeout, Callbacks callbacks)
    : socket_(std::move(socket)),
      files_(files),
      policy_(policy),
      callbacks_(std::move(callbacks)),
      timeout_(scheduler.after(timeout, [this] { finish(); })) {
  socket_->setParent(nullptr);
  // Bounds the memory that a client can occupy before its request is known.
  socket_->setReadBufferSize(kMaxRequestHead + 1);
  QObject::connect(socket_.get(), &QTcpSocket::readyRead, socket_.get(), [this] { inspect(); });
  QObject::connect(socket_.get(), &QTcpSocket::disconnected, socket_.get(), [this] { finish(); });
  if (socket_->bytesAvailable() > 0) inspect();
}

HttpGate::~HttpGate() {
  if (!socket_) return;
  QObject::disconnect(socket_.get(), nullptr, socket_.get(), nullptr);
  socket_->abort();
  // This may run inside a signal of the socket.
  socket_.release()->deleteLater();
}

void HttpGate::inspect() {
  if (responded_ || !socket_) return;
  const QByteArray received = socket_->peek(kMaxRequestHead + 1);
  if (!hasWholeHead(received)) {
    if (received.size() > kMaxRequestHead) {
      respondAndClose(StaticFiles::plainResponse(431, "Request Header Fields Too Large"));
    }
    return;
  }
  const auto request = parseRequestHead(received);
  if (!request) {
    respondAndClose(StaticFiles::plainResponse(400, "Bad Request"));
  } else if (!request->upgradesToWebSocket) {
    respondAndClose(files_.response(*request));
  } else if (!policy_.admits(*request)) {
    respondAndClose(StaticFiles::explainedResponse(403, "Forbidden", kStrangePage));
  } else {
    QObject::disconnect(socket_.get(), nullptr, socket_.get(), nullptr);
    socket_->setReadBufferSize(0);
    callbacks_.onUpgrade(socket_.release());
    finish();
  }
}

void HttpGate::respondAndClose(const QByteArray& response) {
  responded_ = true;
  socket_->readAll();
  socket_->write(response);
  socket_->disconnectFromHost();  // after the bytes are out
}

void HttpGate::finish() {
  // The callback is moved out first: this may run twice, but the callback must be called once only.
  if (const auto done = std::exchange(callbacks_.onDone, nullptr)) done();
}

}  // namespace vantora::companion
