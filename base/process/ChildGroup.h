// A child process together with everything it starts.
#pragma once

#include <sys/types.h>

#include <QStringList>
#include <chrono>
#include <memory>
#include <optional>

namespace vantora {

// How to start a program.
struct ChildStart {
  // The program's path and its arguments.
  QStringList command;
  // The whole environment, as "NAME=value".
  QStringList environment;
  // Where it runs; empty for the caller's own folder.
  QString folder;
  // Descriptors that become its standard output and error; -1 discards. Standard input is empty, and no other
  // descriptor is inherited.
  int output = -1;
  int error = -1;
  // Whether it gets its own session, without a terminal, and not only its own process group.
  bool ownSession = false;
};

// Purpose: one child process that leads a process group, so that a signal also reaches the processes it started. Its
// signal mask is empty and its signal handlers are the defaults. Thread: one at a time. Owner: whoever waits for it;
// destroying the object neither ends nor reaps the process: call reap.
class ChildGroup {
 public:
  // The group, or null with errno in `error`.
  [[nodiscard]] static std::unique_ptr<ChildGroup> start(const ChildStart& start, int& error);

  [[nodiscard]] pid_t pid() const { return pid_; }
  // Whether the leader has ended. It stays a zombie, so that its id, which is also the group's, is not reused.
  [[nodiscard]] bool hasEnded() const;
  // Waits for the leader's end; false on timeout.
  [[nodiscard]] bool waitForEnd(std::chrono::milliseconds timeout) const;
  // Sends a signal to the whole group.
  void signal(int number) const;
  // Reaps the leader and returns its wait status; empty when it has not ended in time, and a separate thread reaps it
  // (it may be stuck in the kernel). The group must not be signalled afterwards.
  std::optional<int> reap(std::chrono::milliseconds timeout);

 private:
  explicit ChildGroup(pid_t pid) : pid_(pid) {}
  const pid_t pid_;
};

}  // namespace vantora
