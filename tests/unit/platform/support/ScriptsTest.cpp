// The scripts of the counterparts, run by the real shell against stand-ins for the tools of the desktop.
#include <QProcess>

#include "main/control/commands/AllowedCommands.h"
#include "platform/linux/support/CommandRunner.h"
#include "platform/linux/support/DesktopProbe.h"
#include "platform/linux/support/LinuxCommandPlans.h"
#include "platform/linux/support/LoginShell.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/support/TestHome.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class ScriptsTest : public testing::Test {
 protected:
  // Stand-ins for every tool that would act outside the test's own home.
  ScriptsTest() {
    for (const QString& name : {u"pkill"_s, u"pgrep"_s, u"pkexec"_s}) home_.program(name, "exit 1");
    // A login shell resets PATH: the real tools must not be reached by mistake.
    home_.write(u".profile"_s, "PATH=$HOME/bin:$PATH\n");
  }
  CommandOutcome run(QStringView id, DesktopKind desktop) {
    facts_ = probeDesktop(home_.environment);
    facts_.desktop = desktop;
    facts_.replaced = replaced_;
    change_(facts_);
    const CommandPlan plan = commandPlanFor(id, facts_);
    EXPECT_EQ(plan.missing, QString());
    CommandOutcome outcome = runCommand({.command = throughLoginShell(u"/bin/sh"_s, plan.script),
                                         .environment = home_.environment.toStringList(),
                                         .folder = home_.path()},
                                        {}, {});
    replaced_.insert(takeReplacedSettings(outcome.standardOutput));
    return outcome;
  }
  // A store of settings: "<tool> get a b" prints the file "a b", "<tool> set a b value" writes it.
  void settingsTool() {
    home_.program(u"gsettings"_s, R"sh(file="$HOME/settings/$2 $3"
case $1 in
  get) cat "$file" ;;
  set) echo "'$4'" >"$file" ;;
  writable) [ -e "$file" ] ;;
esac)sh");
  }
  void setting(const QString& name, const QByteArray& value) { home_.write(u"settings/"_s + name, value + "\n"); }
  QString setting(const QString& name) { return home_.read(u"settings/"_s + name).trimmed(); }

  TestHome home_;
  DesktopFacts facts_;
  ReplacedSettings replaced_;
  std::function<void(DesktopFacts&)> change_ = [](DesktopFacts&) {};
};

TEST_F(ScriptsTest, switchGnomeToDarkAndBack) {
  settingsTool();
  const QString scheme = u"org.gnome.desktop.interface color-scheme"_s;
  const QString theme = u"org.gnome.desktop.interface gtk-theme"_s;
  setting(scheme, "'default'");
  setting(theme, "'Adwaita'");
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::gnome).ok);
  EXPECT_EQ(setting(scheme), u"'prefer-dark'"_s);
  EXPECT_EQ(setting(theme), u"'Adwaita-dark'"_s);
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::gnome).ok);
  EXPECT_EQ(setting(scheme), u"'default'"_s);
  EXPECT_EQ(setting(theme), u"'Adwaita'"_s);
  setting(theme, "'Own'");
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::gnome).ok);
  EXPECT_EQ(setting(theme), u"'Own'"_s) << "a theme without a dark variant is left alone";
}

TEST_F(ScriptsTest, switchAThemeOfGnomeWithADarkVariantAndBack) {
  settingsTool();
  const QString scheme = u"org.gnome.desktop.interface color-scheme"_s;
  const QString theme = u"org.gnome.desktop.interface gtk-theme"_s;
  home_.write(u".themes/Moss-blue-dark/index.theme"_s, "");
  setting(scheme, "'prefer-light'");
  setting(theme, "'Moss-blue'");
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::gnome).ok);
  EXPECT_EQ(setting(scheme), u"'prefer-dark'"_s);
  EXPECT_EQ(setting(theme), u"'Moss-blue-dark'"_s);
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::gnome).ok);
  EXPECT_EQ(setting(scheme), u"'prefer-light'"_s) << "as it was before";
  EXPECT_EQ(setting(theme), u"'Moss-blue'"_s);
  // Chosen by the user in between: no recorded setting switches a dark theme to a light one while the desktop turns
  // dark.
  setting(theme, "'Moss-blue-dark'");
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::gnome).ok);
  EXPECT_EQ(setting(scheme), u"'prefer-dark'"_s);
  EXPECT_EQ(setting(theme), u"'Moss-blue-dark'"_s);
}

