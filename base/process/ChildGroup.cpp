#include "base/process/ChildGroup.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QFile>
#include <cerrno>
#include <csignal>
#include <thread>
#include <vector>

namespace vantora {
namespace {

std::vector<QByteArray> encoded(const QStringList& texts) {
  std::vector<QByteArray> result;
  result.reserve(static_cast<size_t>(texts.size()));
  for (const QString& text : texts) result.push_back(text.toLocal8Bit());
  return result;
}

std::vector<char*> pointers(std::vector<QByteArray>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (QByteArray& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

// Sets up the child's descriptors and folder before the program starts.
class FileActions {
 public:
  explicit FileActions(const ChildStart& start) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    connect(start.output, STDOUT_FILENO);
    connect(start.error, STDERR_FILENO);
    // Libraries open files and sockets without close-on-exec.
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    if (!start.folder.isEmpty()) {
      posix_spawn_file_actions_addchdir_np(&actions_, QFile::encodeName(start.folder).constData());
    }
  }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  void connect(int from, int to) {
    if (from >= 0) {
      posix_spawn_file_actions_adddup2(&actions_, from, to);
    } else {
      posix_spawn_file_actions_addopen(&actions_, to, "/dev/null", O_WRONLY, 0);
    }
  }
  posix_spawn_file_actions_t actions_{};
};

class Attributes {
 public:
  explicit Attributes(bool ownSession) {
    posix_spawnattr_init(&attributes_);
    sigset_t none;
    sigemptyset(&none);
    sigset_t usual;
    sigfillset(&usual);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &usual);
    posix_spawnattr_setpgroup(&attributes_, 0);
    // The leader of a session leads its group too.
    const int group = ownSession ? POSIX_SPAWN_SETSID : POSIX_SPAWN_SETPGROUP;
    posix_spawnattr_setflags(&attributes_, static_cast<short>(group | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
  }
  ~Attributes() { posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

}  // namespace

// posix_spawn does not copy the page tables of this process, which fork would do while a session is streaming.
std::unique_ptr<ChildGroup> ChildGroup::start(const ChildStart& start, int& error) {
  error = EINVAL;
  if (start.command.isEmpty()) return nullptr;
  const FileActions actions(start);
  const Attributes attributes(start.ownSession);
  std::vector<QByteArray> arguments = encoded(start.command);
  std::vector<QByteArray> variables = encoded(start.environment);
  pid_t pid = -1;
  error = posix_spawn(&pid, arguments.front().constData(), actions.get(), attributes.get(), pointers(arguments).data(),
                      pointers(variables).data());
  if (error != 0) return nullptr;
  return std::unique_ptr<ChildGroup>(new ChildGroup(pid));
}

bool ChildGroup::hasEnded() const {
  siginfo_t info{};
  const int result = waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
  return (result == 0 && info.si_pid == pid_) || (result < 0 && errno == ECHILD);
}

bool ChildGroup::waitForEnd(std::chrono::milliseconds timeout) const {
  using Clock = std::chrono::steady_clock;
  const auto until = Clock::now() + timeout;
  for (;;) {
    if (hasEnded()) return true;
    if (Clock::now() >= until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

void ChildGroup::signal(int number) const { (void)kill(-pid_, number); }

std::optional<int> ChildGroup::reap(std::chrono::milliseconds timeout) {
  if (!waitForEnd(timeout)) {
    std::thread([pid = pid_] { (void)waitpid(pid, nullptr, 0); }).detach();
    return std::nullopt;
  }
  int status = 0;
  if (waitpid(pid_, &status, 0) != pid_) return std::nullopt;
  return status;
}

}  // namespace vantora
