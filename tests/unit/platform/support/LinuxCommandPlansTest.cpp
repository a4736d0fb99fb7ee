#include <gtest/gtest.h>

#include "main/control/commands/AllowedCommands.h"
#include "platform/linux/support/LinuxCommandPlans.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/support/SyntheticDesktop.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const QStringList& everyProgram() {
  static const QStringList names{u"gnome-terminal"_s,
                                 u"konsole"_s,
                                 u"xfce4-terminal"_s,
                                 u"xterm"_s,
                                 u"nautilus"_s,
                                 u"dolphin"_s,
                                 u"thunar"_s,
                                 u"gsettings"_s,
                                 u"xfconf-query"_s,
                                 u"kreadconfig5"_s,
                                 u"kwriteconfig5"_s,
                                 u"plasma-apply-colorscheme"_s,
                                 u"gnome-system-monitor"_s,
                                 u"plasma-systemmonitor"_s,
                                 u"xfce4-taskmanager"_s,
                                 u"chromium"_s,
                                 u"epiphany"_s,
                                 u"pkill"_s,
                                 u"pgrep"_s,
                                 u"pkexec"_s,
                                 u"resolvectl"_s,
                                 u"nscd"_s};
  return names;
}

// The script on a desktop with these programs must contain `needle`; without a script the reason must be `missing`.
void expectScript(const CommandPlan& plan, const QString& needle) {
  EXPECT_TRUE(plan.missing.isEmpty()) << plan.missing.toStdString();
  EXPECT_TRUE(plan.script.contains(needle)) << needle.toStdString() << " is not in\n" << plan.script.toStdString();
}
void expectMissing(const CommandPlan& plan, const QString& missing) {
  EXPECT_EQ(plan, (CommandPlan{.script = QString(), .missing = missing}));
}

TEST(LinuxCommandPlansTest, everyEntryHasACounterpartOnEveryFullDesktop) {
  for (const DesktopKind desktop : kDesktops) {
    DesktopFacts facts = syntheticDesktop(desktop, everyProgram());
    facts.resolved = true;
    for (const AllowedCommand& command : allowedCommandTable()) {
      const CommandPlan plan = commandPlanFor(QString(command.id), facts);
      // A window manager alone has no dark mode.
      if (desktop == DesktopKind::other && command.id == "toggle-dark-mode"_L1) {
        expectMissing(plan, u"This desktop has no dark mode that can be switched"_s);
        continue;
      }
      EXPECT_TRUE(plan.missing.isEmpty()) << command.id.data() << ": " << plan.missing.toStdString();
      EXPECT_FALSE(plan.script.isEmpty());
    }
  }
}

TEST(LinuxCommandPlansTest, everyEntrySaysWhatIsMissingOnABareSystem) {
  for (const DesktopKind desktop : kDesktops) {
    DesktopFacts facts = syntheticDesktop(desktop, {});
    for (const AllowedCommand& command : allowedCommandTable()) {
      const CommandPlan plan = commandPlanFor(QString(command.id), facts);
      EXPECT_TRUE(plan.script.isEmpty()) << command.id.data();
      EXPECT_FALSE(plan.missing.isEmpty()) << command.id.data();
    }
  }
}

TEST(LinuxCommandPlansTest, nothingRunsForAnIdOutsideTheTable) {
  for (const QString& id : {QString(), u"ls"_s, u"open-terminal "_s}) {
    expectMissing(commandPlanFor(id, syntheticDesktop(DesktopKind::gnome, everyProgram())),
                  u"No counterpart on this system"_s);
  }
}

TEST(LinuxCommandPlansTest, knowsTheDesktopByItsName) {
  for (const auto& [name, kind] : std::initializer_list<std::pair<QString, DesktopKind>>{
           {u"GNOME"_s, DesktopKind::gnome},
           {u"ubuntu:GNOME"_s, DesktopKind::gnome},
           {u"GNOME-Classic:GNOME"_s, DesktopKind::gnome},
           {u"Budgie:GNOME"_s, DesktopKind::gnome},
           {u"KDE"_s, DesktopKind::kde},
           {u"XFCE"_s, DesktopKind::xfce},
           {u"Xfce"_s, DesktopKind::xfce},
           {u"KDE:GNOME"_s, DesktopKind::kde},
           {u"MATE"_s, DesktopKind::other},
           {u"X-Cinnamon"_s, DesktopKind::other},
           {QString(), DesktopKind::other},
       }) {
    EXPECT_EQ(desktopKind(name), kind) << name.toStdString();
  }
}

