// Waiting for and inspecting real processes.
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

// Polls until a condition holds; false when it does not within a test's timeout.
inline bool becomesTrue(const std::function<bool()>& condition) {
  testloop::Timeout timeout;
  while (!condition()) {
    if (timeout.isOver()) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// Whether a process runs; a zombie does not count.
inline bool isAlive(qint64 pid) {
  QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
  if (!stat.open(QIODevice::ReadOnly)) return false;
  // Empty for a process that has ended since the file was opened.
  const QByteArray text = stat.readAll();
  const QByteArray state = text.mid(text.lastIndexOf(')') + 2, 1);
  return !state.isEmpty() && state != "Z" && state != "X";
}

// Expects that repeated calls of `run` leave no open file and no process behind.
inline void expectNothingLeftBehindBy(const std::function<void()>& run) {
  const auto openFiles = [] {
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
  };
  run();  // Creates whatever it keeps permanently.
  const auto before = openFiles();
  for (int i = 0; i < 3; ++i) run();
  EXPECT_EQ(openFiles(), before);
  siginfo_t info{};
  EXPECT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT), -1) << "a child was left uncollected";
}

// Measures the time since its construction.
class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace vantora
