#include "main/desktop/DesktopLink.h"

#include <sys/socket.h>
#include <unistd.h>

#include <QTimer>
#include <QtEndian>
#include <array>
#include <cerrno>
#include <utility>

namespace vantora {
namespace {

constexpr qsizetype kHeaderBytes = 4;
constexpr std::size_t kPieceBytes = 65536;

bool mustWait() { return errno == EAGAIN || errno == EWOULDBLOCK; }

}  // namespace

// Directly on the socket: the toolkit's network library would load a dozen others into the desktop process.
DesktopLink::DesktopLink(int descriptor, Events events)
    : events_(std::move(events)),
      descriptor_(descriptor),
      readable_(std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read)),
      writable_(std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Write)) {
  writable_->setEnabled(false);
  QObject::connect(readable_.get(), &QSocketNotifier::activated, readable_.get(), [this] { read(); });
  QObject::connect(writable_.get(), &QSocketNotifier::activated, writable_.get(), [this] { write(); });
}

DesktopLink::~DesktopLink() {
  readable_.reset();
  writable_.reset();
  ::close(descriptor_);
}

void DesktopLink::send(const JsonObject& message) {
  if (lost_) return;
  const QByteArray text = toJson(message);
  if (text.size() > kMaxMessageBytes) return;
  if (waiting_.size() + text.size() > kMaxWaitingBytes) return lose();
  std::array<char, kHeaderBytes> header;
  qToLittleEndian<quint32>(static_cast<quint32>(text.size()), header.data());
  waiting_.append(header.data(), kHeaderBytes).append(text);
  // At once: a process that is killed in this moment has reported what its user has already seen.
  write();
}

void DesktopLink::endSending() {
  write();
  ::shutdown(descriptor_, SHUT_WR);
}

void DesktopLink::write() {
  while (!lost_ && !waiting_.isEmpty()) {
    const ssize_t count = ::send(descriptor_, waiting_.constData(), static_cast<std::size_t>(waiting_.size()),
                                 MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count > 0) {
      waiting_.remove(0, count);
    } else if (count == 0 || mustWait()) {
      break;
    } else if (errno != EINTR) {
      return lose();
    }
  }
  if (waiting_.isEmpty()) waiting_ = {};
  writable_->setEnabled(!lost_ && !waiting_.isEmpty());
}

void DesktopLink::read() {
  const bool open = receive();
  deliver();
  if (!open) lose();
}

// Takes what has arrived by now, at most one message of full length at a time. False at the end of the connection.
bool DesktopLink::receive() {
  std::array<char, kPieceBytes> piece;
  while (received_.size() <= kHeaderBytes + kMaxMessageBytes) {
    const ssize_t count = ::recv(descriptor_, piece.data(), piece.size(), MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && mustWait()) return true;
    if (count <= 0) return false;
    received_.append(piece.data(), count);
  }
  return true;
}

void DesktopLink::deliver() {
  while (!lost_ && received_.size() >= kHeaderBytes) {
    const qint64 size = qFromLittleEndian<quint32>(received_.constData());
    if (size > kMaxMessageBytes) return lose();
    if (received_.size() < kHeaderBytes + size) break;
    const auto message = parseJsonObject(received_.mid(kHeaderBytes, size));
    if (!message) return lose();
    // First: the receiver may run an event loop of its own, as a menu does, in which more arrives.
    received_.remove(0, kHeaderBytes + size);
    if (events_.message) events_.message(*message);
  }
  if (received_.isEmpty()) received_ = {};
}

void DesktopLink::lose() {
  if (lost_) return;
  lost_ = true;
  readable_->setEnabled(false);
  writable_->setEnabled(false);
  // Not at once: the receiver may destroy this object.
  QTimer::singleShot(0, readable_.get(), [this] {
    if (events_.lost) events_.lost();
  });
}

}  // namespace vantora
