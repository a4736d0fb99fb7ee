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

#include "modules/desktop_capture/desktop_capture_options.h"
#include "modules/desktop_capture/desktop_capturer.h"
#include "modules/desktop_capture/desktop_region.h"
#include "modules/desktop_capture/linux/x11/shared_x_display.h"
#include "platform/x11/ConnectLock.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/Xwayland.h"
#include "platform/x11/capture/XConnection.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class X11ScreenCapture final : public ScreenCapture, private webrtc::DesktopCapturer::Callback {
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

  void OnCaptureResult(webrtc::DesktopCapturer::Result result, std::unique_ptr<webrtc::DesktopFrame> frame) override;
  void describe(CapturedFrame& frame, bool whole) const;
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
  rtc::scoped_refptr<webrtc::SharedXDisplay> connection_;
  std::unique_ptr<webrtc::DesktopCapturer> capturer_;
  // The capturer uses two frames in turn, so at most one may be held during a capture.
  std::unique_ptr<webrtc::DesktopFrame> frame_;
  webrtc::DesktopCapturer::Result result_ = webrtc::DesktopCapturer::Result::ERROR_TEMPORARY;
  bool firstPoll_ = true;
  // The server reports damage once, until the damage is subtracted. Reading the whole screen does not subtract it, so a
  // change in between would never be reported.
  bool pollAgain_ = false;
};

ScreenCapture::Opened X11ScreenCapture::open(int displayIndex) {
  close();
  x11::ignoreRequestErrors();
  if (X11Connection server(QString::fromStdString(displayName_)); server.open() != nullptr) {
    if (isXwayland(server)) return {Outcome::refused, 0, kXwaylandShowsNothing.toString()};
    // Xlib waits without limit for a server that does not respond; this one has just replied.
    const std::unique_lock lock(x11::connectMutex(), X11Connection::kTimeout);
    if (lock && !isAbandoned()) connection_ = webrtc::SharedXDisplay::Create(displayName_);
  }
  if (connection_) keepSocket();
  if (!connection_) {
    const QString name = QString::fromStdString(x11::displayName(displayName_));
    return {Outcome::refused, 0, u"cannot open display \"%1\""_s.arg(name)};
  }
  lost_.store(false);
  x11::surviveServerLoss(connection_->display(), &lost_);
  x11::ignoreServerGrabs(connection_->display());

  webrtc::DesktopCaptureOptions options;
  options.set_x_display(connection_);
  options.set_use_update_notifications(true);
  capturer_ = webrtc::DesktopCapturer::CreateScreenCapturer(options);
  if (!capturer_ || lost_.load()) {
    close();
    return {Outcome::refused, 0, u"the display does not allow its picture to be read"_s};
  }
  webrtc::DesktopCapturer::SourceList sources;
  if (!capturer_->GetSourceList(&sources) || sources.empty()) {
    close();
    return {Outcome::noDisplay, 0, {}};
  }
  const int index = std::clamp(displayIndex, 0, static_cast<int>(sources.size()) - 1);
  if (!capturer_->SelectSource(sources[static_cast<std::size_t>(index)].id)) {
    close();
    return {Outcome::refused, 0, u"display %1 cannot be selected"_s.arg(index)};
  }
  capturer_->Start(this);
  firstPoll_ = true;
  return {Outcome::opened, index, {}};
}

ScreenCapture::Poll X11ScreenCapture::poll(CapturedFrame& frame) {
  using Result = webrtc::DesktopCapturer::Result;
  if (!capturer_ || lost_.load()) return Poll::lost;
  const webrtc::DesktopSize previous = frame_ ? frame_->size() : webrtc::DesktopSize();
  frame_.reset();
  result_ = Result::ERROR_TEMPORARY;
  capturer_->CaptureFrame();
  if (lost_.load() || result_ == Result::ERROR_PERMANENT) return Poll::lost;
  if (result_ != Result::SUCCESS || !frame_ || frame_->size().is_empty()) return Poll::notReady;
  const bool wholeIsNew = std::exchange(firstPoll_, false) || !previous.equals(frame_->size());
  pollAgain_ = wholeIsNew;
  if (!wholeIsNew && frame_->updated_region().is_empty()) return Poll::unchanged;
  describe(frame, wholeIsNew);
  // Reading the whole screen does not subtract the damage.
  const int height = frame_->size().height();
  if (frame.damage.front().top() == 0 && frame.damage.back().bottom() + 1 == height) pollAgain_ = true;
  return Poll::changed;
}

void X11ScreenCapture::describe(CapturedFrame& frame, bool whole) const {
  frame.memory = CpuPixels{frame_->data(), frame_->stride()};
  frame.format = PixelFormat::bgrx;
  frame.timestamp = std::chrono::steady_clock::now().time_since_epoch();
  frame.size = {frame_->size().width(), frame_->size().height()};
  frame.damage.clear();
  if (whole) {
    frame.damage.emplace_back(QPoint(0, 0), frame.size);
    return;
  }
  // Ordered from the top.
  for (webrtc::DesktopRegion::Iterator it(frame_->updated_region()); !it.IsAtEnd(); it.Advance()) {
    frame.damage.emplace_back(it.rect().left(), it.rect().top(), it.rect().width(), it.rect().height());
  }
}

void X11ScreenCapture::OnCaptureResult(webrtc::DesktopCapturer::Result result,
                                       std::unique_ptr<webrtc::DesktopFrame> frame) {
  result_ = result;
  frame_ = std::move(frame);
}

ScreenCapture::Woken X11ScreenCapture::wait(std::chrono::nanoseconds timeout, WakeOn wakeOn) {
  const bool watch = wakeOn == WakeOn::changeOrCall && connection_;
  // Events may already have been read from the socket together with a reply.
  if (watch && (pollAgain_ || lost_.load() || x11::hasEvents(connection_->display()))) return Woken::change;
  pollfd files[2] = {{wakeUp_, POLLIN, 0}, {watch ? x11::socketOf(connection_->display()) : -1, POLLIN, 0}};
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
  socket_ = ::fcntl(x11::socketOf(connection_->display()), F_DUPFD_CLOEXEC, 0);
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
  frame_.reset();
  capturer_.reset();
  connection_ = nullptr;  // Its destructor also sends requests to the server.
  const std::lock_guard lock(socketMutex_);
  if (socket_ >= 0) ::close(std::exchange(socket_, -1));
}

}  // namespace

std::unique_ptr<ScreenCapture> makeX11ScreenCapture(std::string displayName) {
  return std::make_unique<X11ScreenCapture>(std::move(displayName));
}

}  // namespace vantora
