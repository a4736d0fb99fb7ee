// A started program together with everything it starts.
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
  // Descriptors that become its standard output and error; -1 throws away. Standard input is empty, and no other
  // descriptor is handed on.
  int output = -1;
  int error = -1;
  // Whether it gets a session of its own, without a terminal, and not only a process group.
  bool ownSession = false;
};

// Purpose: one child process that leads a process group, so that a signal reaches what it started too. Signals are as a
// program expects them at its start. Thread: one at a time. Owner: whoever waits for it; destroying the object neither
// ends nor collects the process: call reap.
class ChildGroup {
 public:
  // The group, or none with the system's error number in `error`.
  [[nodiscard]] static std::unique_ptr<ChildGroup> start(const ChildStart& start, int& error);

  [[nodiscard]] pid_t pid() const { return pid_; }
  // Whether the leader has ended. It stays uncollected, so that its id, which is also the group's, is not given away.
  [[nodiscard]] bool hasEnded() const;
  // Waits for the leader's end; whether it came in time.
  [[nodiscard]] bool waitForEnd(std::chrono::milliseconds timeout) const;
  // Sends a signal to the whole group.
  void signal(int number) const;
  // Collects the leader and gives its wait status. One that has not ended in time is left to a thread of its own (it
  // may be stuck in the kernel): none then. The group must not be signalled any more.
  std::optional<int> reap(std::chrono::milliseconds timeout);

 private:
  explicit ChildGroup(pid_t pid) : pid_(pid) {}
  const pid_t pid_;
};

}  // namespace vantora
