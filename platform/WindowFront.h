// Bringing a window of ours to the front, and who decides about windows there.
#pragma once

#include <QString>
#include <cstdint>

namespace vantora {

// Where window managers doubt the wish of a program whose windows the user did not touch last, tells them that it is
// the user's. `window` is the toolkit's number of a window that is on the screen, `windowSystem` the toolkit's name of
// what it runs on; does nothing where neither is needed. Thread: main; takes about a millisecond.
void insistOnFront(std::uint64_t window, const QString& windowSystem);
// The same for the place above other windows, without the keyboard.
void insistOnTop(std::uint64_t window, const QString& windowSystem);

// Whether something lets the user move and close windows; true where the window system always has that. Thread and
// time as above.
bool windowsAreManaged(const QString& windowSystem);

}  // namespace vantora