TEST_F(ScriptsTest, speakToTheSettingsOfGnomeAsTheyReallyAre) {
  // The real tool and schemas, with the test's own file as storage.
  home_.environment.insert(u"GSETTINGS_BACKEND"_s, u"keyfile"_s);
  const auto kept = [this] { return home_.read(u".config/glib-2.0/settings/keyfile"_s); };
  const CommandOutcome dark = run(u"toggle-dark-mode", DesktopKind::gnome);
  EXPECT_TRUE(dark.ok) << dark.standardError.toStdString();
  EXPECT_TRUE(kept().contains(u"color-scheme='prefer-dark'\n"_s)) << kept().toStdString();
  EXPECT_TRUE(kept().contains(u"gtk-theme='Adwaita-dark'\n"_s));
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::gnome).ok);
  EXPECT_FALSE(kept().contains(u"dark"_s)) << kept().toStdString();
  EXPECT_TRUE(run(u"show-hidden-files", DesktopKind::gnome).ok);
  EXPECT_TRUE(kept().contains(u"[org/gtk/settings/file-chooser]\nshow-hidden=true\n"_s)) << kept().toStdString();
}

TEST_F(ScriptsTest, reportWhenASettingOfGnomeCannotBeRead) {
  settingsTool();
  const CommandOutcome outcome = run(u"toggle-dark-mode", DesktopKind::gnome);
  EXPECT_FALSE(outcome.ok);
  EXPECT_TRUE(outcome.standardError.contains(u"No such file"_s)) << outcome.standardError.toStdString();
}

TEST_F(ScriptsTest, switchPlasmaToDarkAndBack) {
  home_.program(u"kreadconfig5"_s, "[ \"$*\" = '--file kdeglobals --group General --key ColorScheme' ] && cat scheme");
  home_.program(u"plasma-apply-colorscheme"_s, "echo $1 > scheme");
  home_.write(u"scheme"_s, "\n");
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::kde).ok);
  EXPECT_EQ(home_.read(u"scheme"_s), u"BreezeDark\n"_s);
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::kde).ok);
  EXPECT_EQ(home_.read(u"scheme"_s), u"BreezeLight\n"_s);
  // A scheme chosen by the user is restored, a light one and a dark one.
  home_.write(u"scheme"_s, "OwnPaper\n");
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::kde).ok);
  EXPECT_EQ(home_.read(u"scheme"_s), u"BreezeDark\n"_s);
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::kde).ok);
  EXPECT_EQ(home_.read(u"scheme"_s), u"OwnPaper\n"_s);
  home_.write(u"scheme"_s, "OwnDark\n");
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::kde).ok);
  EXPECT_EQ(home_.read(u"scheme"_s), u"BreezeLight\n"_s);
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::kde).ok);
  EXPECT_EQ(home_.read(u"scheme"_s), u"OwnDark\n"_s);
}

TEST_F(ScriptsTest, switchXfceToTheDarkVariantOfTheThemeAndBack) {
  home_.program(u"xfconf-query"_s, R"(case "$*" in
  '-c xsettings -p /Net/ThemeName') cat theme ;;
  '-c xsettings -p /Net/ThemeName -s '*) echo "$6" >theme ;;
  *) exit 9 ;;
esac)");
  home_.write(u".themes/Moss-dark/index.theme"_s, "");
  for (const auto& [theme, dark, light] : std::initializer_list<std::array<QString, 3>>{
           {u"Moss"_s, u"Moss-dark"_s, u"Moss"_s},
           {u"No Sister"_s, u"Adwaita-dark"_s, u"No Sister"_s},
           {u"Bark-dark"_s, u"Bark"_s, u"Bark-dark"_s},
           {u"It's $(touch bad) %1"_s, u"Adwaita-dark"_s, u"It's $(touch bad) %1"_s},
           {u"Adwaita"_s, u"Adwaita-dark"_s, u"Adwaita"_s}}) {
    home_.write(u"theme"_s, theme.toUtf8() + "\n");
    EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::xfce).ok);
    EXPECT_EQ(home_.read(u"theme"_s).trimmed(), dark);
    EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::xfce).ok);
    EXPECT_EQ(home_.read(u"theme"_s).trimmed(), light);
  }
  EXPECT_FALSE(QFile::exists(home_.path(u"bad"_s)));
}

