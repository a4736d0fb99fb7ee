#include "platform/wayland/WaylandConnection.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/process/FileDescriptor.h"

namespace vantora {
namespace {

// Does not wait for a compositor that accepts nobody. -1 without one.
int connectTo(const QByteArray& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.isEmpty() || static_cast<std::size_t>(path.size()) >= sizeof address.sun_path) return -1;
  std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return -1;
  if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return descriptor;
  FileDescriptor(descriptor).reset();
  return -1;
}

}  // namespace

WaylandConnection::WaylandConnection(const QString& socket, Handlers handlers)
    : socket_(socket.toLocal8Bit()), handlers_(std::move(handlers)) {
  // The library reports a lost connection on standard error.
  wl_log_set_handler_client([](const char*, va_list) {});
  again_.setSingleShot(true);
  QObject::connect(&again_, &QTimer::timeout, &context_, [this] { tryAgain(); });
  again_.start(0);
}

WaylandConnection::~WaylandConnection() {
  if (display_ != nullptr) lose();
}

void WaylandConnection::open() {
  if (const int descriptor = connectTo(socket_); descriptor >= 0) display_ = wl_display_connect_to_fd(descriptor);
  if (display_ == nullptr) return reopen();
  readable_.reset(new QSocketNotifier(wl_display_get_fd(display_), QSocketNotifier::Read));
  writable_.reset(new QSocketNotifier(wl_display_get_fd(display_), QSocketNotifier::Write));
  writable_->setEnabled(false);
  QObject::connect(readable_.get(), &QSocketNotifier::activated, &context_, [this] { receive(); });
  QObject::connect(writable_.get(), &QSocketNotifier::activated, &context_, [this] { flush(); });
  handlers_.opened(display_);
  flush();
}

void WaylandConnection::tryAgain() {
  if (display_ == nullptr) return open();
  lose();
  reopen();
}

void WaylandConnection::lose() {
  readable_.reset();
  writable_.reset();
  handlers_.lost();
  wl_display_disconnect(std::exchange(display_, nullptr));
}

void WaylandConnection::reopen() {
  if (again_.isActive()) return;
  if (display_ != nullptr) {
    readable_->setEnabled(false);
    writable_->setEnabled(false);
    again_.start(0);
  } else {
    again_.start(pause_);
    pause_ = std::min(pause_ * 2, kLastPause);
  }
}

void WaylandConnection::receive() {
  while (wl_display_prepare_read(display_) != 0) {
    if (wl_display_dispatch_pending(display_) < 0) return reopen();
  }
  // Does not wait: what has come is all there is.
  if (wl_display_read_events(display_) < 0 || wl_display_dispatch_pending(display_) < 0) return reopen();
  flush();
}

void WaylandConnection::flush() {
  if (display_ == nullptr || again_.isActive()) return;
  const bool blocked = wl_display_flush(display_) < 0 && errno == EAGAIN;
  if (wl_display_get_error(display_) != 0) return reopen();
  writable_->setEnabled(blocked);
}

}  // namespace vantora
