// The clipboard of a desktop through its portal.
#pragma once

#include <QDBusConnection>
#include <chrono>
#include <memory>

#include "platform/Clipboard.h"

namespace vantora {

// The clipboard portal works within a session of remote input that was started with it. Without a session nothing is
// read or set. A text that was set is offered for as long as its session lives. Thread: main.
class PortalClipboard : public Clipboard {
 public:
  // The session that has clipboard access; an empty path: none. Requests that are pending end as failed.
  virtual void setSession(const QString& sessionPath) = 0;
};

// `service`: the bus name of the portal. `timeout`: of a reading or setting.
std::unique_ptr<PortalClipboard> makePortalClipboard(const QDBusConnection& bus, const QString& service,
                                                     std::chrono::milliseconds timeout = std::chrono::seconds(4));

}  // namespace vantora
