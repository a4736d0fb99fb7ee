#include "platform/DesktopChoice.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

QString compositorSocket(const Environment& environment) {
  QString name = environment.nonEmpty("WAYLAND_DISPLAY").value_or(QString());
  if (name.isEmpty() || name.startsWith(u'/')) return name;
  const auto folder = environment.nonEmpty("XDG_RUNTIME_DIR");
  return folder ? *folder + u'/' + name : QString();
}

WindowSystem windowSystemOf(const Environment& environment, const DisplayServers& servers) {
  const auto display = environment.nonEmpty("DISPLAY");
  const bool namesCompositor = environment.nonEmpty("WAYLAND_DISPLAY").has_value();
  const QString wanted = environment.nonEmpty("VANTORA_WINDOW_SYSTEM").value_or(QString()).toLower();
  if (wanted == "x11"_L1) return WindowSystem::x11;
  if (wanted == "wayland"_L1) return WindowSystem::wayland;
  if (wanted == "none"_L1) return WindowSystem::none;
  const QString type = environment.nonEmpty("XDG_SESSION_TYPE").value_or(QString()).toLower();
  if (type == "x11"_L1 && display) return WindowSystem::x11;

  switch (display ? servers.xServer(*display) : XServerKind::absent) {
    case XServerKind::native:
      return WindowSystem::x11;
    case XServerKind::xwayland:
      return WindowSystem::wayland;
    case XServerKind::absent:
      break;
  }
  const QString socket = compositorSocket(environment);
  if (!socket.isEmpty() && servers.compositor(socket)) return WindowSystem::wayland;
  // Its portals are reached over the message bus.
  if (type == "wayland"_L1) return WindowSystem::wayland;
  if (display) return WindowSystem::x11;
  return namesCompositor ? WindowSystem::wayland : WindowSystem::none;
}

ToolkitPlatforms toolkitPlatforms(const Environment& environment, const DisplayServers& servers) {
  const auto display = environment.nonEmpty("DISPLAY");
  if (display && servers.xServer(*display) != XServerKind::absent) return {"xcb;wayland;offscreen"};
  if (environment.nonEmpty("WAYLAND_DISPLAY")) return {"wayland;offscreen"};
  return {"offscreen", display.has_value()};
}

}  // namespace vantora
