#include "platform/linux/support/LinuxDownloads.h"

#include <QDir>
#include <QStandardPaths>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

QString downloadFolder() {
  const QDir home(QDir::homePath());
  const QString chosen = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
  // In the user's settings the home directory itself means "not set"; the login writes it there when the configured
  // folder is missing.
  const bool none = !QDir::isAbsolutePath(chosen) || QDir::cleanPath(chosen) == QDir::cleanPath(home.path());
  return none ? home.filePath(u"Downloads"_s) : chosen;
}

}  // namespace vantora
