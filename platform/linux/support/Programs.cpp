#include "platform/linux/support/Programs.h"

#include <algorithm>
#include <array>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

struct Terminal {
  QLatin1StringView name;
  // The option that precedes a command to run in it.
  QLatin1StringView before;
};

// The system-wide choice first, then all common ones.
constexpr std::array kTerminals{
    Terminal{"x-terminal-emulator"_L1, "-e"_L1},
    Terminal{"gnome-terminal"_L1, "--"_L1},
    Terminal{"kgx"_L1, "--"_L1},
    Terminal{"konsole"_L1, "-e"_L1},
    Terminal{"xfce4-terminal"_L1, "-x"_L1},
    Terminal{"mate-terminal"_L1, "-x"_L1},
    Terminal{"qterminal"_L1, "-e"_L1},
    Terminal{"alacritty"_L1, "-e"_L1},
    Terminal{"urxvt"_L1, "-e"_L1},
    Terminal{"xterm"_L1, "-e"_L1},
};

// The desktop's own programs, preferred ones first.
QStringList ownTerminals(DesktopKind desktop) {
  switch (desktop) {
    case DesktopKind::gnome:
      return {u"gnome-terminal"_s, u"kgx"_s};
    case DesktopKind::kde:
      return {u"konsole"_s};
    case DesktopKind::xfce:
      return {u"xfce4-terminal"_s};
    case DesktopKind::other:
      break;
  }
  return {};
}

QStringList ownFileManagers(DesktopKind desktop) {
  switch (desktop) {
    case DesktopKind::gnome:
      return {u"nautilus"_s};
    case DesktopKind::kde:
      return {u"dolphin"_s};
    case DesktopKind::xfce:
      return {u"thunar"_s};
    case DesktopKind::other:
      break;
  }
  // Without a desktop environment no choice is recorded; xdg-open may open a browser.
  return {u"pcmanfm"_s, u"pcmanfm-qt"_s, u"thunar"_s, u"nemo"_s, u"caja"_s, u"nautilus"_s, u"dolphin"_s};
}

QStringList ownMonitors(DesktopKind desktop) {
  switch (desktop) {
    case DesktopKind::gnome:
      return {u"gnome-system-monitor"_s, u"resources"_s};
    case DesktopKind::kde:
      return {u"plasma-systemmonitor"_s, u"ksysguard"_s};
    case DesktopKind::xfce:
      return {u"xfce4-taskmanager"_s};
    case DesktopKind::other:
      break;
  }
  return {};
}

QString firstOf(const DesktopFacts& facts, const QStringList& names) {
  for (const QString& name : names) {
    if (QString path = facts.find(name); !path.isEmpty()) return path;
  }
  return {};
}

QStringList terminalNames(const DesktopFacts& facts) {
  QStringList names = ownTerminals(facts.desktop);
  for (const Terminal& terminal : kTerminals) names.append(terminal.name);
  return names;
}

bool canBeProcess(std::int64_t pid) {
  constexpr std::int64_t kMaxProcessId = 4'194'304;
  return pid > 0 && pid <= kMaxProcessId;
}

}  // namespace

QStringList terminalCommand(const DesktopFacts& facts) {
  const QString path = firstOf(facts, terminalNames(facts));
  return path.isEmpty() ? QStringList() : QStringList{path};
}

QStringList terminalRunning(const DesktopFacts& facts, const QStringList& command) {
  for (const QString& name : terminalNames(facts)) {
    const QString path = facts.find(name);
    if (path.isEmpty()) continue;
    const auto* const row =
        std::ranges::find_if(kTerminals, [&](const Terminal& terminal) { return terminal.name == name; });
    if (row != kTerminals.end()) return QStringList{path, row->before} + command;
  }
  return {};
}

QStringList fileManagerCommand(const DesktopFacts& facts, const QString& folder) {
  const QStringList names = ownFileManagers(facts.desktop) + QStringList{u"xdg-open"_s};
  if (const QString path = firstOf(facts, names); !path.isEmpty()) return {path, folder};
  if (const QString gio = facts.find(u"gio"_s); !gio.isEmpty()) return {gio, u"open"_s, folder};
  const QString any = firstOf(facts, ownFileManagers(DesktopKind::other));
  return any.isEmpty() ? QStringList() : QStringList{any, folder};
}

QStringList systemMonitorCommand(const DesktopFacts& facts, std::optional<std::int64_t> pid) {
  const QStringList names = ownMonitors(facts.desktop) + QStringList{u"gnome-system-monitor"_s,
                                                                     u"plasma-systemmonitor"_s,
                                                                     u"ksysguard"_s,
                                                                     u"xfce4-taskmanager"_s,
                                                                     u"mate-system-monitor"_s,
                                                                     u"lxtask"_s,
                                                                     u"qps"_s};
  if (const QString path = firstOf(facts, names); !path.isEmpty()) {
    // Without this option it opens the page that was shown last.
    if (path.endsWith("/gnome-system-monitor"_L1)) return {path, u"--show-processes-tab"_s};
    return {path};
  }
  const QString inTerminal = firstOf(facts, {u"htop"_s, u"top"_s});
  if (inTerminal.isEmpty()) return {};
  const bool focused = pid && canBeProcess(*pid);
  return terminalRunning(facts,
                         focused ? QStringList{inTerminal, u"-p"_s, QString::number(*pid)} : QStringList{inTerminal});
}

}  // namespace vantora
