#pragma once

#include <QString>

namespace vantora::Diagnostics {

// The command that measures a folder, and its output as a number of KiB; 0 when it is not a number.
[[nodiscard]] QString folderSizeCommand(const QString& path);
[[nodiscard]] qint64 parseFolderKB(const QString& output);

}  // namespace vantora::Diagnostics
