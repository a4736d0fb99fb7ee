// A separate desktop for a test: X server, session bus and, on request, the accessibility bus.
#pragma once

#include <QTemporaryDir>

#include "base/Environment.h"
#include "tests/x11/support/MessageBus.h"
#include "tests/x11/support/XvfbServer.h"

namespace vantora::testx11 {

class PrivateDesktop {
 public:
  // `busConfiguration`: as in MessageBus.
  explicit PrivateDesktop(const std::string& busConfiguration = "accessible-session.conf")
      : bus_(busConfiguration, basics()) {}

  bool running() const { return server_.running() && runtime_.isValid() && bus_.running(); }
  const XvfbServer& server() const { return server_; }
  const std::string& busAddress() const { return bus_.address(); }

  // Starts the accessibility bus and its registry, as desktops do where assistive programs are used.
  [[nodiscard]] bool startAccessibility() const {
    return run({"sh", "-c",
                "bus=$(dbus-send --session --print-reply=literal --dest=org.a11y.Bus /org/a11y/bus "
                "org.a11y.Bus.GetAddress) && dbus-send --bus=\"$(echo $bus)\" --print-reply "
                "--dest=org.a11y.atspi.Registry /org/a11y/atspi/accessible/root "
                "org.a11y.atspi.Accessible.GetRole"}) == 0;
  }
  // Whether a name on the session bus has an owner.
  [[nodiscard]] bool hasOwner(const std::string& name) const {
    return run({"sh", "-c",
                "dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner "
                "string:" +
                    name + " | grep -q 'boolean true'"}) == 0;
  }

  int run(const std::vector<std::string>& arguments) const { return spawn(arguments).wait(); }
  ChildProcess spawn(const std::vector<std::string>& arguments, const std::vector<std::string>& more = {}) const {
    auto variables = basics();
    variables.push_back(server_.displayVariable());
    variables.push_back(bus_.variable());
    variables.insert(variables.end(), more.begin(), more.end());
    return ChildProcess(arguments, variables);
  }
  [[nodiscard]] bool movePointer(int x, int y) const {
    return run({"xdotool", "mousemove", std::to_string(x), std::to_string(y)}) == 0;
  }

  // The environment of a program on this desktop.
  Environment environment() const {
    return Environment([display = server_.display(),
                        bus = QString::fromStdString(bus_.address())](const char* name) -> std::optional<QString> {
      if (qstrcmp(name, "DISPLAY") == 0) return display;
      if (qstrcmp(name, "DBUS_SESSION_BUS_ADDRESS") == 0) return bus;
      return std::nullopt;
    });
  }

 private:
  std::vector<std::string> basics() const {
    const std::string place = runtime_.path().toStdString();
    return {"XDG_RUNTIME_DIR=" + place, "HOME=" + place,   "NO_AT_BRIDGE=",     "QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1",
            "QT_QPA_PLATFORM=xcb",      "GDK_BACKEND=x11", "GTK_THEME=Adwaita", "AT_SPI_BUS_ADDRESS="};
  }

  XvfbServer server_;
  QTemporaryDir runtime_;
  MessageBus bus_;
};

}  // namespace vantora::testx11
