// A Wayland desktop whose compositor lets programs manage the clipboard.
#pragma once

#include <unistd.h>
#include <wayland-client.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <memory>

#include "tests/fakes/EventLoop.h"
#include "tests/x11/support/ChildProcess.h"

namespace vantora::testwayland {

struct EndClient {
  void operator()(QProcess* process) const {
    process->kill();
    process->waitForFinished();
    delete process;
  }
};
// A program of the desktop, ended with its object.
using Client = std::unique_ptr<QProcess, EndClient>;

// Without a screen, in a runtime folder of its own. Ends with its object.
class SwayDesktop {
 public:
  SwayDesktop() { QFile::setPermissions(folder_.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner); }

  // Returns once programs can connect.
  [[nodiscard]] bool start() {
    std::vector<std::string> command{"sway", "--config", "/dev/null"};
    // It does not run for root, but within a name space in which root is a user.
    if (::getuid() == 0) {
      command.insert(command.begin(), {"unshare", "--user", "--map-user=1000", "--map-group=1000"});
    }
    compositor_ = testx11::ChildProcess(
        command, {"XDG_RUNTIME_DIR=" + folder_.path().toStdString(), "WLR_BACKENDS=headless",
                  "WLR_LIBINPUT_NO_DEVICES=1", "WLR_RENDERER=pixman", "WAYLAND_DISPLAY=", "DISPLAY=", "SWAYSOCK="});
    return testloop::waitFor([this] {
      // Its file appears before it takes connections.
      wl_display* const display = wl_display_connect(socket().toUtf8().constData());
      if (display != nullptr) wl_display_disconnect(display);
      return display != nullptr;
    });
  }
  void end() {
    compositor_.end(SIGKILL);
    QFile::remove(socket());
    QFile::remove(socket() + QStringLiteral(".lock"));
  }
  void freeze() const { compositor_.suspend(); }
  void thaw() const { compositor_.send(SIGCONT); }
  // The first name that is free.
  QString socket() const { return folder_.filePath(QStringLiteral("wayland-1")); }

  // Runs a client; the caller's event loop runs meanwhile. Its output, or an error.
  QByteArray run(const QStringList& command, const QByteArray& input = {}) const {
    const auto process = client(command);
    process->write(input);
    process->closeWriteChannel();
    const bool ended = testloop::waitFor([&] { return process->state() == QProcess::NotRunning; });
    return ended && process->exitCode() == 0 ? process->readAllStandardOutput() : "(failed)";
  }
  // Copies, as a program that then serves the text until the next copy. Its input is the text.
  Client copy(const QByteArray& text, const QStringList& options = {}) const {
    auto process = client(QStringList{QStringLiteral("wl-copy"), QStringLiteral("--foreground")} + options);
    process->write(text);
    process->closeWriteChannel();
    return process;
  }
  QByteArray paste(const QStringList& options = {}) const {
    return run(QStringList{QStringLiteral("wl-paste"), QStringLiteral("--no-newline")} + options);
  }

 private:
  Client client(QStringList command) const {
    Client process(new QProcess);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), folder_.path());
    environment.insert(QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("wayland-1"));
    process->setProcessEnvironment(environment);
    const QString program = command.takeFirst();
    process->start(program, command);
    return process;
  }

  QTemporaryDir folder_;
  testx11::ChildProcess compositor_;  // Last: it ends before its folder is removed.
};

}  // namespace vantora::testwayland
