#include "platform/Platform.h"

#include "platform/NoDesktop.h"
#include "platform/linux/atspi/AtSpiAccessibility.h"
#include "platform/linux/support/LinuxSupportTools.h"
#include "platform/x11/X11Cursor.h"
#include "platform/x11/X11Displays.h"
#include "platform/x11/X11InputSynthesis.h"
#include "platform/x11/X11WindowFinder.h"
#include "platform/x11/capture/X11ScreenCapture.h"

namespace vantora {

Platform makePlatform(const Environment& environment) {
  if (const auto display = environment.nonEmpty("DISPLAY")) {
    return {.displays = makeX11Displays(*display),
            .input = makeX11InputSynthesis(*display),
            .supportTools = makeLinuxSupportTools(),
            .cursor = makeX11Cursor(*display),
            .accessibility = makeAtSpiAccessibility(environment, makeX11WindowFinder(*display)),
            .screenCapture = [] { return makeX11ScreenCapture(); }};
  }
  return {.displays = makeNoDisplays(),
          .input = makeNoInputSynthesis(),
          .supportTools = makeLinuxSupportTools(),
          .cursor = makeNoSystemCursor(),
          .accessibility = makeNoAccessibility(),
          .screenCapture = [] { return makeX11ScreenCapture(); }};
}

}  // namespace vantora
