#include "platform/x11/X11Connection.h"

#include <poll.h>
#include <xcb/xcbext.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <condition_variable>
#include <thread>
#include <utility>

#include "platform/x11/ConnectLock.h"

namespace vantora {
namespace {

using Clock = std::chrono::steady_clock;

// A wait for the server is divided into waits of this length. A pause of the whole machine uses up only one of them, so
// the server can still reply in the others.
constexpr std::chrono::milliseconds kSlice{100};

// Whether one of `events` occurred within `timeout`.
bool pollFor(xcb_connection_t* connection, short events, std::chrono::milliseconds timeout) {
  pollfd ready{xcb_get_file_descriptor(connection), events, 0};
  return ::poll(&ready, 1, static_cast<int>(timeout.count())) > 0;
}

}  // namespace

// xcb waits without limit for a server that accepts a connection and does not reply, so the opening runs on a separate
// thread, which may outlive the X11Connection.
struct X11Connection::Attempt {
  std::mutex mutex;
  std::condition_variable ended;
  bool done = false;
  bool unwanted = false;
  xcb_connection_t* connection = nullptr;
  int screenNumber = 0;

  static std::shared_ptr<Attempt> begin(const QByteArray& displayName) {
    auto attempt = std::make_shared<Attempt>();
    std::thread([attempt, displayName] { attempt->run(displayName); }).detach();
    return attempt;
  }

  void run(const QByteArray& displayName) {
    int number = 0;
    xcb_connection_t* opened = nullptr;
    {
      const std::lock_guard lock(x11::connectMutex());
      opened = xcb_connect(displayName.isEmpty() ? nullptr : displayName.constData(), &number);
    }
    const std::lock_guard lock(mutex);
    if (unwanted) return xcb_disconnect(opened);
    connection = opened;
    screenNumber = number;
    done = true;
    ended.notify_all();
  }

  void abandon() {
    const std::lock_guard lock(mutex);
    unwanted = true;
    if (connection != nullptr) xcb_disconnect(connection);
  }
};

X11Connection::X11Connection(const QString& displayName) : displayName_(displayName.toLocal8Bit()) {}

X11Connection::~X11Connection() {
  if (attempt_) attempt_->abandon();
  if (connection_ != nullptr) xcb_disconnect(connection_);
}

xcb_connection_t* X11Connection::open() {
  if (xcb_connection_t* live = current()) return live;
  if (connection_ != nullptr && xcb_connection_has_error(connection_) == 0) return nullptr;
  if (connection_ != nullptr) xcb_disconnect(connection_);
  connection_ = nullptr;
  probe_.reset();
  if (!takeAttempt()) return nullptr;
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
  for (int skipped = 0; skipped < screenNumber_ && screens.rem > 1; ++skipped) xcb_screen_next(&screens);
  screen_ = screens.data;
  ++generation_;
  return connection_;
}

// Starts to open a connection and waits for it; only checks the result when it was started before.
bool X11Connection::takeAttempt() {
  const bool first = attempt_ == nullptr;
  if (first) attempt_ = Attempt::begin(displayName_);
  {
    std::unique_lock lock(attempt_->mutex);
    for (auto left = first ? kTimeout : kTimeout * 0; !attempt_->done && left.count() > 0; left -= kSlice) {
      attempt_->ended.wait_for(lock, kSlice, [this] { return attempt_->done; });
    }
    if (!attempt_->done) return false;
    connection_ = attempt_->connection;
    screenNumber_ = attempt_->screenNumber;
  }
  attempt_.reset();
  return xcb_connection_has_error(connection_) == 0;
}

xcb_connection_t* X11Connection::current() {
  return connection_ != nullptr && xcb_connection_has_error(connection_) == 0 && responsive() ? connection_ : nullptr;
}

xcb_connection_t* X11Connection::writableConnection() {
  const bool open = connection_ != nullptr && xcb_connection_has_error(connection_) == 0;
  return open && writable(std::chrono::milliseconds(0)) ? connection_ : nullptr;
}

bool X11Connection::responsive() {
  if (!probe_) {
    if (writable(kTimeout)) return true;
    fallSilent();
    return false;
  }
  if (writable(std::chrono::milliseconds(0))) xcb_flush(connection_);
  void* answer = nullptr;
  if (xcb_poll_for_reply(connection_, *probe_, &answer, nullptr) == 0) return false;
  std::free(answer);
  probe_.reset();
  if (xcb_connection_has_error(connection_) != 0) return false;
  ++generation_;
  return true;
}

// A writable socket has room for more than xcb buffers before it writes.
bool X11Connection::writable(std::chrono::milliseconds timeout) const { return pollFor(connection_, POLLOUT, timeout); }

void* X11Connection::await(unsigned int sequence) {
  if (connection_ == nullptr || sequence == 0) return nullptr;
  if (probe_) {
    xcb_discard_reply(connection_, sequence);
    return nullptr;
  }
  xcb_flush(connection_);
  Clock::duration left = kTimeout;
  for (auto last = Clock::now();;) {
    void* answer = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(connection_, sequence, &answer, &error) != 0) {
      std::free(error);
      return answer;
    }
    const auto now = Clock::now();
    left -= std::min<Clock::duration>(now - std::exchange(last, now), kSlice);
    if (left.count() <= 0) break;
    pollFor(connection_, POLLIN, std::min(std::chrono::ceil<std::chrono::milliseconds>(left), kSlice));
  }
  xcb_discard_reply(connection_, sequence);
  fallSilent();
  return nullptr;
}

void X11Connection::fallSilent() {
  probe_ = xcb_get_input_focus_unchecked(connection_).sequence;
  if (writable(std::chrono::milliseconds(0))) xcb_flush(connection_);
}

bool X11Connection::roundTrip() {
  if (connection_ == nullptr) return false;
  return reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus_unchecked(connection_)) != nullptr;
}

bool X11Connection::offers(xcb_extension_t* extension) {
  if (connection_ == nullptr) return false;
  xcb_prefetch_extension_data(connection_, extension);
  // Replies come in order: after this one the extension's has arrived too, so hasExtension() does not wait.
  return roundTrip() && hasExtension(connection_, extension);
}

bool X11Connection::ignoreServerGrabs() {
  if (!offers(&xcb_test_id)) return false;
  xcb_test_grab_control(connection_, 1);
  return true;
}

bool hasExtension(xcb_connection_t* connection, xcb_extension_t* extension) {
  const xcb_query_extension_reply_t* reply = xcb_get_extension_data(connection, extension);
  return reply != nullptr && reply->present != 0;
}

}  // namespace vantora
