// A separate home and PATH for real processes.
#pragma once

#include <QDir>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include "tests/fakes/Processes.h"

namespace vantora {

// Ends a process of the test if it still runs.
inline void killNow(qint64 pid) {
  if (pid > 1) (void)kill(static_cast<pid_t>(pid), SIGKILL);
}

// A home with a folder of programs that is first in PATH.
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
  // Adds a shell script to PATH.
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
