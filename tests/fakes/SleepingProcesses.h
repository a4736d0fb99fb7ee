// Many real, idle processes.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <vector>

namespace vantora::fakes {

// They end with this object, and with this process. To be constructed while the process has only one thread.
class SleepingProcesses {
 public:
  explicit SleepingProcesses(int count) {
    pids_.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      const pid_t pid = fork();
      if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) pause();
      }
      if (pid < 0) break;
      pids_.push_back(pid);
    }
  }
  ~SleepingProcesses() {
    for (const pid_t pid : pids_) kill(pid, SIGKILL);
    for (const pid_t pid : pids_) waitpid(pid, nullptr, 0);
  }
  SleepingProcesses(const SleepingProcesses&) = delete;
  SleepingProcesses& operator=(const SleepingProcesses&) = delete;

  // May be fewer than requested.
  std::size_t count() const { return pids_.size(); }

 private:
  std::vector<pid_t> pids_;
};

}  // namespace vantora::fakes
