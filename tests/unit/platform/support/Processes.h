// Helpers for tests with real processes.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <chrono>
#include <functional>
#include <thread>

namespace vantora {

// Waits until something holds; false when it does not within thirty seconds.
inline bool becomesTrue(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return false;
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

// Ends a process of the test, if it is still there.
inline void killNow(qint64 pid) {
  if (pid > 1) (void)kill(static_cast<pid_t>(pid), SIGKILL);
}

class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// A home of its own with a folder of programs that stands first in the path.
class TestHome {
 public:
  TestHome() {
    QDir(path()).mkpath(QStringLiteral("bin"));
    environment.insert(QStringLiteral("HOME"), path());
    environment.insert(QStringLiteral("PATH"), path(QStringLiteral("bin")) + QStringLiteral(":/usr/bin:/bin"));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
  }
  [[nodiscard]] QString path(const QString& name = QString()) const { return folder_.filePath(name); }
  void write(const QString& name, const QByteArray& content) const {
    QDir(path()).mkpath(QStringLiteral("./") + name.section(QLatin1Char('/'), 0, -2));
    QFile file(path(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << name.toStdString();
    file.write(content);
  }
  // Puts a shell script into the path.
  void program(const QString& name, const QByteArray& script) const {
    write(QStringLiteral("bin/") + name, "#!/bin/sh\n" + script + "\n");
    QFile::setPermissions(path(QStringLiteral("bin/") + name), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  }
  [[nodiscard]] QString read(const QString& name) const {
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
  }
  [[nodiscard]] qint64 number(const QString& name) const { return read(name).trimmed().toLongLong(); }

  QProcessEnvironment environment;

 private:
  QTemporaryDir folder_;
};

}  // namespace vantora
