#include <gtest/gtest.h>

#include "main/control/input/InputInjector.h"
#include "main/control/input/KeyCodes.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakeInputSynthesis.h"
#include "tests/fakes/RecordedLog.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// One display of 1000 x 500 pixels.
class InputInjectorTest : public testing::Test {
 protected:
  PointerEvent event(PointerEventType type, PointerButton button, QPointF point = QPointF(500, 250)) const {
    return {type, point, QRectF(0, 0, 1000, 500), button};
  }
  const std::vector<PointerEvent>& posted() const { return synthesis_.pointerEvents; }

  fakes::RecordedLog log_;
  fakes::FakeDisplays displays_{{Display{.id = 7, .name = u"one"_s, .bounds = QRect(0, 0, 1000, 500)}}};
  fakes::FakeInputSynthesis synthesis_;
  InputInjector injector_{displays_, synthesis_};
};

TEST_F(InputInjectorTest, movesWithButtonZeroWhileNoButtonIsHeld) {
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted(), std::vector{event(PointerEventType::moved, PointerButton::left)});
}

TEST_F(InputInjectorTest, movesWithButtonZeroAfterTheRightButtonWasReleased) {
  injector_.mouseDown(0.5, 0.5, 2);
  injector_.mouseUp(0.5, 0.5, 2);
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted().back(), event(PointerEventType::moved, PointerButton::left));
}

TEST_F(InputInjectorTest, dragsWithTheLeftButton) {
  injector_.mouseDown(0.5, 0.5, 0);
  injector_.move(0.25, 0.5);
  EXPECT_EQ(posted(), (std::vector{event(PointerEventType::leftDown, PointerButton::left),
                                   event(PointerEventType::leftDragged, PointerButton::left, QPointF(250, 250))}));
}

TEST_F(InputInjectorTest, dragsWithTheRightButton) {
  injector_.mouseDown(0.5, 0.5, 2);
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted(), (std::vector{event(PointerEventType::rightDown, PointerButton::right),
                                   event(PointerEventType::rightDragged, PointerButton::right)}));
}

TEST_F(InputInjectorTest, dragsTheMiddleButtonAsALeftDragThatCarriesTheCentreButton) {
  injector_.mouseDown(0.5, 0.5, 1);
  injector_.move(0.5, 0.5);
  injector_.mouseUp(0.5, 0.5, 1);
  EXPECT_EQ(posted(), (std::vector{event(PointerEventType::leftDown, PointerButton::centre),
                                   event(PointerEventType::leftDragged, PointerButton::centre),
                                   event(PointerEventType::leftUp, PointerButton::centre)}));
}

TEST_F(InputInjectorTest, keepsDraggingUntilTheButtonIsReleased) {
  injector_.mouseDown(0.5, 0.5, 0);
  injector_.move(0.5, 0.5);
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted().back().type, PointerEventType::leftDragged);
  injector_.mouseUp(0.5, 0.5, 0);
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted().back().type, PointerEventType::moved);
}

TEST_F(InputInjectorTest, dragsWithTheButtonPressedLast) {
  injector_.mouseDown(0.5, 0.5, 0);
  injector_.mouseDown(0.5, 0.5, 2);
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted().back().type, PointerEventType::rightDragged);
}

TEST_F(InputInjectorTest, endsEveryDragWithTheReleaseOfAnyButton) {
  injector_.mouseDown(0.5, 0.5, 0);
  injector_.mouseDown(0.5, 0.5, 2);
  injector_.mouseUp(0.5, 0.5, 2);
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted().back().type, PointerEventType::moved);
}

TEST_F(InputInjectorTest, takesUnknownButtonsForTheLeftOne) {
  injector_.mouseDown(0.5, 0.5, 9);
  injector_.mouseUp(0.5, 0.5, -4);
  EXPECT_EQ(posted(), (std::vector{event(PointerEventType::leftDown, PointerButton::left),
                                   event(PointerEventType::leftUp, PointerButton::left)}));
}

TEST_F(InputInjectorTest, clicksDownAndUpAtOnePoint) {
  injector_.click(0.5, 0.5, 2);
  EXPECT_EQ(posted(), (std::vector{event(PointerEventType::rightDown, PointerButton::right),
                                   event(PointerEventType::rightUp, PointerButton::right)}));
}

TEST_F(InputInjectorTest, holdsNothingAfterAClick) {
  injector_.mouseDown(0.5, 0.5, 0);
  injector_.click(0.5, 0.5, 2);
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted().back(), event(PointerEventType::moved, PointerButton::left));
}

TEST_F(InputInjectorTest, doubleClicksWithRisingClickState) {
  injector_.doubleClick(0.5, 0.5, 0);
  EXPECT_EQ(posted(), (std::vector{event(PointerEventType::leftDown, PointerButton::left),
                                   event(PointerEventType::leftUp, PointerButton::left),
                                   event(PointerEventType::leftDown, PointerButton::left),
                                   event(PointerEventType::leftUp, PointerButton::left)}));
}

TEST_F(InputInjectorTest, doubleClicksTheRightButtonWithItsOwnTypes) {
  injector_.doubleClick(0.5, 0.5, 2);
  EXPECT_EQ(posted().front().type, PointerEventType::rightDown);
  EXPECT_EQ(posted().back().type, PointerEventType::rightUp);
}