// dns-flush

TEST(LinuxCommandPlansTest, flushesTheNamesOfTheServicesThatRunAndElevatesOnlyForThoseThatNeedIt) {
  DesktopFacts facts = syntheticDesktop(DesktopKind::other, {u"resolvectl"_s, u"nscd"_s, u"pkexec"_s});
  facts.resolved = true;
  const CommandPlan resolved = commandPlanFor(u"dns-flush", facts);
  expectScript(resolved, u"'/usr/bin/resolvectl' flush-caches"_s);
  EXPECT_FALSE(resolved.script.contains(u"pkexec"_s));

  facts.nscd = true;
  facts.dnsmasq = {71, 72};
  const CommandPlan all = commandPlanFor(u"dns-flush", facts);
  const qsizetype elevation = all.script.indexOf(u"'/usr/bin/pkexec' --disable-internal-agent /bin/sh -c "_s);
  ASSERT_GT(elevation, 0) << all.script.toStdString();
  EXPECT_LT(all.script.indexOf(u"flush-caches"_s), elevation);
  EXPECT_GT(all.script.indexOf(u"--invalidate=hosts"_s), elevation);
  EXPECT_GT(all.script.indexOf(u"kill -HUP 71"_s), elevation);
  EXPECT_GT(all.script.indexOf(u"kill -HUP 72"_s), elevation);

  facts.resolved = false;
  facts.nscd = false;
  const CommandPlan dnsmasq = commandPlanFor(u"dns-flush", facts);
  expectScript(dnsmasq, u"kill -HUP 71"_s);
  EXPECT_FALSE(dnsmasq.script.contains(u"nscd"_s));
  EXPECT_FALSE(dnsmasq.script.contains(u"resolvectl"_s));
}

TEST(LinuxCommandPlansTest, flushesWhatItCanWhereAToolForAnotherCacheIsMissing) {
  DesktopFacts facts = syntheticDesktop(DesktopKind::gnome, {u"resolvectl"_s});
  facts.resolved = facts.nscd = true;
  facts.dnsmasq = {71};
  const CommandPlan plan = commandPlanFor(u"dns-flush", facts);
  expectScript(plan, u"'/usr/bin/resolvectl' flush-caches"_s);
  expectScript(plan, u"echo 'nscd runs, but its program is not installed' >&2"_s);
  expectScript(plan, u"echo 'pkexec, which asks for administrator rights, is not installed' >&2"_s);
  EXPECT_FALSE(plan.script.contains(u"kill"_s));

  facts = syntheticDesktop(DesktopKind::gnome, {u"pkexec"_s});
  facts.resolved = true;
  facts.dnsmasq = {71};
  expectScript(commandPlanFor(u"dns-flush", facts), u"kill -HUP 71"_s);
}

TEST(LinuxCommandPlansTest, saysWhatFlushingNamesLacks) {
  DesktopFacts facts = syntheticDesktop(DesktopKind::gnome, {});
  expectMissing(commandPlanFor(u"dns-flush", facts),
                u"No cache of host names runs here: neither systemd-resolved nor nscd nor dnsmasq"_s);
  facts.resolved = true;
  expectMissing(commandPlanFor(u"dns-flush", facts),
                u"resolvectl, which speaks to systemd-resolved, is not installed"_s);
  facts.resolved = false;
  facts.nscd = true;
  expectMissing(commandPlanFor(u"dns-flush", facts), u"nscd runs, but its program is not installed"_s);
  facts.nscd = false;
  facts.dnsmasq = {71};
  expectMissing(commandPlanFor(u"dns-flush", facts),
                u"pkexec, which asks for administrator rights, is not installed"_s);
}

// Programs with windows

