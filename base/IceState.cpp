#include "base/IceState.h"

namespace vantora {

QString iceStateLabel(IceState state) {
  switch (state) {
    case IceState::initial:
      return QStringLiteral("new");
    case IceState::checking:
      return QStringLiteral("checking");
    case IceState::connected:
      return QStringLiteral("connected");
    case IceState::completed:
      return QStringLiteral("completed");
    case IceState::failed:
      return QStringLiteral("failed");
    case IceState::disconnected:
      return QStringLiteral("disconnected");
    case IceState::closed:
      return QStringLiteral("closed");
    case IceState::count:
      return QStringLiteral("count");
  }
  return QStringLiteral("unknown");
}

}  // namespace vantora
