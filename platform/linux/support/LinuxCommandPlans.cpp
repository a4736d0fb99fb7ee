#include "platform/linux/support/LinuxCommandPlans.h"

#include <algorithm>

#include "platform/linux/support/Programs.h"
#include "platform/linux/support/ReplacedSettings.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

CommandPlan runs(const QString& script) { return {.script = script, .missing = QString()}; }
CommandPlan lacks(const QString& what) { return {.script = QString(), .missing = what}; }

// A script in which "%1", "%2" and so on are placeholders for the paths of tools: a login shell may have another PATH
// than this process. Each entry of `tools` lists alternative names, the preferred one first.
CommandPlan runsTools(const DesktopFacts& facts, QLatin1StringView script, const QList<QStringList>& tools) {
  QString text = script;
  for (qsizetype i = 0; i < tools.size(); ++i) {
    const auto installed = std::ranges::find_if(tools[i], [&](const QString& name) { return facts.has(name); });
    if (installed == tools[i].end()) return lacks(tools[i].last() + u" is not installed"_s);
    text.replace(u'%' + QString::number(i + 1), shellQuoted(facts.find(*installed)));
  }
  return runs(text);
}

CommandPlan opens(const DesktopFacts& facts, const QStringList& command, const QString& what) {
  if (!facts.display) return lacks(u"No desktop to show windows on: neither DISPLAY nor WAYLAND_DISPLAY is set"_s);
  if (command.isEmpty()) return lacks(what);
  return runs(launchScript(command, facts.serviceManager ? facts.find(u"systemd-run"_s) : QString()));
}

// All steps run, and the status is that of the last one that failed.
QString eachOf(const QStringList& steps) {
  QString script = u"status=0\n"_s;
  for (const QString& step : steps) script += step + u" || status=$?\n"_s;
  return script + u"exit $status\n"_s;
}

// Host name caches

// The flushes that need administrator rights, as shell steps; adds those that are not possible to `notes`.
QStringList elevatedFlushes(const DesktopFacts& facts, QStringList& notes) {
  QStringList steps;
  if (facts.nscd) {
    const QString nscd = facts.find(u"nscd"_s);
    if (nscd.isEmpty()) notes.append(u"nscd runs, but its program is not installed"_s);
    if (!nscd.isEmpty()) steps.append(shellQuoted(nscd) + u" --invalidate=hosts"_s);
  }
  for (const qint64 process : facts.dnsmasq) {
    // The process may have ended while the user typed a password.
    steps.append(u"{ [ \"$(cat /proc/%1/comm)\" = dnsmasq ] && kill -HUP %1; }"_s.arg(process));
  }
  if (!steps.isEmpty() && !facts.has(u"pkexec"_s)) {
    notes.append(u"pkexec, which asks for administrator rights, is not installed"_s);
    steps.clear();
  }
  return steps;
}

// A dialog that is not confirmed is a failure, even when another cache was flushed: this one was not.
constexpr auto kElevatedFlush = "%1 --disable-internal-agent /bin/sh -c %2 || status=$?\n"_L1;

CommandPlan flushNames(const DesktopFacts& facts) {
  if (!facts.resolved && !facts.nscd && facts.dnsmasq.isEmpty()) {
    return lacks(u"No cache of host names runs here: neither systemd-resolved nor nscd nor dnsmasq"_s);
  }
  QStringList notes;
  const QString resolvectl = facts.resolved ? facts.find(u"resolvectl"_s) : QString();
  if (facts.resolved && resolvectl.isEmpty()) {
    notes.append(u"resolvectl, which speaks to systemd-resolved, is not installed"_s);
  }
  const QStringList elevated = elevatedFlushes(facts, notes);
  if (resolvectl.isEmpty() && elevated.isEmpty()) return lacks(notes.first());
  QString script = u"status=0\n"_s;
  for (const QString& note : notes) script += u"echo "_s + shellQuoted(note) + u" >&2\n"_s;
  if (!resolvectl.isEmpty()) script += shellQuoted(resolvectl) + u" flush-caches || status=$?\n"_s;
  if (!elevated.isEmpty()) {
    // No text agent: without the desktop's dialog nobody could type a password.
    script += QString(kElevatedFlush).arg(shellQuoted(facts.find(u"pkexec"_s)), shellQuoted(eachOf(elevated)));
  }
  return runs(script + u"exit $status\n"_s);
}

// Dark mode

// Each switch records the previous setting, so that the next one restores it, unless the user has chosen another theme
// in between. A theme and its dark variant differ by a suffix; GTK itself contains the dark variant of Adwaita.
constexpr auto kDarkVariant = R"sh(dark_variant() {
  next=Adwaita-dark
  if [ "$1" = Adwaita ]; then return; fi
  for folder in "$HOME/.themes" "${XDG_DATA_HOME:-$HOME/.local/share}/themes" /usr/local/share/themes /usr/share/themes; do
    for ending in dark Dark; do
      if [ -d "$folder/$1-$ending" ]; then next=$1-$ending; return; fi
    done
  done
  return 1
}
)sh"_L1;

