#include <gtest/gtest.h>

#include <QFile>
#include <QStringList>
#include <map>

#include "main/control/commands/AllowedCommands.h"
#include "tests/fakes/Places.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// The expected commands, independent of the program's own table.
const std::map<QString, QString>& expected() {
  static const std::map<QString, QString> commands{
      {u"dns-flush"_s, u"sudo dscacheutil -flushcache; sudo killall -HUP mDNSResponder"_s},
      {u"open-activity-monitor"_s, u"open -a \"Activity Monitor\""_s},
      {u"reveal-downloads"_s, u"open ~/Downloads"_s},
      {u"toggle-dark-mode"_s,
       u"osascript -e 'tell application \"System Events\" to tell appearance preferences to set dark mode to not dark mode'"_s},
      {u"clear-safari-cache"_s,
       QStringList{u"killall \"Safari\" 2>/dev/null"_s, u"rm -rf ~/Library/Caches/com.apple.Safari/*"_s,
                   u"rm -rf ~/Library/Caches/com.apple.Safari.SafeBrowsing/*"_s,
                   u"rm -rf ~/Library/Caches/Metadata/Safari/*"_s,
                   u"rm -rf ~/Library/Containers/com.apple.Safari/Data/Library/Caches/*"_s,
                   u"rm -rf ~/Library/Containers/com.apple.Safari/Data/Library/WebKit/Cache/*"_s,
                   u"rm -rf ~/Library/Caches/com.apple.WebKit.Networking/*"_s,
                   u"rm -rf ~/Library/Caches/com.apple.WebKit.PluginProcess/*"_s,
                   u"rm -rf ~/Library/Caches/com.apple.WebKit.WebContent/*"_s}
           .join(u"; "_s)},
      {u"clear-chrome-cache"_s, u"killall \"Google Chrome\" 2>/dev/null; rm -rf ~/Library/Caches/Google/Chrome/*"_s},
      {u"show-hidden-files"_s, u"defaults write com.apple.finder AppleShowAllFiles -bool true; killall Finder"_s},
      {u"hide-hidden-files"_s, u"defaults write com.apple.finder AppleShowAllFiles -bool false; killall Finder"_s},
      {u"open-terminal"_s, u"open -a Terminal"_s},
  };
  return commands;
}

TEST(AllowedCommandsTest, holdsExactlyTheVocabularyOfTheProtocol) {
  std::map<QString, QString> table;
  for (const AllowedCommand& command : allowedCommandTable()) table.emplace(command.id, command.commandLine);
  EXPECT_EQ(table, expected());
  EXPECT_EQ(allowedCommandTable().size(), expected().size());
  QStringList ids;
  for (const AllowedCommand& command : allowedCommandTable()) ids.append(command.id);
  EXPECT_EQ(ids, (QStringList{u"dns-flush"_s, u"open-activity-monitor"_s, u"reveal-downloads"_s, u"toggle-dark-mode"_s,
                              u"clear-safari-cache"_s, u"clear-chrome-cache"_s, u"show-hidden-files"_s,
                              u"hide-hidden-files"_s, u"open-terminal"_s}));
}

TEST(AllowedCommandsTest, isDocumentedRowByRow) {
  QFile file(testplaces::source(u"docs/support-commands.md"_s));
  ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
  const QString text = QString::fromUtf8(file.readAll());
  QStringList documented;
  for (const QString& line : text.sliced(text.indexOf("<!-- command-table:"_L1)).split(u'\n')) {
    if (line.startsWith("| `"_L1)) documented.append(line.section(u'`', 1, 1));
  }
  QStringList ids;
  for (const AllowedCommand& command : allowedCommandTable()) ids.append(command.id);
  EXPECT_EQ(documented, ids);
}

TEST(AllowedCommandsTest, selectsAnEntryByItsIdWhateverTheTextSays) {
  for (const auto& [id, commandLine] : expected()) {
    for (const QString& fallback : {QString(), u"ls"_s, u"open -a Terminal"_s}) {
      EXPECT_EQ(resolveAllowedCommand(id, fallback).id, id);
      EXPECT_TRUE(resolveAllowedCommand(id, fallback).allowed());
    }
  }
}

TEST(AllowedCommandsTest, selectsAnEntryByItsWholeText) {
  for (const auto& [id, commandLine] : expected()) {
    for (const QString& other : {QString(), u"x"_s, commandLine}) {
      EXPECT_EQ(resolveAllowedCommand(other, commandLine), resolveAllowedCommand(id, QString())) << id.toStdString();
    }
  }
}

TEST(AllowedCommandsTest, letsNothingElsePass) {
  for (const auto& [id, commandLine] : expected()) {
    for (const QString& text : {commandLine + u' ', u' ' + commandLine, commandLine + u"; ls"_s, commandLine.toUpper(),
                                commandLine.chopped(1), id, commandLine.section(u';', 0, 0) + u";"_s}) {
      EXPECT_EQ(resolveAllowedCommand(u"x"_s, text), ResolvedCommand()) << text.toStdString();
    }
    for (const QString& wrong : {id.toUpper(), id + u' ', id.chopped(1), commandLine}) {
      EXPECT_EQ(resolveAllowedCommand(wrong, u"ls"_s), ResolvedCommand()) << wrong.toStdString();
    }
  }
  EXPECT_EQ(resolveAllowedCommand(QString(), QString()), ResolvedCommand());
  EXPECT_FALSE(ResolvedCommand().allowed());
  EXPECT_FALSE(ResolvedCommand().elevate);
}

TEST(AllowedCommandsTest, takesOnlyTheLeadingSudoOffAndElevates) {
  for (const auto& [id, commandLine] : expected()) {
    const ResolvedCommand command = resolveAllowedCommand(id, QString());
    if (id == u"dns-flush"_s) {
      EXPECT_EQ(command.commandLine, u"dscacheutil -flushcache; sudo killall -HUP mDNSResponder"_s);
      EXPECT_TRUE(command.elevate);
    } else {
      EXPECT_EQ(command.commandLine, commandLine);
      EXPECT_FALSE(command.elevate) << id.toStdString();
    }
  }
  // The text without "sudo " does not select the entry.
  EXPECT_FALSE(resolveAllowedCommand(u"x"_s, u"dscacheutil -flushcache; sudo killall -HUP mDNSResponder"_s).allowed());
}

}  // namespace
}  // namespace vantora
