// The desktop of a machine that shows none: no displays, no input, no cursor, no accessibility service.
#pragma once

#include <memory>

#include "platform/Accessibility.h"
#include "platform/Displays.h"
#include "platform/InputSynthesis.h"
#include "platform/SystemCursor.h"

namespace vantora {

// Displays whose list is always empty.
std::unique_ptr<Displays> makeNoDisplays();

// Input that is never usable; every post is without effect.
std::unique_ptr<InputSynthesis> makeNoInputSynthesis();

// A cursor that is never there.
std::unique_ptr<SystemCursor> makeNoSystemCursor();

// An accessibility service that is absent; every request is refused.
std::unique_ptr<Accessibility> makeNoAccessibility();

}  // namespace vantora
