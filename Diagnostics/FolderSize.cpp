#include "Diagnostics/FolderSize.h"

#include "Diagnostics/Probe.h"
#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

QString folderSizeCommand(const QString& path) {
  return "du -sk "_L1 + doubleQuoted(path) + " 2>/dev/null | awk '{print $1}'"_L1;
}

qint64 parseFolderKB(const QString& output) { return toInteger(output).value_or(0); }

}  // namespace vantora::Diagnostics
