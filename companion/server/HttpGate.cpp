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
  // Bounds what a client can make us hold before it is known what it wants.
  socket_->setReadBufferSize(kMaxRequestHead + 1);
  QObject::connect(socket_.get(), &QTcpSocket::readyRead, socket_.get(), [this] { look(); });
  QObject::connect(socket_.get(), &QTcpSocket::disconnected, socket_.get(), [this] { finish(); });
  if (socket_->bytesAvailable() > 0) look();
}

HttpGate::~HttpGate() {
  if (!socket_) return;
  QObject::disconnect(socket_.get(), nullptr, socket_.get(), nullptr);
  socket_->abort();
  // A signal of the socket may be what led here.
  socket_.release()->deleteLater();
}

void HttpGate::look() {
  if (answered_ || !socket_) return;
  const QByteArray received = socket_->peek(kMaxRequestHead + 1);
  if (!hasWholeHead(received)) {
    if (received.size() > kMaxRequestHead) {
      answerAndClose(StaticFiles::plainAnswer(431, "Request Header Fields Too Large"));
    }
    return;
  }
  const auto request = parseRequestHead(received);
  if (!request) {
    answerAndClose(StaticFiles::plainAnswer(400, "Bad Request"));
  } else if (!request->upgradesToWebSocket) {
    answerAndClose(files_.answer(*request));
  } else if (!policy_.admits(*request)) {
    answerAndClose(StaticFiles::explainedAnswer(403, "Forbidden", kStrangePage));
  } else {
    QObject::disconnect(socket_.get(), nullptr, socket_.get(), nullptr);
    socket_->setReadBufferSize(0);
    callbacks_.onUpgrade(socket_.release());
    finish();
  }
}

void HttpGate::answerAndClose(const QByteArray& answer) {
  answered_ = true;
  socket_->readAll();
  socket_->write(answer);
  socket_->disconnectFromHost();  // after the bytes are out
}

void HttpGate::finish() {
  // The callback is moved out first: it may come to be called twice, and means something once.
  if (const auto done = std::exchange(callbacks_.onDone, nullptr)) done();
}

}  // namespace vantora::companion
