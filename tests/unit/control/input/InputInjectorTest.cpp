#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <optional>

#include "main/control/input/InputInjector.h"
#include "main/control/input/KeyCodes.h"
#include "tests/fakes/FakeDesktopInput.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/RecordedLog.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

using Input = fakes::FakeDesktopInput;

// One display of 1000 x 500 pixels.
class InputInjectorTest : public testing::Test {
 protected:
  const std::vector<Input::PointerAction>& done() const { return input_.pointerActions; }
  std::optional<bool> ensure() {
    std::optional<bool> permitted;
    injector_.ensureAccessibility([&](bool answer) { permitted = answer; });
    return permitted;
  }

  fakes::RecordedLog log_;
  fakes::FakeDisplays displays_{{Display{.id = 7, .name = u"one"_s, .bounds = QRect(0, 0, 1000, 500)}}};
  Input input_{&displays_};
  fakes::FakeScheduler scheduler_;
  InputInjector injector_{displays_, input_, scheduler_};
};

// A desktop may learn the scale of a display only with its first picture.
TEST_F(InputInjectorTest, aimsAtAllOfADisplayWhoseScaleIsKnownLater) {
  injector_.setMappingMode(false);
  injector_.setTargetScreen(0);
  displays_.set({Display{.id = 7,
                         .name = u"one"_s,
                         .bounds = QRect(0, 0, 2000, 1000),
                         .frameInPoints = QRectF(0, 0, 1000, 500),
                         .scale = 2}});
  injector_.displaysChanged();
  injector_.move(1, 1);
  EXPECT_EQ(input_.position, QPointF(1999, 999));
}

TEST_F(InputInjectorTest, choosesATargetOnceThereIsADisplay) {
  const auto displays = displays_.list();
  displays_.set({});
  injector_.setTargetScreen(0);
  displays_.set(displays);
  injector_.displaysChanged();
  EXPECT_FALSE(log_.lines().filter(u"[input] target display id=7"_s).isEmpty());
  injector_.move(0.5, 0.25);
  EXPECT_EQ(input_.position, QPointF(500, 125));
}

TEST_F(InputInjectorTest, movesToTheFractionOfTheDisplay) {
  injector_.move(0.5, 0.25);
  EXPECT_EQ(done(), std::vector{Input::moved(7, 0.5, 0.25)});
  EXPECT_EQ(input_.position, QPointF(500, 125));
}

TEST_F(InputInjectorTest, dragsWithEveryButtonByMovingWhileItIsHeld) {
  const std::pair<int, PointerButton> buttons[] = {
      {0, PointerButton::left}, {1, PointerButton::centre}, {2, PointerButton::right}};
  for (const auto& [number, button] : buttons) {
    input_.pointerActions.clear();
    injector_.mouseDown(0.5, 0.5, number);
    EXPECT_EQ(input_.heldButtons, std::set{button});
    injector_.move(0.25, 0.5);
    EXPECT_EQ(input_.heldButtons, std::set{button});
    injector_.mouseUp(0.75, 0.5, number);
    EXPECT_TRUE(input_.heldButtons.empty());
    EXPECT_EQ(done(), (std::vector{Input::moved(7, 0.5, 0.5), Input::pressed(button), Input::moved(7, 0.25, 0.5),
                                   Input::moved(7, 0.75, 0.5), Input::released(button)}));
  }
}

TEST_F(InputInjectorTest, takesUnknownButtonsForTheLeftOne) {
  injector_.mouseDown(0.5, 0.5, 9);
  injector_.mouseUp(0.5, 0.5, -4);
  EXPECT_EQ(done(), (std::vector{Input::moved(7, 0.5, 0.5), Input::pressed(PointerButton::left),
                                 Input::moved(7, 0.5, 0.5), Input::released(PointerButton::left)}));
}

TEST_F(InputInjectorTest, clicksDownAndUpAtOnePoint) {
  injector_.click(0.5, 0.5, 2);
  EXPECT_EQ(done(), (std::vector{Input::moved(7, 0.5, 0.5), Input::pressed(PointerButton::right),
                                 Input::released(PointerButton::right)}));
}

TEST_F(InputInjectorTest, holdsTheOtherButtonThroughAClick) {
  injector_.mouseDown(0.5, 0.5, 0);
  injector_.click(0.5, 0.5, 2);
  EXPECT_EQ(input_.heldButtons, std::set{PointerButton::left});
}

TEST_F(InputInjectorTest, doubleClicksTwiceAtOnePoint) {
  injector_.doubleClick(0.5, 0.5, 2);
  EXPECT_EQ(done(), (std::vector{Input::moved(7, 0.5, 0.5), Input::pressed(PointerButton::right),
                                 Input::released(PointerButton::right), Input::pressed(PointerButton::right),
                                 Input::released(PointerButton::right)}));
}

