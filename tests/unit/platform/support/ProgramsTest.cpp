#include <gtest/gtest.h>

#include "platform/linux/support/Programs.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/support/SyntheticDesktop.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

struct Choice {
  DesktopKind desktop;
  QStringList installed;
  QStringList command;
};

TEST(ProgramsTest, openTheTerminalOfTheDesktopBeforeAnyOther) {
  const QStringList all{u"x-terminal-emulator"_s, u"gnome-terminal"_s, u"kgx"_s, u"konsole"_s,
                        u"xfce4-terminal"_s,      u"xterm"_s};
  for (const auto& [desktop, installed, command] : std::initializer_list<Choice>{
           {DesktopKind::gnome, all, {u"/usr/bin/gnome-terminal"_s}},
           {DesktopKind::gnome, {u"kgx"_s, u"x-terminal-emulator"_s}, {u"/usr/bin/kgx"_s}},
           {DesktopKind::gnome, {u"xterm"_s, u"x-terminal-emulator"_s}, {u"/usr/bin/x-terminal-emulator"_s}},
           {DesktopKind::kde, all, {u"/usr/bin/konsole"_s}},
           {DesktopKind::kde, {u"gnome-terminal"_s}, {u"/usr/bin/gnome-terminal"_s}},
           {DesktopKind::xfce, all, {u"/usr/bin/xfce4-terminal"_s}},
           {DesktopKind::other, all, {u"/usr/bin/x-terminal-emulator"_s}},
           {DesktopKind::other, {u"xterm"_s}, {u"/usr/bin/xterm"_s}},
           {DesktopKind::other, {}, {}},
       }) {
    EXPECT_EQ(terminalCommand(syntheticDesktop(desktop, installed)), command);
  }
}

TEST(ProgramsTest, runACommandInATerminalInItsOwnWay) {
  const auto running = [](DesktopKind desktop, const QString& terminal) {
    return terminalRunning(syntheticDesktop(desktop, {terminal}), {u"top"_s, u"-p"_s, u"1"_s});
  };
  EXPECT_EQ(running(DesktopKind::gnome, u"kgx"_s),
            (QStringList{u"/usr/bin/kgx"_s, u"--"_s, u"top"_s, u"-p"_s, u"1"_s}));
  EXPECT_EQ(running(DesktopKind::kde, u"konsole"_s),
            (QStringList{u"/usr/bin/konsole"_s, u"-e"_s, u"top"_s, u"-p"_s, u"1"_s}));
  EXPECT_EQ(running(DesktopKind::xfce, u"xfce4-terminal"_s),
            (QStringList{u"/usr/bin/xfce4-terminal"_s, u"-x"_s, u"top"_s, u"-p"_s, u"1"_s}));
  EXPECT_EQ(running(DesktopKind::other, u"xterm"_s),
            (QStringList{u"/usr/bin/xterm"_s, u"-e"_s, u"top"_s, u"-p"_s, u"1"_s}));
  EXPECT_EQ(running(DesktopKind::other, u"unknown-terminal"_s), QStringList());
}

TEST(ProgramsTest, showAFolderInTheFileManagerOfTheDesktop) {
  const QString folder = u"/home/anna/Down loads"_s;
  const QStringList all{u"nautilus"_s, u"dolphin"_s, u"thunar"_s, u"pcmanfm"_s, u"xdg-open"_s, u"gio"_s};
  for (const auto& [desktop, installed, command] : std::initializer_list<Choice>{
           {DesktopKind::gnome, all, {u"/usr/bin/nautilus"_s, folder}},
           {DesktopKind::kde, all, {u"/usr/bin/dolphin"_s, folder}},
           {DesktopKind::xfce, all, {u"/usr/bin/thunar"_s, folder}},
           {DesktopKind::other, all, {u"/usr/bin/pcmanfm"_s, folder}},
           {DesktopKind::gnome, {u"xdg-open"_s, u"gio"_s}, {u"/usr/bin/xdg-open"_s, folder}},
           {DesktopKind::kde, {u"gio"_s, u"nautilus"_s}, {u"/usr/bin/gio"_s, u"open"_s, folder}},
           {DesktopKind::xfce, {u"caja"_s}, {u"/usr/bin/caja"_s, folder}},
           {DesktopKind::other, {u"xdg-open"_s}, {u"/usr/bin/xdg-open"_s, folder}},
           {DesktopKind::other, {}, {}},
       }) {
    EXPECT_EQ(fileManagerCommand(syntheticDesktop(desktop, installed), folder), command);
  }
}

TEST(ProgramsTest, bringUpTheSystemMonitorOfTheDesktop) {
  const QStringList all{u"gnome-system-monitor"_s, u"plasma-systemmonitor"_s, u"xfce4-taskmanager"_s, u"htop"_s,
                        u"xterm"_s};
  const QString page = u"--show-processes-tab"_s;
  for (const auto& [desktop, installed, command] : std::initializer_list<Choice>{
           {DesktopKind::gnome, all, {u"/usr/bin/gnome-system-monitor"_s, page}},
           {DesktopKind::gnome, {u"resources"_s}, {u"/usr/bin/resources"_s}},
           {DesktopKind::kde, all, {u"/usr/bin/plasma-systemmonitor"_s}},
           {DesktopKind::kde, {u"ksysguard"_s}, {u"/usr/bin/ksysguard"_s}},
           {DesktopKind::xfce, all, {u"/usr/bin/xfce4-taskmanager"_s}},
           {DesktopKind::other, all, {u"/usr/bin/gnome-system-monitor"_s, page}},
           {DesktopKind::other, {u"xterm"_s, u"htop"_s, u"top"_s}, {u"/usr/bin/xterm"_s, u"-e"_s, u"/usr/bin/htop"_s}},
           {DesktopKind::other, {u"xterm"_s, u"top"_s}, {u"/usr/bin/xterm"_s, u"-e"_s, u"/usr/bin/top"_s}},
           {DesktopKind::other, {u"htop"_s}, {}},
           {DesktopKind::other, {u"xterm"_s}, {}},
       }) {
    EXPECT_EQ(systemMonitorCommand(syntheticDesktop(desktop, installed), std::nullopt), command);
  }
}

TEST(ProgramsTest, showTheOneProcessWhereTheMonitorCan) {
  const DesktopFacts plain = syntheticDesktop(DesktopKind::other, {u"xterm"_s, u"htop"_s});
  const QStringList whole{u"/usr/bin/xterm"_s, u"-e"_s, u"/usr/bin/htop"_s};
  EXPECT_EQ(systemMonitorCommand(plain, 1234), whole + QStringList({u"-p"_s, u"1234"_s}));
  for (const std::int64_t pid : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{4'194'305}, INT64_MAX, INT64_MIN}) {
    EXPECT_EQ(systemMonitorCommand(plain, pid), whole) << pid;
  }
  const DesktopFacts gnome = syntheticDesktop(DesktopKind::gnome, {u"gnome-system-monitor"_s});
  EXPECT_EQ(systemMonitorCommand(gnome, 1234), systemMonitorCommand(gnome, std::nullopt));
}

}  // namespace
}  // namespace vantora
