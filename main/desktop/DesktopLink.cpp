#include "main/desktop/DesktopLink.h"

#include <sys/socket.h>

#include <QTimer>
#include <QtEndian>

namespace vantora {
namespace {

constexpr qint64 kHeaderBytes = 4;

}  // namespace

DesktopLink::DesktopLink(int descriptor, Events events) : events_(std::move(events)) {
  QObject::connect(&socket_, &QLocalSocket::readyRead, &socket_, [this] { read(); });
  QObject::connect(&socket_, &QLocalSocket::disconnected, &socket_, [this] { lose(); });
  QObject::connect(&socket_, &QLocalSocket::errorOccurred, &socket_, [this] { lose(); });
  if (!socket_.setSocketDescriptor(descriptor)) lose();
}

DesktopLink::~DesktopLink() { QObject::disconnect(&socket_, nullptr, nullptr, nullptr); }

void DesktopLink::send(const JsonObject& message) {
  if (lost_) return;
  const QByteArray text = toJson(message);
  if (text.size() > kMaxMessageBytes) return;
  if (socket_.bytesToWrite() + text.size() > kMaxWaitingBytes) return lose();
  char header[kHeaderBytes];
  qToLittleEndian<quint32>(static_cast<quint32>(text.size()), header);
  socket_.write(header, kHeaderBytes);
  socket_.write(text);
  // At once: a process that is killed in this moment has reported what its user has already seen.
  socket_.flush();
}

void DesktopLink::endSending() {
  socket_.flush();
  ::shutdown(static_cast<int>(socket_.socketDescriptor()), SHUT_WR);
}

void DesktopLink::read() {
  while (!lost_ && socket_.bytesAvailable() >= kHeaderBytes) {
    char header[kHeaderBytes];
    socket_.peek(header, kHeaderBytes);
    const qint64 size = qFromLittleEndian<quint32>(header);
    if (size > kMaxMessageBytes) return lose();
    if (socket_.bytesAvailable() < kHeaderBytes + size) return;
    socket_.skip(kHeaderBytes);
    const auto message = parseJsonObject(socket_.read(size));
    if (!message) return lose();
    if (events_.message) events_.message(*message);
  }
}

void DesktopLink::lose() {
  if (lost_) return;
  lost_ = true;
  // Not at once: the receiver may destroy this object.
  QTimer::singleShot(0, &socket_, [this] {
    if (events_.lost) events_.lost();
  });
}

}  // namespace vantora
