// The desktop session of a machine without a desktop: no displays, no input, no cursor, no accessibility service.
#pragma once

#include <memory>

#include "platform/DesktopSession.h"

namespace vantora {

// Its parts, for desktops that lack one of them.
std::unique_ptr<Displays> makeNoDisplays();
std::unique_ptr<DesktopInput> makeNoInput();
std::unique_ptr<SystemCursor> makeNoCursor();
std::unique_ptr<Accessibility> makeNoAccessibility();
// Opening it is refused with `reason`.
std::unique_ptr<ScreenCapture> makeNoScreenCapture(QString reason);

// Its status is refused with `reason`, and so is opening the capture. `clipboard` must outlive it.
std::unique_ptr<DesktopSession> makeNoDesktop(Clipboard& clipboard, QString reason);

}  // namespace vantora
