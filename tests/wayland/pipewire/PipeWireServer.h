// A PipeWire server for one test.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "base/process/FileDescriptor.h"
#include "tests/fakes/Timeout.h"
#include "tests/x11/support/ChildProcess.h"

namespace vantora::testpipewire {

// Started by the constructor in a runtime folder of its own, with what screen streams need and no session manager:
// StreamLinker stands for one.
class PipeWireServer {
 public:
  PipeWireServer() {
    if (!folder_.isValid() || !writeConfiguration()) return;
    const std::string folder = folder_.path().toStdString();
    process_ = testx11::ChildProcess({"pipewire", "-c", folder + "/server.conf"},
                                     {"XDG_RUNTIME_DIR=" + folder, "PIPEWIRE_RUNTIME_DIR=" + folder, "HOME=" + folder,
                                      "PIPEWIRE_DEBUG=0", "DBUS_SESSION_BUS_ADDRESS=unix:path=/nowhere"});
    testloop::Timeout timeout;
    while (connect().get() < 0 && !timeout.isOver()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }

  // A connection to it; empty while it does not run.
  FileDescriptor connect() const {
    FileDescriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder_.filePath(QStringLiteral("pipewire-0")).toStdString();
    if (path.size() >= sizeof address.sun_path) return FileDescriptor();
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      return FileDescriptor();
    }
    return connection;
  }
  void kill() { process_.end(SIGKILL); }
  void stop() const { process_.send(SIGSTOP); }
  void proceed() const { process_.send(SIGCONT); }

 private:
  bool writeConfiguration() const {
    QFile file(folder_.filePath(QStringLiteral("server.conf")));
    return file.open(QIODevice::WriteOnly) && file.write(R"(
context.properties = { core.daemon = true core.name = pipewire-0 support.dbus = false link.max-buffers = 16 }
context.spa-libs = { support.* = support/libspa-support }
context.modules = [
  { name = libpipewire-module-protocol-native }
  { name = libpipewire-module-client-node }
  { name = libpipewire-module-access }
  { name = libpipewire-module-link-factory }
]
)") > 0;
  }

  QTemporaryDir folder_;
  testx11::ChildProcess process_;  // Last: it ends before its folder is removed.
};

}  // namespace vantora::testpipewire
