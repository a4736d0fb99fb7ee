// Facts of a simulated desktop with the given programs.
#pragma once

#include <QStringList>

#include "platform/linux/support/DesktopFacts.h"

namespace vantora {

// A program `name` is found as "/usr/bin/name".
inline DesktopFacts syntheticDesktop(DesktopKind desktop, const QStringList& programs) {
  DesktopFacts facts;
  facts.desktop = desktop;
  facts.display = true;
  facts.home = QStringLiteral("/home/anna");
  facts.downloads = QStringLiteral("/home/anna/Down loads");
  facts.downloadsExist = true;
  facts.caches = QStringLiteral("/home/anna/.cache");
  facts.find = [programs](const QString& name) {
    return programs.contains(name) ? QStringLiteral("/usr/bin/") + name : QString();
  };
  facts.folderExists = [](const QString&) { return false; };
  return facts;
}

inline constexpr DesktopKind kDesktops[] = {DesktopKind::gnome, DesktopKind::kde, DesktopKind::xfce,
                                            DesktopKind::other};

}  // namespace vantora