TEST(LinuxCommandPlansTest, startsProgramsOfTheDesktopDetached) {
  const DesktopFacts facts = syntheticDesktop(DesktopKind::kde, everyProgram());
  EXPECT_EQ(commandPlanFor(u"open-terminal", facts).script, launchScript({u"/usr/bin/konsole"_s}, QString()));
  EXPECT_EQ(commandPlanFor(u"reveal-downloads", facts).script,
            launchScript({u"/usr/bin/dolphin"_s, u"/home/anna/Down loads"_s}, QString()));
  EXPECT_EQ(commandPlanFor(u"open-activity-monitor", facts), systemMonitorPlan(facts, std::nullopt));
  EXPECT_EQ(systemMonitorPlan(facts, 7).script, launchScript({u"/usr/bin/plasma-systemmonitor"_s}, QString()));
  DesktopFacts managed = facts;
  managed.serviceManager = true;
  EXPECT_EQ(commandPlanFor(u"open-terminal", managed).script, commandPlanFor(u"open-terminal", facts).script)
      << "there is no program to speak to it";
  managed.find = [](const QString& name) { return u"/usr/bin/"_s + name; };
  EXPECT_EQ(commandPlanFor(u"open-terminal", managed).script,
            launchScript({u"/usr/bin/konsole"_s}, u"/usr/bin/systemd-run"_s));
}

TEST(LinuxCommandPlansTest, saysWhatOpeningLacks) {
  DesktopFacts facts = syntheticDesktop(DesktopKind::gnome, {});
  expectMissing(commandPlanFor(u"open-terminal", facts), u"No terminal is installed"_s);
  expectMissing(commandPlanFor(u"reveal-downloads", facts), u"No file manager is installed"_s);
  expectMissing(commandPlanFor(u"open-activity-monitor", facts), u"No system monitor is installed"_s);
  facts.downloadsExist = false;
  expectMissing(commandPlanFor(u"reveal-downloads", facts),
                u"The folder for downloads does not exist: /home/anna/Down loads"_s);
  facts = syntheticDesktop(DesktopKind::gnome, everyProgram());
  facts.display = false;
  for (const char16_t* id : {u"open-terminal", u"reveal-downloads", u"open-activity-monitor"}) {
    expectMissing(commandPlanFor(id, facts),
                  u"No desktop to show windows on: neither DISPLAY nor WAYLAND_DISPLAY is set"_s);
  }
}

// Dark mode

TEST(LinuxCommandPlansTest, switchesDarkModeByTheMeansOfTheDesktop) {
  const auto toggle = [](DesktopKind desktop, const QStringList& programs) {
    return commandPlanFor(u"toggle-dark-mode", syntheticDesktop(desktop, programs));
  };
  expectScript(toggle(DesktopKind::gnome, {u"gsettings"_s}),
               u"'/usr/bin/gsettings' set org.gnome.desktop.interface color-scheme"_s);
  expectScript(toggle(DesktopKind::kde, {u"plasma-apply-colorscheme"_s, u"kreadconfig5"_s}),
               u"$('/usr/bin/kreadconfig5' "_s);
  expectScript(toggle(DesktopKind::kde, {u"plasma-apply-colorscheme"_s, u"kreadconfig5"_s, u"kreadconfig6"_s}),
               u"$('/usr/bin/kreadconfig6' "_s);
  expectScript(toggle(DesktopKind::xfce, {u"xfconf-query"_s}),
               u"'/usr/bin/xfconf-query' -c xsettings -p /Net/ThemeName -s"_s);
  expectMissing(toggle(DesktopKind::gnome, {}), u"gsettings is not installed"_s);
  expectMissing(toggle(DesktopKind::kde, {u"kreadconfig5"_s}), u"plasma-apply-colorscheme is not installed"_s);
  expectMissing(toggle(DesktopKind::kde, {u"plasma-apply-colorscheme"_s}), u"kreadconfig5 is not installed"_s);
  expectMissing(toggle(DesktopKind::xfce, {}), u"xfconf-query is not installed"_s);
}