TEST_F(InputInjectorTest, keepsTheHeldStateThroughADoubleClick) {
  injector_.mouseDown(0.5, 0.5, 2);
  injector_.doubleClick(0.5, 0.5, 0);
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted().back(), event(PointerEventType::rightDragged, PointerButton::right));
}

TEST_F(InputInjectorTest, scrollsAgainstTheViewersVerticalAndAlongItsHorizontal) {
  injector_.wheel(3, 10);
  EXPECT_EQ(synthesis_.scrollEvents, std::vector{(ScrollEvent{-10, 3})});
}

TEST_F(InputInjectorTest, postsExactlyTheModifiersThatAreTrue) {
  injector_.key(u"KeyA"_s, true, {{u"meta"_s, true}, {u"shift"_s, false}});
  EXPECT_EQ(synthesis_.keyEvents, std::vector{(KeyEvent{u"KeyA"_s, true, {.meta = true}})});
}

TEST_F(InputInjectorTest, knowsFourModifiersAndIgnoresOtherNames) {
  const std::pair<QString, KeyModifiers> cases[] = {{u"shift"_s, {.shift = true}},
                                                    {u"ctrl"_s, {.control = true}},
                                                    {u"alt"_s, {.alt = true}},
                                                    {u"meta"_s, {.meta = true}},
                                                    {u"control"_s, {}},
                                                    {u"Shift"_s, {}},
                                                    {u"capsLock"_s, {}}};
  for (const auto& [name, expected] : cases) {
    injector_.key(u"KeyB"_s, false, {{name, true}});
    EXPECT_EQ(synthesis_.keyEvents.back(), (KeyEvent{u"KeyB"_s, false, expected})) << name.toStdString();
  }
}

TEST_F(InputInjectorTest, postsNothingForAnUnknownKey) {
  injector_.key(u"F5"_s, true, {{u"shift"_s, true}});
  injector_.key(QString(100000, u'x'), true, {});
  EXPECT_TRUE(synthesis_.keyEvents.empty());
}

TEST_F(InputInjectorTest, postsEveryKnownKeyWithItsCode) {
  for (const KeyCode& key : keyCodes()) {
    const QString name = QString::fromLatin1(key.name);
    EXPECT_EQ(InputInjector::keyCode(name), key.code);
    injector_.key(name, true, {});
    EXPECT_EQ(synthesis_.keyEvents.back(), (KeyEvent{name, true}));
  }
}

TEST_F(InputInjectorTest, skipsAKeyThatTheDesktopDoesNotHave) {
  synthesis_.missingKeys.insert(u"KeyA"_s);
  injector_.key(u"KeyA"_s, true, {});
  injector_.key(u"KeyB"_s, true, {});
  ASSERT_EQ(synthesis_.keyEvents.size(), 1U);
  EXPECT_EQ(synthesis_.keyEvents.front().name, u"KeyB"_s);
}

TEST_F(InputInjectorTest, mayPostWithoutAWordWhenTheDesktopTakesInput) {
  EXPECT_TRUE(injector_.ensureAccessibility());
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(InputInjectorTest, saysWhichPermissionIsMissing) {
  synthesis_.setUsable(false);
  EXPECT_FALSE(injector_.ensureAccessibility());
  EXPECT_EQ(log_.lines(), QStringList{u"[control] Accessibility permission required: System Settings \u2192 Privacy & "
                                      u"Security \u2192 Accessibility"_s});
}

TEST_F(InputInjectorTest, saysWhyTheDesktopRefusesIfItKnows) {
  synthesis_.setRefusal(u"the desktop is not ours"_s);
  EXPECT_TRUE(injector_.ensureAccessibility());
  synthesis_.setUsable(false);
  EXPECT_FALSE(injector_.ensureAccessibility());
  EXPECT_EQ(log_.lines(), (QStringList{u"[control] Accessibility permission required: System Settings \u2192 Privacy & "
                                       u"Security \u2192 Accessibility"_s,
                                       u"[input] refused: the desktop is not ours"_s}));
}

TEST_F(InputInjectorTest, hasNoEffectWithoutTheDesktop) {
  synthesis_.setUsable(false);
  injector_.click(0.5, 0.5, 0);
  injector_.wheel(1, 1);
  injector_.key(u"KeyA"_s, true, {});
  EXPECT_TRUE(posted().empty() && synthesis_.scrollEvents.empty() && synthesis_.keyEvents.empty());
}

TEST_F(InputInjectorTest, letsGoOfEverythingOnDemand) {
  injector_.mouseDown(0.5, 0.5, 2);
  injector_.key(u"KeyA"_s, true, {{u"shift"_s, true}});
  injector_.releaseAll();
  EXPECT_TRUE(synthesis_.heldButtons.empty() && synthesis_.heldKeys.empty());
  EXPECT_EQ(synthesis_.releases, 1);
  injector_.move(0.5, 0.5);
  EXPECT_EQ(posted().back(), event(PointerEventType::moved, PointerButton::left));
}

}  // namespace
}  // namespace vantora
