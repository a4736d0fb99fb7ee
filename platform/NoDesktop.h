// The desktop of a machine that shows none: no displays, no input.
#pragma once

#include <memory>

#include "platform/Displays.h"
#include "platform/InputSynthesis.h"

namespace vantora {

// Displays whose list is always empty.
std::unique_ptr<Displays> makeNoDisplays();

// Input that is never usable; every post is without effect.
std::unique_ptr<InputSynthesis> makeNoInputSynthesis();

}  // namespace vantora
