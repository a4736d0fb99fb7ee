#include <gtest/gtest.h>

#include "main/ui/tray/LegacyTray.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/WidgetsApplication.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class LegacyTrayTest : public testui::UiTest {
 protected:
  LegacyTrayTest() {
    state_.roomId = u"R&D"_s;
    state_.controlPIN = u"000042"_s;
    state_.qualityPreset = u"auto"_s;
  }
  QList<QAction*> actions() {
    tray_.setRows(menuRows(state_));
    return tray_.menu().actions();
  }

  HostState state_;
  QList<MenuAction> triggered_;
  LegacyTray tray_{[this](MenuAction action) { triggered_.append(action); }};
};

TEST_F(LegacyTrayTest, hasSeventeenRowsInTheirOrder) {
  QStringList titles;
  QList<int> enabled;
  const QList<QAction*> all = actions();
  for (int i = 0; i < all.size(); ++i) {
    titles.append(all[i]->isSeparator() ? u"---"_s : all[i]->text());
    if (!all[i]->isSeparator() && all[i]->isEnabled()) enabled.append(i);
  }
  EXPECT_EQ(titles, (QStringList{u"Vantora Host"_s, u"Connection: new"_s, u"Preset: auto"_s, u"Room: R&&D"_s,
                                 u"Control PIN: 000042"_s, u"---"_s, u"Start Sharing"_s, u"Copy Room ID"_s,
                                 u"Copy PIN"_s, u"Regenerate PIN"_s, u"---"_s, u"Allow Remote Control"_s,
                                 u"Allow Incoming Files"_s, u"---"_s, u"Chat…"_s, u"---"_s, u"Quit Vantora"_s}));
  EXPECT_EQ(enabled, (QList<int>{6, 7, 8, 9, 11, 12, 14, 16}));
}

TEST_F(LegacyTrayTest, marksTheTwoPermissionsOnly) {
  state_.allowIncomingFiles = false;
  const QList<QAction*> all = actions();
  for (int i = 0; i < all.size(); ++i) EXPECT_EQ(all[i]->isCheckable(), i == 11 || i == 12) << i;
  EXPECT_TRUE(all[11]->isChecked());
  EXPECT_FALSE(all[12]->isChecked());
}

TEST_F(LegacyTrayTest, saysWhyALockedPINCannotBeRenewed) {
  EXPECT_NE(actions()[9]->toolTip(), u"Locked by CONTROL_TOKEN env"_s);
  state_.pinLockedByEnv = true;
  EXPECT_EQ(actions()[9]->toolTip(), u"Locked by CONTROL_TOKEN env"_s);
  EXPECT_FALSE(actions()[9]->isEnabled());
  EXPECT_TRUE(tray_.menu().toolTipsVisible());
}

TEST_F(LegacyTrayTest, quitsWithControlAndQ) {
  const QList<QAction*> all = actions();
  for (int i = 0; i < all.size(); ++i) {
    EXPECT_EQ(all[i]->shortcut(), i == 16 ? QKeySequence(u"Ctrl+Q"_s) : QKeySequence()) << i;
  }
}

TEST_F(LegacyTrayTest, doesWhatTheRowSays) {
  for (QAction* action : actions()) action->trigger();
  EXPECT_EQ(triggered_,
            (QList<MenuAction>{MenuAction::toggleSharing, MenuAction::copyRoom, MenuAction::copyPIN,
                               MenuAction::regenPIN, MenuAction::toggleAllowControl, MenuAction::toggleAllowFiles,
                               MenuAction::showChatWindow, MenuAction::quit}));
}

TEST_F(LegacyTrayTest, keepsItsRowsWhenWhatTheySayChanges) {
  const QList<QAction*> before = actions();
  state_.sharingEnabled = true;
  state_.allowRemoteControl = false;
  const QList<QAction*> after = actions();
  EXPECT_EQ(after, before);
  EXPECT_EQ(after[6]->text(), u"Stop Sharing"_s);
  EXPECT_FALSE(after[11]->isChecked());
  after[6]->trigger();
  EXPECT_EQ(triggered_, QList<MenuAction>{MenuAction::toggleSharing});
}

TEST_F(LegacyTrayTest, redrawsItsIconWhenTheOutlineChanges) {
  tray_.setAppearance({.fill = Qt::green, .outline = Qt::black, .unread = false, .toolTip = u"t"_s});
  const QImage dark = tray_.icon().icon().pixmap(64, 64).toImage();
  tray_.setAppearance({.fill = Qt::green, .outline = Qt::white, .unread = false, .toolTip = u"t"_s});
  EXPECT_NE(tray_.icon().icon().pixmap(64, 64).toImage(), dark);
}

}  // namespace
}  // namespace vantora
