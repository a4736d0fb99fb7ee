#include "main/desktop/SecondLaunch.h"

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

// A name that begins with a zero byte stands for no file.
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
  // It has the word.
  told,
  // It has the word unread, or so many of them that no other finds room.
  asleep,
  // Another user's.
  foreign,
  // It does not listen yet, or went or hung up without an answer.
  gone,
};

Holder answerOn(int line, Clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
  pollfd answer{line, POLLIN, 0};
  const int ready = poll(&answer, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
  if (ready == 0) return Holder::asleep;
  char reply = 0;
  return ready == 1 && recv(line, &reply, 1, 0) == 1 && reply == kTaken ? Holder::told : Holder::gone;
}

// Says the word to the holder of the name and waits for its answer until `end`.
Holder tellHolder(const Address& address, Clock::time_point end) {
  const int line = newSocket();
  if (line < 0) return Holder::gone;
  Holder holder = Holder::gone;
  if (connect(line, reinterpret_cast<const sockaddr*>(&address.value), address.size) != 0) {
    if (errno == EAGAIN) holder = Holder::asleep;
  } else if (!sameUser(line)) {
    holder = Holder::foreign;
  } else if (send(line, &kAgain, 1, MSG_NOSIGNAL) == 1) {
    holder = answerOn(line, end);
  }
  close(line);
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

SecondLaunch::~SecondLaunch() {
  notifier_.reset();
  if (descriptor_ >= 0) close(descriptor_);
}

SecondLaunch::Outcome SecondLaunch::claim(const QByteArray& name, std::function<void()> launchedAgain,
                                          std::chrono::milliseconds timeout) {
  const Address address = addressOf(name);
  const auto end = Clock::now() + timeout;
  for (;;) {
    descriptor_ = newSocket();
    if (descriptor_ < 0) return Outcome::first;
    if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&address.value), address.size) == 0) break;
    const int error = errno;
    close(std::exchange(descriptor_, -1));
    if (error != EADDRINUSE) return Outcome::first;
    const Holder holder = tellHolder(address, end);
    if (holder == Holder::told) return Outcome::toldOther;
    if (holder == Holder::foreign) return Outcome::first;
    // One that sleeps finds the word when it wakes. A second host beside it would fight with it for the room.
    if (Clock::now() >= end) return holder == Holder::asleep ? Outcome::toldOther : Outcome::first;
    std::this_thread::sleep_for(kPause);
  }
  if (listen(descriptor_, 8) != 0) return Outcome::first;
  launchedAgain_ = std::move(launchedAgain);
  notifier_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { accept(); });
  return Outcome::first;
}

void SecondLaunch::accept() {
  const int line = accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (line < 0) return;
  // The word was sent right after the connection was made; a caller that sends none is left without an answer.
  char word = 0;
  pollfd input{line, POLLIN, 0};
  const bool again = sameUser(line) && poll(&input, 1, 20) == 1 && recv(line, &word, 1, 0) == 1 && word == kAgain;
  if (again) send(line, &kTaken, 1, MSG_NOSIGNAL);
  close(line);
  if (again) launchedAgain_();
}

}  // namespace vantora
