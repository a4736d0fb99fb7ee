#include "main/desktop/SingleInstance.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <thread>
#include <utility>

namespace vantora {
namespace {

constexpr char kAgain = 'a';
constexpr char kTaken = 't';
constexpr std::chrono::milliseconds kPause{20};

using Clock = std::chrono::steady_clock;

struct Address {
  sockaddr_un value{};
  socklen_t size = 0;
};

// A name that begins with a zero byte is an abstract address, without a file.
Address addressOf(const QByteArray& name) {
  Address address;
  address.value.sun_family = AF_UNIX;
  const auto length = std::min<std::size_t>(static_cast<std::size_t>(name.size()), sizeof(address.value.sun_path) - 1);
  std::memcpy(address.value.sun_path + 1, name.constData(), length);
  address.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
  return address;
}

bool sameUser(int socket) {
  ucred peer{};
  socklen_t size = sizeof(peer);
  return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == getuid();
}

int newSocket() { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

enum class Holder {
  // It confirmed the request.
  notified,
  // It has not read the request, or its queue of requests is full.
  unresponsive,
  // It belongs to another user.
  foreign,
  // It does not listen yet, or it ended or disconnected without a reply.
  gone,
};

Holder awaitReply(int connection, Clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
  pollfd input{connection, POLLIN, 0};
  const int ready = poll(&input, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
  if (ready == 0) return Holder::unresponsive;
  char reply = 0;
  return ready == 1 && recv(connection, &reply, 1, 0) == 1 && reply == kTaken ? Holder::notified : Holder::gone;
}

// Sends the request to the holder of the name and waits for its reply until `end`.
Holder notifyHolder(const Address& address, Clock::time_point end) {
  const int connection = newSocket();
  if (connection < 0) return Holder::gone;
  Holder holder = Holder::gone;
  if (connect(connection, reinterpret_cast<const sockaddr*>(&address.value), address.size) != 0) {
    if (errno == EAGAIN) holder = Holder::unresponsive;
  } else if (!sameUser(connection)) {
    holder = Holder::foreign;
  } else if (send(connection, &kAgain, 1, MSG_NOSIGNAL) == 1) {
    holder = awaitReply(connection, end);
  }
  close(connection);
  return holder;
}

}  // namespace

QByteArray launchName(const Environment& environment, const QString& room, const QString& signalingUrl) {
  QByteArray parts = QByteArray::number(getuid());
  for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS"}) {
    parts += '\n' + environment.value(variable).value_or(QString()).toUtf8();
  }
  parts += '\n' + room.toUtf8() + '\n' + signalingUrl.toUtf8();
  return "vantora-host-" + QCryptographicHash::hash(parts, QCryptographicHash::Sha256).toHex().left(32);
}

SingleInstance::~SingleInstance() {
  notifier_.reset();
  if (descriptor_ >= 0) close(descriptor_);
}

SingleInstance::Outcome SingleInstance::acquire(const QByteArray& name, std::function<void()> launchedAgain,
                                                std::chrono::milliseconds timeout) {
  const Address address = addressOf(name);
  const auto end = Clock::now() + timeout;
  for (;;) {
    descriptor_ = newSocket();
    if (descriptor_ < 0) return Outcome::firstLaunch;
    if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&address.value), address.size) == 0) break;
    const int error = errno;
    close(std::exchange(descriptor_, -1));
    if (error != EADDRINUSE) return Outcome::firstLaunch;
    const Holder holder = notifyHolder(address, end);
    if (holder == Holder::notified) return Outcome::notifiedRunning;
    if (holder == Holder::foreign) return Outcome::firstLaunch;
    // An unresponsive holder reads the request when it continues. A second host beside it would compete with it for the
    // room.
    if (Clock::now() >= end) return holder == Holder::unresponsive ? Outcome::notifiedRunning : Outcome::firstLaunch;
    std::this_thread::sleep_for(kPause);
  }
  if (listen(descriptor_, 8) != 0) return Outcome::firstLaunch;
  launchedAgain_ = std::move(launchedAgain);
  notifier_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { accept(); });
  return Outcome::firstLaunch;
}

void SingleInstance::accept() {
  const int connection = accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (connection < 0) return;
  // The request is sent right after connecting; a caller that sends none gets no reply.
  char request = 0;
  pollfd input{connection, POLLIN, 0};
  const bool again =
      sameUser(connection) && poll(&input, 1, 20) == 1 && recv(connection, &request, 1, 0) == 1 && request == kAgain;
  if (again) send(connection, &kTaken, 1, MSG_NOSIGNAL);
  close(connection);
  if (again) launchedAgain_();
}

}  // namespace vantora