TEST_F(ScriptsTest, followTheTableWhereNothingIsRememberedAndKeepNoFile) {
  home_.program(u"xfconf-query"_s, "if [ \"$5\" = -s ]; then echo \"$6\" >theme; else cat theme; fi");
  home_.write(u"theme"_s, "No Sister\n");
  const auto entries = [this] {
    return QDir(home_.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
  };
  const QStringList before = entries();
  const CommandOutcome dark = run(u"toggle-dark-mode", DesktopKind::xfce);
  EXPECT_TRUE(dark.ok);
  EXPECT_EQ(dark.standardOutput, QString());
  EXPECT_EQ(replaced_,
            (ReplacedSettings{{u"xfce-theme"_s, {.previous = u"No Sister"_s, .replacement = u"Adwaita-dark"_s}}}));
  replaced_.clear();
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::xfce).ok);
  EXPECT_EQ(home_.read(u"theme"_s), u"Adwaita\n"_s);
  EXPECT_EQ(entries(), before);
}

TEST_F(ScriptsTest, showAndHideHiddenFilesOfGtkPrograms) {
  settingsTool();
  const QString gtk4 = u"org.gtk.gtk4.Settings.FileChooser show-hidden"_s;
  const QString gtk3 = u"org.gtk.Settings.FileChooser show-hidden"_s;
  const CommandOutcome none = run(u"show-hidden-files", DesktopKind::gnome);
  EXPECT_FALSE(none.ok);
  EXPECT_EQ(none.standardError, u"The setting of GTK for hidden files is not installed\n"_s);
  setting(gtk3, "false");
  EXPECT_TRUE(run(u"show-hidden-files", DesktopKind::gnome).ok);
  EXPECT_EQ(setting(gtk3), u"'true'"_s);
  setting(gtk4, "true");
  EXPECT_TRUE(run(u"hide-hidden-files", DesktopKind::gnome).ok);
  EXPECT_EQ(setting(gtk3), u"'false'"_s);
  EXPECT_EQ(setting(gtk4), u"'false'"_s);
}

TEST_F(ScriptsTest, showHiddenFilesOfPlasmaAndXfce) {
  home_.program(u"kwriteconfig5"_s, "echo \"$@\" >> asked");
  EXPECT_TRUE(run(u"show-hidden-files", DesktopKind::kde).ok);
  const QString asked = home_.read(u"asked"_s);
  EXPECT_TRUE(asked.startsWith(u"--file "_s + home_.path(u".local/share/dolphin/view_properties/global/.directory"_s) +
                               u" --group Settings --key HiddenFilesShown --type bool true\n"_s))
      << asked.toStdString();
  EXPECT_TRUE(
      asked.endsWith(u"--file kdeglobals --group KFileDialog Settings --key Show hidden files --type bool true\n"_s));
  home_.program(u"xfconf-query"_s, "echo \"$@\" > asked");
  EXPECT_TRUE(run(u"hide-hidden-files", DesktopKind::xfce).ok);
  EXPECT_EQ(home_.read(u"asked"_s), u"-c thunar -p /last-show-hidden -n -t bool -s false\n"_s);
}

TEST_F(ScriptsTest, clearCachesAfterTheBrowserHasEndedAndTouchNothingElse) {
  // The browser keeps writing for a moment.
  home_.program(u"pkill"_s, "echo \"$@\" > ended; (sleep 0.3; echo late > .cache/chromium/late; touch gone) &\n");
  home_.program(u"pgrep"_s, "[ ! -e gone ]");
  home_.program(u"chromium"_s, "true");
  home_.write(u".cache/chromium/Default/Cache/data"_s, "x");
  home_.write(u".cache/chromium/.hidden"_s, "x");
  home_.write(u".cache/other/keep"_s, "x");
  home_.write(u".config/chromium/keep"_s, "x");
  const CommandOutcome outcome = run(u"clear-chrome-cache", DesktopKind::other);
  EXPECT_TRUE(outcome.ok) << outcome.standardError.toStdString();
  EXPECT_EQ(home_.read(u"ended"_s), u"-u %1 -x chrome|chromium|chromium-browse\n"_s.arg(getuid()));
  EXPECT_TRUE(QFile::exists(home_.path(u"gone"_s)));
  EXPECT_EQ(QDir(home_.path(u".cache/chromium"_s)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
            QStringList());
  EXPECT_EQ(home_.read(u".cache/other/keep"_s), u"x"_s);
  EXPECT_EQ(home_.read(u".config/chromium/keep"_s), u"x"_s);
}

TEST_F(ScriptsTest, clearTheCacheOfAFolderWithAnyName) {
  home_.environment.insert(u"XDG_CACHE_HOME"_s, home_.path(u"it's $(touch bad) a; touch bad"_s));
  home_.program(u"epiphany"_s, "true");
  home_.write(u"it's $(touch bad) a; touch bad/epiphany/data"_s, "x");
  EXPECT_TRUE(run(u"clear-safari-cache", DesktopKind::gnome).ok);
  EXPECT_FALSE(QFile::exists(home_.path(u"it's $(touch bad) a; touch bad/epiphany/data"_s)));
  EXPECT_FALSE(QFile::exists(home_.path(u"bad"_s)));
}

TEST_F(ScriptsTest, leadBackToNoThemeThatAPersonHasChangedInBetween) {
  home_.program(u"xfconf-query"_s, "if [ \"$5\" = -s ]; then echo \"$6\" >theme; else cat theme; fi");
  home_.write(u"theme"_s, "No Sister\n");
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::xfce).ok);
  home_.write(u"theme"_s, "Other-dark\n");
  EXPECT_TRUE(run(u"toggle-dark-mode", DesktopKind::xfce).ok);
  EXPECT_EQ(home_.read(u"theme"_s), u"Other\n"_s);
}

