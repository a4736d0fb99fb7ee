#include "main/signalling/QtWebSocketTask.h"

#include <QHostAddress>
#include <QNetworkProxy>
#include <QSslSocket>

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Beyond a full message: frame headers and the surplus of one read.
constexpr qint64 kReadBufferReserve = 64 * 1024;
// Parts of a reason come from the server; a log entry must stay on one line.
constexpr qsizetype kLongestReason = 200;

constexpr auto kTooMuchWaits = "Too much is waiting for the network."_L1;

QString oneLine(const QString& reason) {
  const QString line = reason.simplified().left(kLongestReason);
  return line.isEmpty() ? u"unknown error"_s : line;
}

}  // namespace

template <typename Callback, typename... Args>
void QtWebSocketTask::emitEvent(Callback callback, const Args&... args) {
  if (!callback) return;
  const Lifetime::Handle alive = life_.handle();
  ++running_;
  callback(args...);
  if (alive) --running_;
}

QtWebSocketTask::QtWebSocketTask(QUrl url, Events events, Scheduler& scheduler, Limits limits)
    : url_(std::move(url)), events_(std::move(events)), scheduler_(scheduler), limits_(limits) {}

QtWebSocketTask::~QtWebSocketTask() {
  affinity_.check("QtWebSocketTask::~QtWebSocketTask");
  dropSocket();
}

void QtWebSocketTask::resume() {
  affinity_.check("QtWebSocketTask::resume");
  if (state_ != State::idle) return;
  state_ = State::connecting;
  socket_ = std::make_unique<QWebSocket>();
  socket_->setProxy(QNetworkProxy::NoProxy);
  const auto longest = static_cast<quint64>(limits_.incomingBytes);
  socket_->setMaxAllowedIncomingMessageSize(longest);
  socket_->setMaxAllowedIncomingFrameSize(longest);
  connectSignals();
  handshakeTimer_ = scheduler_.after(limits_.handshake, [this] { fail(u"The server does not answer."_s); });
  socket_->open(url_);
  // Only a socket that is being opened accepts the size. It limits a server that sends an endless handshake or frame
  // header; a frame is delivered once it is complete, so the longest must fit.
  socket_->setReadBufferSize(limits_.incomingBytes + kReadBufferReserve);
}

void QtWebSocketTask::connectSignals() {
  QWebSocket* socket = socket_.get();
  QObject::connect(socket, &QWebSocket::connected, socket, [this] { opened(); });
  QObject::connect(socket, &QWebSocket::textMessageReceived, socket, [this](const QString& text) {
    if (state_ != State::open) return;
    emitEvent(events_.text, text);
  });
  QObject::connect(socket, &QWebSocket::binaryMessageReceived, socket, [this](const QByteArray& bytes) {
    if (state_ != State::open) return;
    emitEvent(events_.binary, bytes);
  });
  QObject::connect(socket, &QWebSocket::pong, socket, [this] { pingUnanswered_ = false; });
  QObject::connect(socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), socket,
                   [this] { fail(socket_->errorString()); });
  // A refused connection is first reported as closed and only then with its reason: wait for the reason.
  QObject::connect(socket, &QWebSocket::disconnected, socket,
                   [this] { life_.onMain([this, reason = closeText()] { fail(reason); })(); });
}

QString QtWebSocketTask::closeText() const {
  const QString reason = socket_->closeReason();
  const QString code = QString::number(static_cast<int>(socket_->closeCode()));
  return u"The connection was closed, code "_s + code + (reason.isEmpty() ? QString() : u": "_s + reason);
}

void QtWebSocketTask::opened() {
  if (state_ != State::connecting) return;
  state_ = State::open;
  handshakeTimer_.reset();
  pingTimer_ = scheduler_.every(limits_.pingPeriod, limits_.pingPeriod, [this] { checkAlive(); });
  backlogTimer_ = scheduler_.every(limits_.backlogPeriod, limits_.backlogPeriod, [this] { checkBacklog(); });
  const Lifetime::Handle alive = life_.handle();
  QQueue<QString> texts = std::exchange(waiting_, {});
  waitingBytes_ = 0;
  while (!texts.isEmpty() && alive && state_ == State::open) transmit(texts.dequeue());
}

void QtWebSocketTask::send(const QString& text) {
  affinity_.check("QtWebSocketTask::send");
  if (state_ == State::failed) return reportSendError(failure_);
  if (state_ == State::open) return transmit(text);
  const qint64 bytes = text.size() * static_cast<qint64>(sizeof(QChar));
  if (waiting_.size() >= limits_.waitingMessages || waitingBytes_ + bytes > limits_.waitingBytes) {
    return reportSendError(u"Too much is waiting for the connection to open."_s);
  }
  waiting_.enqueue(text);
  waitingBytes_ += bytes;
}

QString QtWebSocketTask::localAddress() const {
  if (state_ != State::open) return {};
  QHostAddress address = socket_->localAddress();
  // A socket for both families has IPv4 addresses in their IPv6 form.
  bool isV4 = false;
  const quint32 v4 = address.toIPv4Address(&isV4);
  if (isV4) return QHostAddress(v4).toString();
  address.setScopeId({});
  return address.toString();
}

void QtWebSocketTask::transmit(const QString& text) {
  if (backlog() + text.size() > limits_.waitingBytes) return reportSendError(kTooMuchWaits);
  if (socket_->sendTextMessage(text) == 0) reportSendError(socket_->errorString());
}

void QtWebSocketTask::reportSendError(const QString& reason) { emitEvent(events_.sendError, oneLine(reason)); }

void QtWebSocketTask::checkAlive() {
  if (pingUnanswered_) return fail(u"The server does not answer."_s);
  pingUnanswered_ = true;
  socket_->ping();
}

qint64 QtWebSocketTask::backlog() const {
  // bytesToWrite() of an encrypted connection counts only what is not encrypted yet, which is almost nothing.
  const auto* encrypted = socket_->findChild<const QSslSocket*>();
  return socket_->bytesToWrite() + (encrypted ? encrypted->encryptedBytesToWrite() : 0);
}

void QtWebSocketTask::checkBacklog() {
  if (backlog() > limits_.waitingBytes) fail(kTooMuchWaits);
}

void QtWebSocketTask::fail(const QString& reason) {
  if (state_ == State::failed) return;
  state_ = State::failed;
  failure_ = oneLine(reason);
  handshakeTimer_.reset();
  pingTimer_.reset();
  backlogTimer_.reset();
  const qsizetype undelivered = waiting_.size();
  waiting_.clear();
  // This may be called from inside the socket's own code, even from open().
  life_.onMain([this, reason = failure_, undelivered] { reportFailure(reason, undelivered); })();
}

void QtWebSocketTask::reportFailure(const QString& reason, qsizetype undelivered) {
  dropSocket();
  const Lifetime::Handle alive = life_.handle();
  for (qsizetype i = 0; i < undelivered && alive; ++i) emitEvent(events_.sendError, reason);
  if (alive) emitEvent(events_.receiveError, reason);
}

void QtWebSocketTask::dropSocket() {
  if (!socket_) return;
  socket_->disconnect();
  // Inside a callback the socket is still on the stack.
  if (running_ > 0) {
    socket_.release()->deleteLater();
  } else {
    socket_.reset();
  }
}

WebSocketTaskFactory qtWebSocketTasks(Scheduler& scheduler) {
  return [&scheduler](const QUrl& url, WebSocketTask::Events events) {
    return std::make_unique<QtWebSocketTask>(url, std::move(events), scheduler, QtWebSocketTask::Limits{});
  };
}

}  // namespace vantora
