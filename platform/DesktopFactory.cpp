#include "platform/DesktopFactory.h"

#include "platform/DesktopChoice.h"
#include "platform/NoDesktop.h"
#include "platform/portal/PortalDesktop.h"
#include "platform/x11/X11Desktop.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

std::unique_ptr<DesktopSession> makeDesktopSession(const Environment& environment, Clipboard& clipboard,
                                                   const DisplayServers& servers) {
  const QString display = environment.nonEmpty("DISPLAY").value_or(QString());
  switch (windowSystemOf(environment, servers)) {
    case WindowSystem::x11:
      return makeX11Desktop(environment, display, clipboard);
    case WindowSystem::wayland:
      return makePortalDesktop(environment, clipboard);
    case WindowSystem::none:
      break;
  }
  return makeNoDesktop(clipboard, u"cannot open display \"\""_s);
}

}  // namespace vantora