// A theme without a dark variant stays: newer programs follow only the colour scheme.
constexpr auto kGnomeDark = R"sh(scheme=$(%1 get org.gnome.desktop.interface color-scheme) || exit
scheme=${scheme#\'}
scheme=${scheme%\'}
theme=$(%1 get org.gnome.desktop.interface gtk-theme) || exit
theme=${theme#\'}
theme=${theme%\'}
if ! before gnome-scheme "$scheme"; then
  if [ "$scheme" = prefer-dark ]; then next=default; else next=prefer-dark; fi
fi
to=$next
%1 set org.gnome.desktop.interface color-scheme "$to" || exit
note gnome-scheme "$scheme" "$to"
next=$theme
if ! before "gnome-theme-for-$to" "$theme"; then
  case $to:$theme in
    prefer-dark:*-[Dd]ark) ;;
    prefer-dark:*) dark_variant "$theme" || next=$theme ;;
    *:*-[Dd]ark) next=${theme%-[Dd]ark} ;;
  esac
fi
if [ "$next" = "$theme" ]; then exit 0; fi
%1 set org.gnome.desktop.interface gtk-theme "$next" || exit
note "gnome-theme-for-$scheme" "$theme" "$next"
)sh"_L1;

constexpr auto kKdeDark = R"sh(scheme=$(%1 --file kdeglobals --group General --key ColorScheme)
if ! before plasma-scheme "$scheme"; then
  case $scheme in
    *[Dd]ark*) next=BreezeLight ;;
    *) next=BreezeDark ;;
  esac
fi
%2 "$next" || exit
note plasma-scheme "$scheme" "$next"
)sh"_L1;

constexpr auto kXfceDark = R"sh(theme=$(%1 -c xsettings -p /Net/ThemeName) || exit
if ! before xfce-theme "$theme"; then
  case $theme in
    *-[Dd]ark) next=${theme%-[Dd]ark} ;;
    *) dark_variant "$theme" || next=Adwaita-dark ;;
  esac
fi
%1 -c xsettings -p /Net/ThemeName -s "$next" || exit
note xfce-theme "$theme" "$next"
)sh"_L1;

CommandPlan toggleDark(const DesktopFacts& facts) {
  CommandPlan plan = lacks(u"This desktop has no dark mode that can be switched"_s);
  if (facts.desktop == DesktopKind::gnome) plan = runsTools(facts, kGnomeDark, {{u"gsettings"_s}});
  if (facts.desktop == DesktopKind::xfce) plan = runsTools(facts, kXfceDark, {{u"xfconf-query"_s}});
  if (facts.desktop == DesktopKind::kde) {
    plan = runsTools(facts, kKdeDark, {{u"kreadconfig6"_s, u"kreadconfig5"_s}, {u"plasma-apply-colorscheme"_s}});
  }
  if (plan.missing.isEmpty()) plan.script.prepend(settingFunctions(facts.replaced) + kDarkVariant);
  return plan;
}

// Browsers

struct Browser {
  QStringList programs;
  // Names of its processes as a pattern; the kernel truncates them to 15 characters.
  QString processes;
  QStringList folders;
};

CommandPlan clearCache(const DesktopFacts& facts, const Browser& browser, const QString& what) {
  bool there = false;
  for (const QString& program : browser.programs) there = there || facts.has(program);
  for (const QString& folder : browser.folders) there = there || facts.folderExists(folder);
  if (!there) return lacks(what);
  const QString pkill = facts.find(u"pkill"_s);
  const QString pgrep = facts.find(u"pgrep"_s);
  if (pkill.isEmpty() || pgrep.isEmpty()) return lacks(u"pkill is not installed"_s);
  QStringList folders;
  for (const QString& folder : browser.folders) folders.append(shellQuoted(folder));
  return runs(
      uR"sh(me=$(id -u)
%1 -u "$me" -x '%3'
tries=0
while [ $tries -lt 50 ] && %2 -u "$me" -x '%3' >/dev/null; do sleep 0.1; tries=$((tries + 1)); done
status=0
for folder in %4; do
  if [ -d "$folder" ]; then find "$folder/" -mindepth 1 -delete || status=$?; fi
done
exit $status
)sh"_s.arg(shellQuoted(pkill), shellQuoted(pgrep), browser.processes, folders.join(u' ')));
}

CommandPlan clearWebKit(const DesktopFacts& facts) {
  return clearCache(facts,
                    {.programs = {u"epiphany"_s, u"epiphany-browser"_s},
                     .processes = u"epiphany|epiphany-browse"_s,
                     .folders = {facts.caches + u"/epiphany"_s, facts.home + u"/.var/app/org.gnome.Epiphany/cache"_s}},
                    u"Epiphany (GNOME Web) is not installed"_s);
}

