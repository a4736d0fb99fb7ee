// Facts about the desktop that the scripts of the support commands depend on.
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
  // Windows can be shown.
  bool display = false;
  // Programs can be started under the user's service manager, so that they outlive this program's own service.
  bool serviceManager = false;
  // Which caches of host names are running.
  bool resolved = false;
  bool nscd = false;
  QList<qint64> dnsmasq;  // Its process ids, without those that serve the networks of virtual machines.
  // Absolute paths.
  QString home;
  QString downloads;
  bool downloadsExist = false;
  QString caches;
  // Settings that earlier commands have replaced.
  ReplacedSettings replaced;
  // The path of a program by its name, empty when it is not installed.
  std::function<QString(const QString&)> find;
  // Whether a folder exists.
  std::function<bool(const QString&)> folderExists;

  [[nodiscard]] bool has(const QString& program) const { return !find(program).isEmpty(); }
};

}  // namespace vantora