TEST(LinuxCommandPlansTest, showsAndHidesHiddenFilesByTheMeansOfTheDesktop) {
  const auto show = [](DesktopKind desktop, const QStringList& programs) {
    return commandPlanFor(u"show-hidden-files", syntheticDesktop(desktop, programs));
  };
  const QString gtk = u"'/usr/bin/gsettings' set $schema show-hidden $show"_s;
  const QString xfce = u"'/usr/bin/xfconf-query' -c thunar -p /last-show-hidden -n -t bool -s $show"_s;
  expectScript(show(DesktopKind::gnome, {u"gsettings"_s}), gtk);
  expectScript(show(DesktopKind::kde, {u"kwriteconfig5"_s}), u"--key HiddenFilesShown --type bool $show"_s);
  expectScript(show(DesktopKind::kde, {u"kwriteconfig6"_s}), u"'/usr/bin/kwriteconfig6' --file"_s);
  expectScript(show(DesktopKind::xfce, {u"xfconf-query"_s}), xfce);
  expectScript(show(DesktopKind::other, {u"thunar"_s, u"xfconf-query"_s, u"gsettings"_s}), xfce);
  expectScript(show(DesktopKind::other, {u"thunar"_s, u"gsettings"_s}), gtk);
  expectMissing(show(DesktopKind::gnome, {}), u"gsettings is not installed"_s);
  expectMissing(show(DesktopKind::kde, {}), u"kwriteconfig5 is not installed"_s);
  expectMissing(show(DesktopKind::xfce, {}), u"xfconf-query is not installed"_s);
  expectMissing(show(DesktopKind::other, {}),
                u"No file manager whose setting for hidden files is known is installed"_s);
  for (const DesktopKind desktop : kDesktops) {
    const DesktopFacts facts = syntheticDesktop(desktop, everyProgram());
    EXPECT_EQ(commandPlanFor(u"hide-hidden-files", facts).script,
              commandPlanFor(u"show-hidden-files", facts).script.replace(u"show=true\n"_s, u"show=false\n"_s));
  }
}

// Caches

TEST(LinuxCommandPlansTest, clearsTheCachesOfBrowsersThatAreThere) {
  expectScript(commandPlanFor(u"clear-chrome-cache",
                              syntheticDesktop(DesktopKind::other, {u"chromium"_s, u"pkill"_s, u"pgrep"_s})),
               u"'/home/anna/.cache/google-chrome' '/home/anna/.cache/chromium'"_s);
  expectScript(commandPlanFor(u"clear-safari-cache",
                              syntheticDesktop(DesktopKind::other, {u"epiphany"_s, u"pkill"_s, u"pgrep"_s})),
               u"'/home/anna/.cache/epiphany'"_s);
  // A browser that was not installed as a package still has a folder.
  DesktopFacts facts = syntheticDesktop(DesktopKind::other, {u"pkill"_s, u"pgrep"_s});
  facts.folderExists = [](const QString& folder) { return folder == u"/home/anna/.var/app/com.google.Chrome/cache"_s; };
  expectScript(commandPlanFor(u"clear-chrome-cache", facts), u"'/home/anna/.var/app/com.google.Chrome/cache'"_s);
  expectMissing(commandPlanFor(u"clear-safari-cache", facts), u"Epiphany (GNOME Web) is not installed"_s);
  expectMissing(commandPlanFor(u"clear-chrome-cache", syntheticDesktop(DesktopKind::gnome, {u"pkill"_s})),
                u"Neither Chrome nor Chromium is installed"_s);
  expectMissing(commandPlanFor(u"clear-chrome-cache", syntheticDesktop(DesktopKind::gnome, {u"chromium"_s})),
                u"pkill is not installed"_s);
}

TEST(LinuxCommandPlansTest, quotesWhatFoldersAreCalled) {
  DesktopFacts facts = syntheticDesktop(DesktopKind::other, {u"chromium"_s, u"pkill"_s, u"pgrep"_s});
  facts.caches = u"/tmp/it's; rm -rf ~"_s;
  expectScript(commandPlanFor(u"clear-chrome-cache", facts), shellQuoted(u"/tmp/it's; rm -rf ~/chromium"_s));
}

}  // namespace
}  // namespace vantora
