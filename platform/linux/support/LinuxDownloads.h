// The user's download folder.
#pragma once

#include <QString>

namespace vantora {

// The download folder of the user's settings (xdg-user-dirs), "Downloads" in the home directory when nothing, or the
// home directory itself, is set there; it need not exist. Looked up at every call. Any thread.
QString downloadFolder();

}  // namespace vantora