TEST_F(InputInjectorTest, scrollsAgainstTheViewersVerticalAndAlongItsHorizontal) {
  injector_.wheel(3, 10);
  EXPECT_EQ(input_.scrollEvents, std::vector{(ScrollEvent{-10, 3})});
}

TEST_F(InputInjectorTest, postsExactlyTheModifiersThatAreTrue) {
  injector_.key(u"KeyA"_s, true, {{u"meta"_s, true}, {u"shift"_s, false}});
  EXPECT_EQ(input_.keyActions, std::vector{(Input::KeyAction{KEY_A, true, {.meta = true}})});
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
    EXPECT_EQ(input_.keyActions.back(), (Input::KeyAction{KEY_B, false, expected})) << name.toStdString();
  }
}

TEST_F(InputInjectorTest, postsNothingForAnUnknownKey) {
  injector_.key(u"F5"_s, true, {{u"shift"_s, true}});
  injector_.key(QString(100000, u'x'), true, {});
  EXPECT_TRUE(input_.keyActions.empty());
}

TEST_F(InputInjectorTest, postsEveryKnownKeyWithItsCode) {
  for (const KeyCode& key : keyCodes()) {
    const QString name = QString::fromLatin1(key.name);
    EXPECT_EQ(InputInjector::keyCode(name), key.code);
    injector_.key(name, true, {});
    EXPECT_EQ(input_.keyActions.back(), (Input::KeyAction{key.evdev, true, {}}));
  }
}

TEST_F(InputInjectorTest, skipsAKeyThatTheDesktopDoesNotHave) {
  input_.missingKeys.insert(KEY_A);
  injector_.key(u"KeyA"_s, true, {});
  injector_.key(u"KeyB"_s, true, {});
  ASSERT_EQ(input_.keyActions.size(), 1U);
  EXPECT_EQ(input_.keyActions.front().code, KEY_B);
}

TEST_F(InputInjectorTest, mayPostSilentlyWhenTheDesktopAcceptsInput) {
  EXPECT_EQ(ensure(), true);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(InputInjectorTest, saysWhichPermissionIsMissing) {
  input_.setUsable(false);
  EXPECT_EQ(ensure(), false);
  EXPECT_EQ(log_.lines(), QStringList{u"[control] Accessibility permission required: System Settings \u2192 Privacy & "
                                      u"Security \u2192 Accessibility"_s});
}

TEST_F(InputInjectorTest, saysWhyTheDesktopRefusesIfItKnows) {
  input_.setRefusal(u"the desktop is not ours"_s);
  EXPECT_EQ(ensure(), true);
  input_.setUsable(false);
  EXPECT_EQ(ensure(), false);
  EXPECT_EQ(log_.lines(), (QStringList{u"[control] Accessibility permission required: System Settings \u2192 Privacy & "
                                       u"Security \u2192 Accessibility"_s,
                                       u"[input] refused: the desktop is not ours"_s}));
}

TEST_F(InputInjectorTest, hasNoEffectWithoutTheDesktop) {
  input_.setUsable(false);
  injector_.click(0.5, 0.5, 0);
  injector_.wheel(1, 1);
  injector_.key(u"KeyA"_s, true, {});
  EXPECT_TRUE(done().empty() && input_.scrollEvents.empty() && input_.keyActions.empty());
}

TEST_F(InputInjectorTest, releasesEverythingOnDemand) {
  injector_.mouseDown(0.5, 0.5, 2);
  injector_.key(u"KeyA"_s, true, {{u"shift"_s, true}});
  injector_.releaseAll();
  EXPECT_TRUE(input_.heldButtons.empty() && input_.heldKeys.empty());
  EXPECT_EQ(input_.releases, 1);
}

TEST_F(InputInjectorTest, waitsForAPersonWhoIsAsked) {
  input_.promptsUser = true;
  std::vector<bool> answers;
  injector_.ensureAccessibility([&](bool answer) { answers.push_back(answer); });
  injector_.ensureAccessibility([&](bool answer) { answers.push_back(answer); });
  EXPECT_TRUE(answers.empty());
  EXPECT_TRUE(input_.answer());
  EXPECT_EQ(answers, std::vector{true});
  input_.setUsable(false);
  EXPECT_TRUE(input_.answer());
  EXPECT_EQ(answers, (std::vector{true, false}));
  EXPECT_EQ(log_.lines().size(), 1);
}

}  // namespace
}  // namespace vantora
