#include "platform/Platform.h"

#include "platform/NoDesktop.h"
#include "platform/linux/support/LinuxSupportTools.h"
#include "platform/x11/X11Displays.h"
#include "platform/x11/X11InputSynthesis.h"

namespace vantora {

Platform makePlatform(const Environment& environment) {
  if (const auto display = environment.nonEmpty("DISPLAY")) {
    return {makeX11Displays(*display), makeX11InputSynthesis(*display), makeLinuxSupportTools()};
  }
  return {makeNoDisplays(), makeNoInputSynthesis(), makeLinuxSupportTools()};
}

}  // namespace vantora