TEST_F(ScriptsTest, flushEveryCacheOfNamesThoughOneFails) {
  home_.program(u"resolvectl"_s, "echo resolvectl \"$@\" >> asked; exit 2");
  home_.program(u"nscd"_s, "echo nscd \"$@\" >> asked; exit 3");
  home_.program(u"pkexec"_s, "echo elevated >> asked; shift; exec \"$@\"");
  change_ = [](DesktopFacts& facts) { facts.resolved = facts.nscd = true; };
  const CommandOutcome outcome = run(u"dns-flush", DesktopKind::other);
  EXPECT_EQ(outcome.code, 3);
  EXPECT_EQ(home_.read(u"asked"_s), u"resolvectl flush-caches\nelevated\nnscd --invalidate=hosts\n"_s);
}

TEST_F(ScriptsTest, failWithoutAdministratorRightsThoughTheResolverNeededNone) {
  home_.program(u"resolvectl"_s, "echo resolvectl >> asked; exit $(cat resolved)");
  home_.program(u"nscd"_s, "true");
  home_.program(u"pkexec"_s, "echo 'Request dismissed' >&2; exit 126");
  change_ = [](DesktopFacts& facts) { facts.resolved = facts.nscd = true; };
  home_.write(u"resolved"_s, "0");
  const CommandOutcome dismissed = run(u"dns-flush", DesktopKind::other);
  EXPECT_FALSE(dismissed.ok);
  EXPECT_EQ(dismissed.code, 126);
  EXPECT_EQ(dismissed.standardError, u"Request dismissed\n"_s);
  EXPECT_EQ(home_.read(u"asked"_s), u"resolvectl\n"_s);
  home_.program(u"pkexec"_s, "shift; exec \"$@\"");
  EXPECT_TRUE(run(u"dns-flush", DesktopKind::other).ok);
  home_.program(u"pkexec"_s, "echo 'Request dismissed' >&2; exit 127");
  EXPECT_EQ(run(u"dns-flush", DesktopKind::other).code, 127) << "no agent";
  home_.program(u"pkexec"_s, "exit 126");
  home_.write(u"resolved"_s, "2");
  EXPECT_EQ(run(u"dns-flush", DesktopKind::other).code, 126);
  change_ = [](DesktopFacts& facts) { facts.nscd = true; };
  EXPECT_EQ(run(u"dns-flush", DesktopKind::other).code, 126);
}

// The process id may be reused by another program while the user types a password.
TEST_F(ScriptsTest, hangUpOnlyOnDnsmasq) {
  home_.program(u"pkexec"_s, "shift; exec \"$@\"");
  ASSERT_TRUE(QFile::copy(u"/bin/sh"_s, home_.path(u"bin/dnsmasq"_s)));
  for (const auto& [program, ended] : {std::pair(u"dnsmasq"_s, true), std::pair(u"sh"_s, false)}) {
    QProcess process;
    process.setProcessEnvironment(home_.environment);
    process.start(program == u"sh"_s ? u"/bin/sh"_s : home_.path(u"bin/dnsmasq"_s),
                  {u"-c"_s, u"trap 'exit 7' HUP; echo; read line; exit 0"_s, u"-x"_s, u"/run/dnsmasq/dnsmasq.pid"_s});
    ASSERT_TRUE(process.waitForReadyRead(10000));
    EXPECT_EQ(probeDesktop(home_.environment).dnsmasq.contains(process.processId()), ended);
    change_ = [&](DesktopFacts& facts) { facts.dnsmasq = {process.processId()}; };
    EXPECT_EQ(run(u"dns-flush", DesktopKind::other).ok, ended);
    process.closeWriteChannel();
    ASSERT_TRUE(process.waitForFinished(10000));
    EXPECT_EQ(process.exitCode(), ended ? 7 : 0);
  }
}

}  // namespace
}  // namespace vantora
