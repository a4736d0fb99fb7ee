#include "Diagnostics/FolderSize.h"

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

qint64 folderKB(const Probe& probe, const QString& path) {
  const QString output = probe.sh("du -sk "_L1 + doubleQuoted(path) + " 2>/dev/null | awk '{print $1}'"_L1);
  return toInteger(output).value_or(0);
}

}  // namespace vantora::Diagnostics
