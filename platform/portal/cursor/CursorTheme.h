// The images of the cursor theme that programs of the desktop use.
#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <span>

#include "platform/portal/cursor/CursorNames.h"

namespace vantora {

// The names whose images are read, those that win an image first. Themes draw some cursors alike: then the name that
// programs on Wayland ask for (those of CSS), and of these the one that says least about what the cursor is over.
std::span<const QLatin1StringView> themeCursorNames();

// Reads the images of `theme` (the desktop's default theme when empty or missing), and those of the theme that programs
// without access to it show. `size`: nominal, in layout units; the images of scaled screens are read as well. Takes
// tens of milliseconds: for a thread of its own. Any thread, one call at a time.
std::shared_ptr<const CursorNames> readCursorTheme(const QByteArray& theme, int size);

}  // namespace vantora
