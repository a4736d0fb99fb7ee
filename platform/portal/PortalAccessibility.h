// Accessibility on desktops that give programs no positions on the screen.
#pragma once

#include <memory>

#include "platform/Accessibility.h"

namespace vantora {

// Access is granted, but there is never an element under the pointer: the accessibility service of a Wayland desktop
// knows positions within windows only. The cursor itself then tells its shape.
std::unique_ptr<Accessibility> makePortalAccessibility();

}  // namespace vantora
