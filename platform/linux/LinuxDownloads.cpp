#include "platform/linux/LinuxDownloads.h"

#include <QStandardPaths>

namespace vantora {

QString downloadFolder() { return QStandardPaths::writableLocation(QStandardPaths::DownloadLocation); }

}  // namespace vantora
