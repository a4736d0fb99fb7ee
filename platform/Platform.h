// The desktop this process runs on.
#pragma once

#include <memory>

#include "base/Environment.h"
#include "platform/Accessibility.h"
#include "platform/Displays.h"
#include "platform/InputSynthesis.h"
#include "platform/ScreenCapture.h"
#include "platform/SupportTools.h"
#include "platform/SystemCursor.h"

namespace vantora {

// What the desktop offers. No member is ever null: an ability that is missing is an object that
// says so. Main thread; owned by the composition root, outlives everything that uses it.
struct Platform {
  std::unique_ptr<Displays> displays;
  std::unique_ptr<InputSynthesis> input;
  std::unique_ptr<SupportTools> supportTools;
  std::unique_ptr<SystemCursor> cursor;
  std::unique_ptr<Accessibility> accessibility;
  // Refuses to open, with the reason, where there is no display.
  ScreenCaptureFactory screenCapture;
};

// Picks the implementation at run time: X11 when DISPLAY names a server (which need not answer
// yet), else a desktop that has no displays and takes no input.
Platform makePlatform(const Environment& environment);

}  // namespace vantora