CommandPlan clearChrome(const DesktopFacts& facts) {
  return clearCache(facts,
                    {.programs = {u"google-chrome"_s, u"google-chrome-stable"_s, u"chromium"_s, u"chromium-browser"_s},
                     .processes = u"chrome|chromium|chromium-browse"_s,
                     .folders = {facts.caches + u"/google-chrome"_s, facts.caches + u"/chromium"_s,
                                 facts.home + u"/.var/app/com.google.Chrome/cache"_s,
                                 facts.home + u"/.var/app/org.chromium.Chromium/cache"_s,
                                 facts.home + u"/snap/chromium/common/.cache/chromium"_s}},
                    u"Neither Chrome nor Chromium is installed"_s);
}

// Hidden files

constexpr auto kGtkHidden = R"sh(status=1
for schema in org.gtk.gtk4.Settings.FileChooser org.gtk.Settings.FileChooser; do
  if %1 writable $schema show-hidden >/dev/null 2>&1; then %1 set $schema show-hidden $show && status=0; fi
done
if [ $status -ne 0 ]; then echo 'The setting of GTK for hidden files is not installed' >&2; fi
exit $status
)sh"_L1;

constexpr auto kXfceHidden = "exec %1 -c thunar -p /last-show-hidden -n -t bool -s $show\n"_L1;

// The file manager and the file dialogs have separate settings.
constexpr auto kKdeHidden = R"sh(view=${XDG_DATA_HOME:-$HOME/.local/share}/dolphin/view_properties/global
mkdir -p "$view" || exit
%1 --file "$view/.directory" --group Settings --key HiddenFilesShown --type bool $show || exit
%1 --file kdeglobals --group 'KFileDialog Settings' --key 'Show hidden files' --type bool $show
)sh"_L1;

CommandPlan hiddenFilesTools(const DesktopFacts& facts) {
  const auto gtk = [&] { return runsTools(facts, kGtkHidden, {{u"gsettings"_s}}); };
  const auto xfce = [&] { return runsTools(facts, kXfceHidden, {{u"xfconf-query"_s}}); };
  switch (facts.desktop) {
    case DesktopKind::gnome:
      return gtk();
    case DesktopKind::kde:
      return runsTools(facts, kKdeHidden, {{u"kwriteconfig6"_s, u"kwriteconfig5"_s}});
    case DesktopKind::xfce:
      return xfce();
    case DesktopKind::other:
      break;
  }
  if (facts.has(u"thunar"_s) && facts.has(u"xfconf-query"_s)) return xfce();
  if (facts.has(u"gsettings"_s)) return gtk();
  return lacks(u"No file manager whose setting for hidden files is known is installed"_s);
}

CommandPlan showHidden(const DesktopFacts& facts, bool show) {
  CommandPlan plan = hiddenFilesTools(facts);
  if (plan.missing.isEmpty()) plan.script.prepend(show ? u"show=true\n"_s : u"show=false\n"_s);
  return plan;
}

CommandPlan revealDownloads(const DesktopFacts& facts) {
  if (!facts.downloadsExist) return lacks(u"The folder for downloads does not exist: "_s + facts.downloads);
  return opens(facts, fileManagerCommand(facts, facts.downloads), u"No file manager is installed"_s);
}

CommandPlan openTerminal(const DesktopFacts& facts) {
  return opens(facts, terminalCommand(facts), u"No terminal is installed"_s);
}

}  // namespace

DesktopKind desktopKind(const QString& currentDesktop) {
  for (const QString& name : currentDesktop.split(u':')) {
    if (name.compare("GNOME"_L1, Qt::CaseInsensitive) == 0) return DesktopKind::gnome;
    if (name.compare("KDE"_L1, Qt::CaseInsensitive) == 0) return DesktopKind::kde;
    if (name.compare("XFCE"_L1, Qt::CaseInsensitive) == 0) return DesktopKind::xfce;
  }
  return DesktopKind::other;
}

CommandPlan systemMonitorPlan(const DesktopFacts& facts, std::optional<std::int64_t> focusPid) {
  return opens(facts, systemMonitorCommand(facts, focusPid), u"No system monitor is installed"_s);
}

CommandPlan commandPlanFor(QStringView id, const DesktopFacts& facts) {
  if (id == "dns-flush"_L1) return flushNames(facts);
  if (id == "open-activity-monitor"_L1) return systemMonitorPlan(facts, std::nullopt);
  if (id == "reveal-downloads"_L1) return revealDownloads(facts);
  if (id == "toggle-dark-mode"_L1) return toggleDark(facts);
  if (id == "clear-safari-cache"_L1) return clearWebKit(facts);
  if (id == "clear-chrome-cache"_L1) return clearChrome(facts);
  if (id == "show-hidden-files"_L1) return showHidden(facts, true);
  if (id == "hide-hidden-files"_L1) return showHidden(facts, false);
  if (id == "open-terminal"_L1) return openTerminal(facts);
  return lacks(u"No counterpart on this system"_s);
}

}  // namespace vantora
