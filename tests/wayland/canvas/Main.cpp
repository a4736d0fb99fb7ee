// wayland_canvas [COMMAND...]: a window on a Wayland desktop for tests, controlled over the standard input, one command
// a line; arguments are commands that come first. What happens is told on the standard output, one JSON object a line.
//
//   fullscreen [INDEX]         cover the output with that number (0)
//   size W H                   a window of that size, in layout units
//   paint RRGGBB X Y W H       fill an area
//   clear RRGGBB               fill everything
//   cursor NAME|none|bitmap    a cursor of the theme; none; an image that no theme has
//   copy TEXT                  set the clipboard; TEXT to the end of the line, or a JSON string
//   paste                      read the clipboard
//   animate FPS                move a stripe at that rate; 0: stop
//   quit
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <QByteArray>
#include <QStringList>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <vector>

#include "tests/wayland/canvas/Globals.h"
#include "tests/wayland/canvas/PointerImage.h"
#include "tests/wayland/canvas/Report.h"
#include "tests/wayland/canvas/Seat.h"
#include "tests/wayland/canvas/Selection.h"
#include "tests/wayland/canvas/Window.h"

namespace vantora::canvas {
namespace {

class Canvas {
 public:
  bool usable() const { return globals_.usable(); }
  // False: to end.
  bool obey(const QByteArray& line);
  // Until the end of the input, a `quit` or the compositor's end; the exit code.
  int run();

 private:
  void animate(int framesPerSecond);
  void paint(const QList<QByteArray>& words);
  bool readCommands();
  bool dispatch(bool readable);

  Globals globals_;
  Window window_{globals_};
  PointerImage image_{globals_};
  Selection selection_{globals_};
  Seat seat_{globals_, window_, image_};
  const int timer_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
  QByteArray input_;
};

void Canvas::animate(int framesPerSecond) {
  itimerspec rate{};
  if (framesPerSecond > 0) rate.it_interval.tv_nsec = std::min(999'999'999, 1'000'000'000 / framesPerSecond);
  rate.it_value = rate.it_interval;
  ::timerfd_settime(timer_, 0, &rate, nullptr);
}

void Canvas::paint(const QList<QByteArray>& words) {
  if (!window_.shown()) return reportError(QStringLiteral("paint: there is no window"));
  bool valid = false;
  const std::uint32_t rgb = words.value(1).toUInt(&valid, 16);
  if (!valid) return reportError(QStringLiteral("paint: no colour"));
  if (words.front() == "clear") return window_.clear(rgb);
  if (words.size() != 6) return reportError(QStringLiteral("paint RRGGBB X Y W H"));
  window_.fill(rgb, {words[2].toInt(), words[3].toInt(), words[4].toInt(), words[5].toInt()});
}

bool Canvas::obey(const QByteArray& line) {
  const QList<QByteArray> words = line.simplified().split(' ');
  const QByteArray& command = words.front();
  if (command == "quit") return false;
  if (command == "fullscreen") {
    if (!window_.showFullscreen(words.value(1, "0").toInt())) reportError(QStringLiteral("there is no such output"));
  } else if (command == "size") {
    window_.showWindowed({std::max(1, words.value(1).toInt()), std::max(1, words.value(2).toInt())});
  } else if (command == "paint" || command == "clear") {
    paint(words);
  } else if (command == "cursor") {
    image_.choose(words.value(1));
  } else if (command == "copy") {
    QByteArray text = line.mid(line.indexOf(' ') + 1);
    if (text.startsWith('"')) text = QJsonDocument::fromJson('[' + text + ']').array().at(0).toString().toUtf8();
    if (!seat_.focused())
      reportError(QStringLiteral("copy: no keyboard focus"));
    else
      selection_.copy(text, seat_.serial());
  } else if (command == "paste") {
    selection_.paste();
  } else if (command == "animate") {
    animate(words.value(1).toInt());
  } else if (!command.isEmpty()) {
    reportError(QStringLiteral("no such command: ") + QString::fromUtf8(command));
  }
  return true;
}

bool Canvas::readCommands() {
  char part[65536];
  const ssize_t count = ::read(STDIN_FILENO, part, sizeof part);
  if (count <= 0) return false;
  input_.append(part, count);
  for (qsizetype end = input_.indexOf('\n'); end >= 0; end = input_.indexOf('\n')) {
    const QByteArray line = input_.left(end);
    input_.remove(0, end + 1);
    if (!obey(line)) return false;
  }
  window_.flush();
  return true;
}

// Between wl_display_prepare_read() and here nothing else may read.
bool Canvas::dispatch(bool readable) {
  if (!readable) {
    wl_display_cancel_read(globals_.display);
    return true;
  }
  return wl_display_read_events(globals_.display) >= 0 && wl_display_dispatch_pending(globals_.display) >= 0;
}

int Canvas::run() {
  for (;;) {
    while (wl_display_prepare_read(globals_.display) != 0) wl_display_dispatch_pending(globals_.display);
    if (wl_display_flush(globals_.display) < 0 && errno != EAGAIN) {
      wl_display_cancel_read(globals_.display);
      return 1;
    }
    std::vector<pollfd> ready = {
        {wl_display_get_fd(globals_.display), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}, {timer_, POLLIN, 0}};
    for (const int pipe : selection_.pipes()) ready.push_back({pipe, POLLIN, 0});
    ::poll(ready.data(), ready.size(), -1);
    if (!dispatch(ready[0].revents != 0)) {
      reportError(QStringLiteral("the compositor has ended the connection"));
      return 1;
    }
    std::uint64_t expirations = 0;
    if (ready[2].revents != 0 && ::read(timer_, &expirations, sizeof expirations) > 0) window_.animate();
    for (std::size_t i = 3; i < ready.size(); ++i) {
      if (ready[i].revents != 0) selection_.read(ready[i].fd);
    }
    if (ready[1].revents != 0 && !readCommands()) return 0;
  }
}

}  // namespace
}  // namespace vantora::canvas

int main(int count, char** arguments) {
  std::signal(SIGPIPE, SIG_IGN);  // Who reads a clipboard may go.
  vantora::canvas::Canvas canvas;
  if (!canvas.usable()) {
    vantora::canvas::reportError(QStringLiteral("no compositor"));
    return 1;
  }
  for (int i = 1; i < count; ++i) {
    if (!canvas.obey(arguments[i])) return 0;
  }
  return canvas.run();
}
