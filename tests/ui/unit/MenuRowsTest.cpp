#include <gtest/gtest.h>

#include "main/ui/MenuRows.h"
#include "tests/fakes/FakeSessionControl.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

HostState someState() {
  HostState state;
  state.iceState = IceState::checking;
  state.qualityPreset = u"balanced"_s;
  state.roomId = u"desk-7"_s;
  state.controlPIN = u"000042"_s;
  return state;
}

QStringList titles(const HostState& state) {
  QStringList all;
  for (const MenuRow& row : menuRows(state)) all.append(row.separator ? u"---"_s : row.title);
  return all;
}

TEST(MenuRowsTest, saysEverythingInItsOrder) {
  EXPECT_EQ(titles(someState()),
            (QStringList{u"Vantora Host"_s, u"Connection: checking"_s, u"Preset: balanced"_s, u"Room: desk-7"_s,
                         u"Control PIN: 000042"_s, u"---"_s, u"Start Sharing"_s, u"Copy Room ID"_s, u"Copy PIN"_s,
                         u"Regenerate PIN"_s, u"---"_s, u"Allow Remote Control"_s, u"Allow Incoming Files"_s, u"---"_s,
                         u"Chat…"_s, u"---"_s, u"Quit Vantora"_s}));
}

TEST(MenuRowsTest, offersToStopWhileSharing) {
  HostState state = someState();
  state.sharingEnabled = true;
  EXPECT_EQ(titles(state).at(6), u"Stop Sharing"_s);
}

TEST(MenuRowsTest, enablesCommandsAndNotLabels) {
  const QList<MenuRow> rows = menuRows(someState());
  for (int i = 0; i < rows.size(); ++i) {
    const bool command = i >= 6 && !rows.at(i).separator;
    EXPECT_EQ(rows.at(i).enabled, command) << i;
    EXPECT_EQ(rows.at(i).action != MenuAction::none, command) << i;
  }
}

TEST(MenuRowsTest, givesEachCommandItsOwnAction) {
  QList<MenuAction> actions;
  for (const MenuRow& row : menuRows(someState())) {
    if (row.action != MenuAction::none) actions.append(row.action);
  }
  EXPECT_EQ(actions, (QList{MenuAction::toggleSharing, MenuAction::copyRoom, MenuAction::copyPIN, MenuAction::regenPIN,
                            MenuAction::toggleAllowControl, MenuAction::toggleAllowFiles, MenuAction::showChatWindow,
                            MenuAction::quit}));
}

TEST(MenuRowsTest, marksWhatIsAllowed) {
  HostState state = someState();
  for (const bool control : {false, true}) {
    for (const bool files : {false, true}) {
      state.allowRemoteControl = control;
      state.allowIncomingFiles = files;
      const QList<MenuRow> rows = menuRows(state);
      for (int i = 0; i < rows.size(); ++i) {
        const std::optional<bool> mark = i == 11   ? std::optional(control)
                                         : i == 12 ? std::optional(files)
                                                   : std::nullopt;
        EXPECT_EQ(rows.at(i).checked, mark) << i;
      }
    }
  }
}

TEST(MenuRowsTest, locksTheNewPINAndSaysWhy) {
  HostState state = someState();
  EXPECT_TRUE(menuRows(state).at(9).enabled);
  EXPECT_EQ(menuRows(state).at(9).toolTip, QString());
  state.pinLockedByEnv = true;
  EXPECT_FALSE(menuRows(state).at(9).enabled);
  EXPECT_EQ(menuRows(state).at(9).toolTip, u"Locked by CONTROL_TOKEN env"_s);
}

TEST(MenuRowsTest, quitsWithAKeyAndNothingElseHasOne) {
  const QList<MenuRow> rows = menuRows(someState());
  for (int i = 0; i < 16; ++i) EXPECT_TRUE(rows.at(i).key.isNull()) << i;
  EXPECT_EQ(rows.at(16).key, QChar(u'q'));
}

TEST(MenuRowsTest, namesEveryConnectionState) {
  const QStringList labels{u"new"_s,          u"checking"_s, u"connected"_s, u"completed"_s, u"failed"_s,
                           u"disconnected"_s, u"closed"_s,   u"count"_s,     u"unknown"_s};
  HostState state = someState();
  for (int raw = 0; raw <= 8; ++raw) {
    state.iceState = static_cast<IceState>(raw);
    EXPECT_EQ(menuRows(state).at(1).title, u"Connection: "_s + labels.at(raw));
    EXPECT_EQ(statusToolTip(state), u"Vantora Host — Connection: "_s + labels.at(raw) + u". Preset: balanced"_s);
  }
}

TEST(MenuRowsTest, keepsARowOnOneLineWhateverAViewerNamesItsPreset) {
  HostState state = someState();
  state.qualityPreset = u"a\nb\tc\u2028d"_s + QString(1000000, u'x');
  for (const QString& text : {menuRows(state).at(2).title, statusToolTip(state)}) {
    EXPECT_TRUE(text.contains(u"a b c dxxx"_s));
    EXPECT_LT(text.size(), 300);
  }
}

}  // namespace
}  // namespace vantora
