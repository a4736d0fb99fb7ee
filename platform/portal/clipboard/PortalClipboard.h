// The clipboard of a desktop through its portal.
#pragma once

#include <QDBusConnection>
#include <memory>

#include "platform/Clipboard.h"

namespace vantora {

// The clipboard portal works within a session of remote input that was started with it. Thread: main.
class PortalClipboard : public Clipboard {
 public:
  // The session that has clipboard access; an empty path: none. Requests that are pending end as failed.
  virtual void setSession(const QString& sessionPath) = 0;
};

// `service`: the bus name of the portal.
std::unique_ptr<PortalClipboard> makePortalClipboard(const QDBusConnection& bus, const QString& service);

}  // namespace vantora
