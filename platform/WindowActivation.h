// Bringing a window of this program to the front, and detecting a window manager.
#pragma once

#include <QString>
#include <cstdint>

namespace vantora {

// Window managers may refuse to activate a window of a program that the user did not use last (focus stealing
// prevention); this marks the request as the user's own. `window` is the toolkit's number of a window that is on the
// screen, `windowSystem` the toolkit's name of its platform; no effect on platforms that do not need it. Thread: main;
// takes about a millisecond.
void activateWindow(std::uint64_t window, const QString& windowSystem);
// The same for raising above other windows, without taking the keyboard focus.
void raiseWindow(std::uint64_t window, const QString& windowSystem);

// Whether a window manager lets the user move and close windows; true where the window system always has one. Thread
// and time as above.
bool windowsAreManaged(const QString& windowSystem);

}  // namespace vantora
