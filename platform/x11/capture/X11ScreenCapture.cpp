#include "platform/x11/capture/X11ScreenCapture.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <mutex>
#include <utility>

#include "platform/x11/ConnectLock.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/Xwayland.h"
#include "platform/x11/capture/XConnection.h"
#include "platform/x11/capture/XScreenReader.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class X11ScreenCapture final : public ScreenCapture {
 public:
  explicit X11ScreenCapture(std::string displayName)
      : displayName_(std::move(displayName)), wakeUp_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
  ~X11ScreenCapture() override {
    close();
    ::close(wakeUp_);
  }

  Opened open(int displayIndex) override;
  Poll poll(CapturedFrame& frame) override;
  Woken wait(std::chrono::nanoseconds timeout, WakeOn wakeOn) override;
  void wake() override;
  void abandon() override;
  void close() override;

 private:
  // Longest wait, so that the time fits the system call.
  static constexpr std::chrono::hours kMaxWait{24};
  // A wait of this length means that the screen has been still for a while: the pixels are not needed meanwhile.
  static constexpr std::chrono::milliseconds kRest{500};

  bool takeWakeUp();
  void keepSocket();
  bool isAbandoned();

  const std::string displayName_;
  const int wakeUp_;

  // Guards the next two, for abandon().
  std::mutex socketMutex_;
  int socket_ = -1;  // A second descriptor of the connection's socket.
  bool abandoned_ = false;

  // Set by Xlib within calls on the connection.
  std::atomic<bool> lost_{false};
  x11::Connection connection_;
  std::unique_ptr<x11::XScreenReader> reader_;
};

ScreenCapture::Opened X11ScreenCapture::open(int displayIndex) {
  close();
  x11::ignoreRequestErrors();
  if (X11Connection server(QString::fromStdString(displayName_)); server.open() != nullptr) {
    if (isXwayland(server)) return {Outcome::refused, 0, kXwaylandShowsNothing.toString()};
    // Xlib waits without limit for a server that does not respond; this one has just replied.
    const std::unique_lock lock(x11::connectMutex(), X11Connection::kTimeout);
    if (lock && !isAbandoned()) connection_ = x11::connect(displayName_);
  }
  if (connection_) keepSocket();
  if (!connection_) {
    const QString name = QString::fromStdString(x11::displayName(displayName_));
    return {Outcome::refused, 0, u"cannot open display \"%1\""_s.arg(name)};
  }
  lost_.store(false);
  x11::surviveServerLoss(connection_.get(), &lost_);
  x11::ignoreServerGrabs(connection_.get());

  reader_ = x11::XScreenReader::create(connection_.get());
  if (!reader_ || lost_.load()) {
    close();
    return {Outcome::refused, 0, u"the display does not allow its picture to be read"_s};
  }
  const int count = reader_->monitorCount();
  if (count == 0) {
    close();
    return {Outcome::noDisplay, 0, {}};
  }
  const int index = std::clamp(displayIndex, 0, count - 1);
  reader_->select(index);
  return {Outcome::opened, index, {}};
}

ScreenCapture::Poll X11ScreenCapture::poll(CapturedFrame& frame) {
  if (!reader_ || lost_.load()) return Poll::lost;
  const x11::XScreenReader::Changes changes = reader_->read();
  if (lost_.load()) return Poll::lost;
  if (changes.failed) return Poll::notReady;
  if (changes.areas.empty()) return Poll::unchanged;
  const x11::Area area = reader_->area();
  frame.memory = CpuPixels{reader_->pixels(), reader_->stride()};
  frame.format = PixelFormat::bgrx;
  frame.timestamp = std::chrono::steady_clock::now().time_since_epoch();
  frame.size = {area.width, area.height};
  frame.complete = false;
  frame.damage.clear();
  for (const x11::Area& each : changes.areas) frame.damage.emplace_back(each.x, each.y, each.width, each.height);
  return Poll::changed;
}

ScreenCapture::Woken X11ScreenCapture::wait(std::chrono::nanoseconds timeout, WakeOn wakeOn) {
  const bool watch = wakeOn == WakeOn::changeOrCall && connection_ != nullptr;
  // Events may already have been read from the socket together with a reply.
  if (watch && (lost_.load() || x11::hasEvents(connection_.get()))) return Woken::change;
  if (reader_ && timeout >= kRest) reader_->release();
  pollfd files[2] = {{wakeUp_, POLLIN, 0}, {watch ? x11::socketOf(connection_.get()) : -1, POLLIN, 0}};
  const auto bounded = std::clamp<std::chrono::nanoseconds>(timeout, std::chrono::nanoseconds(0), kMaxWait);
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(bounded);
  const timespec time{static_cast<time_t>(seconds.count()), static_cast<long>((bounded - seconds).count())};
  if (::ppoll(files, 2, &time, nullptr) <= 0) return Woken::timeout;
  if (takeWakeUp()) return Woken::call;
  return files[1].revents != 0 ? Woken::change : Woken::timeout;
}

bool X11ScreenCapture::takeWakeUp() {
  eventfd_t count = 0;
  return ::eventfd_read(wakeUp_, &count) == 0;
}

void X11ScreenCapture::wake() { (void)::eventfd_write(wakeUp_, 1); }

void X11ScreenCapture::keepSocket() {
  const std::lock_guard lock(socketMutex_);
  socket_ = ::fcntl(x11::socketOf(connection_.get()), F_DUPFD_CLOEXEC, 0);
  if (abandoned_) ::shutdown(socket_, SHUT_RDWR);
}

bool X11ScreenCapture::isAbandoned() {
  const std::lock_guard lock(socketMutex_);
  return abandoned_;
}

void X11ScreenCapture::abandon() {
  const std::lock_guard lock(socketMutex_);
  abandoned_ = true;
  // Any waiting Xlib call then reads the end of the connection.
  if (socket_ >= 0) ::shutdown(socket_, SHUT_RDWR);
}

void X11ScreenCapture::close() {
  reader_.reset();
  connection_.reset();
  const std::lock_guard lock(socketMutex_);
  if (socket_ >= 0) ::close(std::exchange(socket_, -1));
}

}  // namespace

std::unique_ptr<ScreenCapture> makeX11ScreenCapture(std::string displayName) {
  return std::make_unique<X11ScreenCapture>(std::move(displayName));
}

}  // namespace vantora
