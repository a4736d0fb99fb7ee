// Light or dark palette, as set on the desktop.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <memory>

#include "base/dbus/DBusSignal.h"

namespace vantora {

// Follows the desktop's own setting (the "color-scheme" of the settings portal), now and when it changes, where the
// toolkit does not do so by itself. Thread: main (of the interface). Owner: UserInterface.
class DesktopAppearance {
 public:
  explicit DesktopAppearance(const QDBusConnection& bus);

 private:
  void apply(uint colorScheme);

  bool oursIsOn_ = false;
  QObject context_;
  std::unique_ptr<DBusSignal> changed_;
};

}  // namespace vantora
