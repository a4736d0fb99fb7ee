// What the counterparts of the support commands depend on.
#pragma once

#include <QList>
#include <QString>
#include <functional>

#include "platform/linux/support/ReplacedSettings.h"

namespace vantora {

enum class DesktopKind { gnome, kde, xfce, other };

// The desktop that XDG_CURRENT_DESKTOP names ("ubuntu:GNOME"); the first known name counts. Pure.
DesktopKind desktopKind(const QString& currentDesktop);

struct DesktopFacts {
  DesktopKind desktop = DesktopKind::other;
  // There is something that windows can be shown on.
  bool display = false;
  // Programs can be put under the user's service manager, which lets them outlive this one's own service.
  bool serviceManager = false;
  // The caches of the system's name service that run.
  bool resolved = false;
  bool nscd = false;
  QList<qint64> dnsmasq;  // Its processes; those that serve the networks of virtual machines are none.
  // Absolute paths.
  QString home;
  QString downloads;
  bool downloadsExist = false;
  QString caches;
  // What earlier commands have replaced.
  ReplacedSettings replaced;
  // The path of a program by its name, empty when it is not installed.
  std::function<QString(const QString&)> find;
  // Whether a folder exists.
  std::function<bool(const QString&)> folderExists;

  [[nodiscard]] bool has(const QString& program) const { return !find(program).isEmpty(); }
};

}  // namespace vantora
