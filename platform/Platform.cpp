#include "platform/Platform.h"

#include "platform/NoDesktop.h"
#include "platform/x11/X11Displays.h"
#include "platform/x11/X11InputSynthesis.h"

namespace vantora {

Platform makePlatform(const Environment& environment) {
  if (const auto display = environment.nonEmpty("DISPLAY")) {
    return {makeX11Displays(*display), makeX11InputSynthesis(*display)};
  }
  return {makeNoDisplays(), makeNoInputSynthesis()};
}

}  // namespace vantora
