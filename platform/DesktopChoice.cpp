#include "platform/DesktopChoice.h"

#include "platform/NoDesktop.h"
#include "platform/x11/X11Desktop.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

WindowSystem windowSystemOf(const Environment& environment) {
  const bool hasX11 = environment.nonEmpty("DISPLAY").has_value();
  const bool hasWayland = environment.nonEmpty("WAYLAND_DISPLAY").has_value();
  const QString type = environment.nonEmpty("XDG_SESSION_TYPE").value_or(QString()).toLower();
  if (type == "wayland"_L1 && (hasWayland || hasX11)) return WindowSystem::wayland;
  if (type == "x11"_L1 && hasX11) return WindowSystem::x11;
  // An X server outside the login session: started by hand, over ssh, in a nested desktop.
  if (hasX11) return WindowSystem::x11;
  return hasWayland ? WindowSystem::wayland : WindowSystem::none;
}

std::unique_ptr<DesktopSession> makeDesktopSession(const Environment& environment, Clipboard& clipboard) {
  const auto display = environment.nonEmpty("DISPLAY");
  switch (windowSystemOf(environment)) {
    case WindowSystem::x11:
    case WindowSystem::wayland:
      if (display) return makeX11Desktop(environment, *display, clipboard);
      break;
    case WindowSystem::none:
      break;
  }
  return makeNoDesktop(clipboard, u"cannot open display \"\""_s);
}

}  // namespace vantora
