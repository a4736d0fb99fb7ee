#pragma once

#include <QString>

namespace vantora::Diagnostics {

// The command that measures a folder, and what it says, in KiB; 0 when that is no number.
[[nodiscard]] QString folderSizeCommand(const QString& path);
[[nodiscard]] qint64 parseFolderKB(const QString& output);

}  // namespace vantora::Diagnostics
