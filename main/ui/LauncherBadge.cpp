#include "main/ui/LauncherBadge.h"

#include <QDBusMessage>
#include <QVariantMap>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void LauncherBadge::setCount(qint64 count) {
  QDBusMessage update = QDBusMessage::createSignal(u"/com/vantora/Host/LauncherEntry"_s,
                                                   u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s);
  // The entry is named after the program's menu entry.
  update.setArguments(
      {u"application://vantora-host.desktop"_s, QVariantMap{{u"count"_s, count}, {u"count-visible"_s, count > 0}}});
  bus_.send(update);
}

}  // namespace vantora
