// Waiting for and looking at real processes.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <QDir>
#include <QFile>
#include <QString>
#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include "tests/fakes/Timeout.h"

namespace vantora {

// Waits until something holds, looking again and again; false when it does not within a test's timeout.
inline bool becomesTrue(const std::function<bool()>& condition) {
  testing_loop::Timeout timeout;
  while (!condition()) {
    if (timeout.isOver()) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// Whether a process runs; one that has ended and only waits to be collected does not.
inline bool isAlive(qint64 pid) {
  QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
  if (!stat.open(QIODevice::ReadOnly)) return false;
  const QByteArray text = stat.readAll();
  const char state = text.mid(text.lastIndexOf(')') + 2, 1).at(0);
  return state != 'Z' && state != 'X';
}

// Expects that no open file and no process is left of what `run` does, however often.
inline void expectNothingLeftBehindBy(const std::function<void()>& run) {
  const auto openFiles = [] {
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
  };
  run();  // What it keeps for good is there from now on.
  const auto before = openFiles();
  for (int i = 0; i < 3; ++i) run();
  EXPECT_EQ(openFiles(), before);
  siginfo_t info{};
  EXPECT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT), -1) << "a child was left uncollected";
}

// Measures time from its making on.
class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace vantora
