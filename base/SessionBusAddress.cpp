#include "base/SessionBusAddress.h"

#include <QFileInfo>

namespace vantora {

QString sessionBusAddress(const Environment& environment) {
  if (const auto address = environment.nonEmpty("DBUS_SESSION_BUS_ADDRESS")) return *address;
  const auto runtime = environment.nonEmpty("XDG_RUNTIME_DIR");
  if (!runtime) return {};
  const QString socket = *runtime + QStringLiteral("/bus");
  return QFileInfo::exists(socket) ? QStringLiteral("unix:path=") + socket : QString();
}

}  // namespace vantora
