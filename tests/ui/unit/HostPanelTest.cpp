#include <gtest/gtest.h>

#include "main/ui/Theme.h"
#include "main/ui/panel/HostPanel.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeSessionControl.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/WidgetsApplication.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostPanelTest : public testui::UiTest {
 protected:
  HostPanelTest() { panel_.setState(session_.state(), 0); }
  void change(const std::function<void(HostState&)>& with, qint64 unread = 0) {
    session_.change(with);
    panel_.setState(session_.state(), unread);
  }
  QAbstractButton* button(const QString& title) {
    for (QAbstractButton* each : panel_.findChildren<QAbstractButton*>()) {
      if (each->text() == title) return each;
    }
    ADD_FAILURE() << "no button " << title.toStdString();
    return nullptr;
  }
  bool says(const QString& text) {
    for (const QLabel* label : panel_.findChildren<QLabel*>()) {
      if (label->text() == text) return true;
    }
    return false;
  }
  QString value(const QString& name) {
    for (const QLineEdit* each : panel_.findChildren<QLineEdit*>()) {
      if (each->accessibleName() == name) return each->text();
    }
    return {};
  }

  fakes::FakeSessionControl session_;
  QList<MenuAction> done_;
  HostPanel panel_{[this](MenuAction action) { done_.append(action); }};
};

TEST_F(HostPanelTest, saysWhatTheMenuSays) {
  change([](HostState& state) { state.iceState = IceState::connected; });
  EXPECT_TRUE(says(u"Vantora Host"_s));
  EXPECT_TRUE(says(u"Connection: connected"_s));
  EXPECT_TRUE(says(u"Preset: auto"_s));
  EXPECT_EQ(value(u"Room"_s), u"desk-7"_s);
  EXPECT_EQ(value(u"Control PIN"_s), u"000042"_s);
}

TEST_F(HostPanelTest, tellsANewUserWhatToDoWithThePin) {
  EXPECT_TRUE(
      says(u"Tell the person who helps you the room and the PIN, and nobody else: whoever has both can use this "
           u"computer while remote control is allowed."_s));
  change([](HostState& state) { state.roomId = u"demo"_s; });
  EXPECT_TRUE(says(u"Everybody can see and use this computer in the room \u201cdemo\u201d, without a PIN."_s));
}

TEST_F(HostPanelTest, showsThePinOnASharedScreenOnlyWhenAsked) {
  const auto readable = [this] {
    for (const QLineEdit* each : panel_.findChildren<QLineEdit*>()) {
      if (each->accessibleName() == u"Control PIN"_s) return each->displayText() == u"000042"_s;
    }
    return false;
  };
  EXPECT_TRUE(readable());
  change([](HostState& state) { state.sharingEnabled = true; });
  EXPECT_FALSE(readable());
  button(u"Show PIN"_s)->click();
  EXPECT_TRUE(readable());
  change([](HostState& state) { state.iceState = IceState::connected; });
  EXPECT_TRUE(readable());
  button(u"Hide PIN"_s)->click();
  EXPECT_FALSE(readable());
  button(u"Show PIN"_s)->click();
  panel_.show();
  panel_.close();
  EXPECT_FALSE(readable());
  change([](HostState& state) { state.sharingEnabled = false; });
  EXPECT_TRUE(readable());
  change([](HostState& state) { state.sharingEnabled = true; });
  EXPECT_FALSE(readable());
}

TEST_F(HostPanelTest, offersEveryActionOfTheMenu) {
  for (const QString& title : {u"Start Sharing"_s, u"Copy Room ID"_s, u"Copy PIN"_s, u"Regenerate PIN"_s,
                               u"Allow Remote Control"_s, u"Allow Incoming Files"_s, u"Chat…"_s, u"Quit Vantora"_s}) {
    ASSERT_NE(button(title), nullptr);
    button(title)->click();
  }
  EXPECT_EQ(done_, (QList{MenuAction::toggleSharing, MenuAction::copyRoom, MenuAction::copyPIN, MenuAction::regenPIN,
                          MenuAction::toggleAllowControl, MenuAction::toggleAllowFiles, MenuAction::showChatWindow,
                          MenuAction::quit}));
}

TEST_F(HostPanelTest, followsTheSession) {
  change(
      [](HostState& state) {
        state.sharingEnabled = true;
        state.allowRemoteControl = false;
        state.pinLockedByEnv = true;
      },
      3);
  EXPECT_NE(button(u"Stop Sharing"_s), nullptr);
  EXPECT_FALSE(button(u"Allow Remote Control"_s)->isChecked());
  EXPECT_TRUE(button(u"Allow Incoming Files"_s)->isChecked());
  EXPECT_FALSE(button(u"Regenerate PIN"_s)->isEnabled());
  EXPECT_EQ(button(u"Regenerate PIN"_s)->toolTip(), u"Locked by CONTROL_TOKEN env"_s);
  EXPECT_NE(button(u"Chat… (3)"_s), nullptr);
}

TEST_F(HostPanelTest, showsAMarkOnlyOnceTheSessionHasIt) {
  button(u"Allow Remote Control"_s)->click();
  EXPECT_TRUE(button(u"Allow Remote Control"_s)->isChecked());
  change([](HostState& state) { state.allowRemoteControl = false; });
  EXPECT_FALSE(button(u"Allow Remote Control"_s)->isChecked());
}

TEST_F(HostPanelTest, showsAPresetOfAnyTextLiterally) {
  change([](HostState& state) { state.qualityPreset = u"<b>x</b>"_s; });
  EXPECT_TRUE(says(u"Preset: <b>x</b>"_s));
  for (const QLabel* label : panel_.findChildren<QLabel*>()) {
    if (label->text().isEmpty()) continue;
    EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->text().toStdString();
  }
}

TEST_F(HostPanelTest, onlyHidesWhenClosed) {
  panel_.present();
  EXPECT_TRUE(panel_.isVisible());
  panel_.close();
  testloop::drain();
  EXPECT_FALSE(panel_.isVisible());
}

TEST_F(HostPanelTest, turnsDarkWithTheDesktop) {
  panel_.present();
  panel_.setPalette(theme::darkPalette());
  testloop::drain();
  EXPECT_LT(panel_.grab().toImage().pixelColor(4, 4).lightness(), 80);
}

}  // namespace
}  // namespace vantora
