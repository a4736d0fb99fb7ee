// The count on the program's entry in the desktop's launcher or task bar.
#pragma once

#include <QDBusConnection>

namespace vantora {

// Announces the count to the docks and task bars that listen (com.canonical.Unity.LauncherEntry). Thread: main (of the
// interface). Owner: HostStatusBar.
class LauncherBadge {
 public:
  explicit LauncherBadge(const QDBusConnection& bus) : bus_(bus) {}

  // 0 removes the badge.
  void setCount(qint64 count);

 private:
  QDBusConnection bus_;
};

}  // namespace vantora
