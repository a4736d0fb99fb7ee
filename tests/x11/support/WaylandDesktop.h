// A Wayland desktop for one test, and its X server.
#pragma once

#include <QDir>
#include <QTemporaryDir>
#include <chrono>
#include <thread>

#include "tests/x11/support/XServer.h"

namespace vantora::testx11 {

// A headless compositor in its own runtime folder.
class WaylandDesktop {
 public:
  WaylandDesktop() {
    // Programs refuse a runtime folder that others can read.
    if (!folder_.isValid() ||
        !QFile::setPermissions(folder_.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
      return;
    compositor_ = ChildProcess({"weston", "--backend=headless-backend.so", "--shell=kiosk-shell.so", "--no-config",
                                "--idle-time=0", "--socket=" + socket()},
                               {"XDG_RUNTIME_DIR=" + folder_.path().toStdString()});
    testloop::Timeout timeout;
    while (!running() && !timeout.isOver()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }

  bool running() const { return QFile::exists(folder_.filePath(QString::fromStdString(socket()))); }
  // The environment of its clients.
  std::vector<std::string> environment() const {
    return {"XDG_RUNTIME_DIR=" + folder_.path().toStdString(), "WAYLAND_DISPLAY=" + socket()};
  }

 private:
  static std::string socket() { return "wayland-test"; }

  QTemporaryDir folder_;
  ChildProcess compositor_;  // Last: it ends before its folder is removed.
};

// Xwayland as desktops run it (rootless: each window is one of the desktop's) or within one window.
class XwaylandServer : public XServer {
 public:
  enum class Kind { rootless, oneWindow };
  XwaylandServer(const WaylandDesktop& desktop, Kind kind) {
    std::vector<std::string> arguments = {"-noreset", "-ac"};
    if (kind == Kind::rootless) arguments.emplace_back("-rootless");
    start("Xwayland", arguments, desktop.environment());
  }
};

}  // namespace vantora::testx11
