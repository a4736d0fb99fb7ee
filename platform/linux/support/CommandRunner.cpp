#include "platform/linux/support/CommandRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QFileInfo>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "base/process/ChildGroup.h"
#include "base/process/FileDescriptor.h"
#include "platform/linux/support/OutputText.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Polling interval for a stop request and for the end of a command without output.
constexpr milliseconds kTick{20};
// Maximum wait for a killed command.
constexpr milliseconds kReapTime{1000};
constexpr int kCannotStart = 127;

// The pipe of one output.
class OutputPipe {
 public:
  explicit OutputPipe(qsizetype keptBytes) : text_(keptBytes) {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return;
    reading_.reset(ends[0]);
    writing_.reset(ends[1]);
    (void)fcntl(reading_.get(), F_SETFL, O_NONBLOCK);
  }
  [[nodiscard]] int writingEnd() const { return writing_.get(); }
  void closeWritingEnd() { writing_.reset(); }
  [[nodiscard]] int readingEnd() const { return reading_.get(); }
  [[nodiscard]] QString text(qsizetype characters) const { return text_.text(characters); }

  // Reads what is available now. Bounded, so that endless output does not keep the caller from checking its deadline.
  void take() {
    constexpr int kMaxPieces = 16;
    static thread_local std::array<char, 65536> buffer;
    for (int piece = 0; piece < kMaxPieces && reading_.get() >= 0; ++piece) {
      const ssize_t count = read(reading_.get(), buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0 && errno == EAGAIN) return;
      if (count <= 0) return reading_.reset();
      text_.append({buffer.data(), count});
    }
  }

 private:
  FileDescriptor reading_;
  FileDescriptor writing_;
  OutputText text_;
};

// Both outputs of a command.
struct Outputs {
  explicit Outputs(qsizetype keptBytes) : standard(keptBytes), error(keptBytes) {}

  void take() {
    standard.take();
    error.take();
  }
  // Waits until there is output to read, at most one tick.
  void wait() {
    // poll ignores negative descriptors.
    std::array<pollfd, 2> waited{pollfd{standard.readingEnd(), POLLIN, 0}, pollfd{error.readingEnd(), POLLIN, 0}};
    (void)poll(waited.data(), waited.size(), static_cast<int>(kTick.count()));
  }
  // Reads until `over` returns true.
  template <typename Over>
  void takeUntil(Over over) {
    while (!over()) {
      wait();
      take();
    }
  }

  OutputPipe standard;
  OutputPipe error;
};

CommandOutcome cannotStart(int error) {
  return {.ok = false,
          .code = kCannotStart,
          .standardOutput = QString(),
          .standardError = u"Failed to start: "_s + QString::fromLocal8Bit(strerror(error))};
}

// The exit code that a shell would report.
int exitCode(int waitStatus) {
  if (WIFEXITED(waitStatus)) return WEXITSTATUS(waitStatus);
  constexpr int kSignalBase = 128;
  return kSignalBase + WTERMSIG(waitStatus);
}

}  // namespace

CommandOutcome runCommand(const CommandLaunch& launch, const CommandLimits& limits, const std::stop_token& stop) {
  Outputs outputs(limits.keptBytes);
  if (outputs.standard.writingEnd() < 0 || outputs.error.writingEnd() < 0) return cannotStart(EMFILE);
  int error = 0;
  const auto group = ChildGroup::start({.command = launch.command,
                                        .environment = launch.environment,
                                        .folder = QFileInfo(launch.folder).isDir() ? launch.folder : u"/"_s,
                                        .output = outputs.standard.writingEnd(),
                                        .error = outputs.error.writingEnd(),
                                        .ownSession = true},
                                       error);
  outputs.standard.closeWritingEnd();
  outputs.error.closeWritingEnd();
  if (!group) return cannotStart(error);

  const auto takeFor = [&](milliseconds timeout) {
    const auto end = Clock::now() + timeout;
    outputs.takeUntil([&] { return group->hasEnded() || Clock::now() >= end; });
  };
  const auto end = Clock::now() + limits.watchdog;
  outputs.takeUntil([&] { return group->hasEnded() || stop.stop_requested() || Clock::now() >= end; });
  if (!group->hasEnded()) {
    group->signal(SIGTERM);
    takeFor(limits.grace);
  }
  // Also ends the processes that it left in the background.
  group->signal(SIGKILL);
  takeFor(kReapTime);
  outputs.take();
  const auto status = group->reap(milliseconds(0));
  CommandOutcome outcome{.ok = status == 0,
                         .code = status ? exitCode(*status) : -1,
                         .standardOutput = outputs.standard.text(limits.characters),
                         .standardError = outputs.error.text(limits.characters)};
  if (!status && outcome.standardError.isEmpty()) outcome.standardError = u"The command could not be ended"_s;
  return outcome;
}

}  // namespace vantora
