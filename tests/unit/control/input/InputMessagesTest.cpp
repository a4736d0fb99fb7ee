#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include "main/control/input/InputMessages.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeDesktopInput.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/RecordedLog.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Input = fakes::FakeDesktopInput;
using Sent = fakes::FakeControlSender::Sent;

// A scheduler whose clock advances with every reading.
class TickingScheduler final : public Scheduler {
 public:
  std::chrono::nanoseconds monotonicNow() const override { return unixNow(); }
  std::chrono::nanoseconds unixNow() const override { return 978'307'200s + (reads_++) * 250ms; }
  std::unique_ptr<Timer> after(std::chrono::milliseconds, Callback) override { return nullptr; }
  std::unique_ptr<Timer> every(std::chrono::milliseconds, std::chrono::milliseconds, Callback) override {
    return nullptr;
  }

 private:
  mutable int reads_ = 0;
};

class InputMessagesTest : public testing::Test {
 protected:
  InputMessagesTest() { bindInputMessages(dispatcher_, injector_, sender_, scheduler_); }
  void receive(const QByteArray& text) {
    dispatcher_.dataChannelDidReceiveMessage(ControlChannel::reliable, text, false);
  }
  bool nothingHappened() const {
    return input_.pointerActions.empty() && input_.keyActions.empty() && input_.scrollEvents.empty() &&
           input_.typed.empty() && sender_.sent.isEmpty();
  }

  fakes::RecordedLog log_;
  TickingScheduler scheduler_;
  fakes::FakeDisplays displays_{{{.id = 1, .bounds = {0, 0, 1000, 500}}}};
  fakes::FakeDesktopInput input_{&displays_};
  fakes::FakeControlSender sender_;
  fakes::FakeScheduler timers_;
  InputInjector injector_{displays_, input_, timers_};
  bool inputRight_ = true;
  ControlDispatcher dispatcher_{sender_, scheduler_, [this](Gate) { return inputRight_; }};
};

TEST_F(InputMessagesTest, refusesAllInputBeforeControlIsGranted) {
  inputRight_ = false;
  for (const char* type : {"mouseMove", "mouseClick", "mouseDown", "mouseUp", "doubleClick", "wheel", "keyDown",
                           "keyUp", "key_press", "type_text"}) {
    receive(QByteArray(R"({"x":0.5,"y":0.5,"dx":3,"dy":3,"code":"KeyA","text":"a","timestamp":1,"req":1,"type":")") +
            type + "\"}");
    EXPECT_TRUE(nothingHappened()) << type;
  }
}

TEST_F(InputMessagesTest, movesThePointerAndEchoesThePosition) {
  receive(R"({"type":"mouseMove","x":0.25,"y":0.5,"req":1})");
  EXPECT_EQ(input_.pointerActions, std::vector{Input::moved(1, 0.25, 0.5)});
  EXPECT_EQ(sender_.sent,
            (QList<Sent>{{ControlChannel::control, {{u"type"_s, u"ptr"_s}, {u"x"_s, 0.25}, {u"y"_s, 0.5}}}}));
}

TEST_F(InputMessagesTest, echoesLatenciesForARequestWithATimestamp) {
  receive(R"({"type":"mouseMove","x":0,"y":1,"timestamp":100})");
  ASSERT_EQ(sender_.sent.size(), 1);
  // The clock showed 0 at entry, 250 ms before the move and 500 ms after it.
  EXPECT_EQ(sender_.sent[0].message, (JsonObject{{u"type"_s, u"ptr"_s},
                                                 {u"x"_s, 0.0},
                                                 {u"y"_s, 1.0},
                                                 {u"inputLatency"_s, -100.0},
                                                 {u"processLatency"_s, 250.0},
                                                 {u"hostTimestamp"_s, 0.0}}));
}

TEST_F(InputMessagesTest, leavesTheLatenciesOutForATimestampThatIsNoNumber) {
  receive(R"({"type":"mouseMove","x":0,"y":1,"timestamp":"100"})");
  ASSERT_EQ(sender_.sent.size(), 1);
  EXPECT_EQ(sender_.sent[0].message.size(), 3);
}

TEST_F(InputMessagesTest, sendsTheEchoOnTheFastChannelElseOnTheReliableOneElseNowhere) {
  sender_.control.open = false;
  receive(R"({"type":"mouseMove","x":0,"y":0})");
  ASSERT_EQ(sender_.sent.size(), 1);
  EXPECT_EQ(sender_.take()[0].channel, ControlChannel::reliable);
  sender_.reliable.open = false;
  receive(R"({"type":"mouseMove","x":0,"y":0})");
  EXPECT_TRUE(sender_.sent.isEmpty());
  EXPECT_EQ(input_.pointerActions.size(), 2U);
}

TEST_F(InputMessagesTest, ignoresPositionsThatAreNoNumbers) {
  for (const char* type : {"mouseMove", "mouseClick", "mouseDown", "mouseUp", "doubleClick"}) {
    for (const char* fields : {R"("x":1)", R"("y":1)", R"("x":"0","y":0)", R"("x":0,"y":null)", R"("x":[],"y":0)",
                               R"("x":true,"y":0)", R"("x":{},"y":{})"}) {
      receive(QByteArray(R"({"type":")") + type + "\"," + fields + "}");
      EXPECT_TRUE(nothingHappened()) << type << ' ' << fields;
    }
  }
}

TEST_F(InputMessagesTest, survivesAnyNumbers) {
  for (const char* number : {"1e308", "-1e308", "1e-308", "9223372036854775807", "-9223372036854775808", "-0",
                             "99999999999999999999", "0.5"}) {
    const QByteArray position = QByteArray(R"("x":)") + number + R"(,"y":)" + number;
    for (const char* type : {"mouseMove", "mouseClick", "mouseDown", "mouseUp", "doubleClick"}) {
      receive(QByteArray(R"({"type":")") + type + R"(","button":)" + number + "," + position + "}");
    }
    receive(QByteArray(R"({"type":"wheel","dx":)") + number + R"(,"dy":)" + number + "}");
  }
  EXPECT_FALSE(input_.pointerActions.empty());
  for (const Input::PointerAction& action : input_.pointerActions) {
    EXPECT_TRUE(QRectF(0, 0, 1, 1).contains(action.fx, action.fy)) << action.fx << ' ' << action.fy;
  }
}

TEST_F(InputMessagesTest, pressesAndReleasesTheButtonOfTheRequest) {
  receive(R"({"type":"mouseDown","x":0,"y":0,"button":2})");
  EXPECT_EQ(input_.pointerActions, (std::vector{Input::moved(1, 0, 0), Input::pressed(PointerButton::right)}));
  EXPECT_EQ(input_.heldButtons, std::set{PointerButton::right});
  receive(R"({"type":"mouseUp","x":0,"y":0,"button":2})");
  EXPECT_TRUE(input_.heldButtons.empty());
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(InputMessagesTest, takesTheLeftButtonWhenNoneOrAnUnknownOneIsNamed) {
  for (const char* button : {"", R"(,"button":0)", R"(,"button":7)", R"(,"button":-1)", R"(,"button":"2")",
                             R"(,"button":1.5)", R"(,"button":4294967298)", R"(,"button":-9223372036854775808)"}) {
    input_.pointerActions.clear();
    receive(QByteArray(R"({"type":"mouseDown","x":0,"y":0)") + button + "}");
    ASSERT_EQ(input_.pointerActions.size(), 2U) << button;
    EXPECT_EQ(input_.pointerActions[1], Input::pressed(PointerButton::left)) << button;
  }
}

TEST_F(InputMessagesTest, clicksOnceOrTwice) {
  receive(R"({"type":"mouseClick","x":0,"y":0})");
  EXPECT_EQ(input_.pointerActions.size(), 3U);
  receive(R"({"type":"doubleClick","x":0,"y":0})");
  EXPECT_EQ(input_.pointerActions.size(), 8U);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(InputMessagesTest, scrollsAndTakesMissingDistancesAsZero) {
  receive(R"({"type":"wheel","dx":10,"dy":20})");
  receive(R"({"type":"wheel","dy":20})");
  receive(R"({"type":"wheel","dx":"10"})");
  ASSERT_EQ(input_.scrollEvents.size(), 3U);
  EXPECT_NE(input_.scrollEvents[0].horizontal, 0);
  EXPECT_EQ(input_.scrollEvents[1].horizontal, 0);
  EXPECT_EQ(input_.scrollEvents[1].vertical, input_.scrollEvents[0].vertical);
  EXPECT_EQ(input_.scrollEvents[2], ScrollEvent{});
}

TEST_F(InputMessagesTest, pressesKeysWithTheModifiersThatAreTrue) {
  receive(R"({"type":"keyDown","code":"KeyA","mods":{"shift":true,"ctrl":true,"alt":false,"meta":1,"x":true}})");
  receive(R"({"type":"keyUp","code":"KeyA","mods":{"alt":true,"meta":true}})");
  receive(R"({"type":"keyDown","code":"KeyB","mods":[true]})");
  receive(R"({"type":"keyUp","code":"KeyB"})");
  ASSERT_EQ(input_.keyActions.size(), 4U);
  EXPECT_TRUE(input_.keyActions[0].down);
  EXPECT_EQ(input_.keyActions[0].code, KEY_A);
  EXPECT_EQ(input_.keyActions[0].modifiers, (KeyModifiers{.shift = true, .control = true}));
  EXPECT_FALSE(input_.keyActions[1].down);
  EXPECT_EQ(input_.keyActions[1].modifiers, (KeyModifiers{.alt = true, .meta = true}));
  EXPECT_EQ(input_.keyActions[2].modifiers, KeyModifiers{});
  EXPECT_EQ(input_.keyActions[3].modifiers, KeyModifiers{});
}

TEST_F(InputMessagesTest, ignoresKeysWithoutAName) {
  for (const char* text : {R"({"type":"keyDown"})", R"({"type":"keyDown","code":5})", R"({"type":"keyUp","code":null})",
                           R"({"type":"keyUp","code":""})", R"({"type":"keyDown","code":"no such key"})",
                           R"({"type":"keyDown","code":"F5"})", R"({"type":"key_press"})",
                           R"({"type":"key_press","code":5})", R"({"type":"key_press","code":"no such key"})"}) {
    receive(text);
    EXPECT_TRUE(nothingHappened()) << text;
  }
}

TEST_F(InputMessagesTest, pressesAKeyOnceWithItsModifiers) {
  receive(R"({"type":"key_press","code":"F5","mods":{"altgr":true,"ctrl":true}})");
  receive(R"({"type":"key_press","code":"KeyA"})");
  const KeyModifiers both{.control = true, .altgr = true};
  EXPECT_EQ(input_.keyActions,
            (std::vector<Input::KeyAction>{
                {KEY_F5, true, both}, {KEY_F5, false, both}, {KEY_A, true, {}}, {KEY_A, false, {}}}));
  EXPECT_TRUE(sender_.sent.isEmpty());
}

TEST_F(InputMessagesTest, typesATextAndSaysHowMuchOfIt) {
  receive(R"({"type":"type_text","id":"t1","text":"a\r\nb\tc\u0007\u4e2d","req":7})");
  EXPECT_EQ(input_.typed, U"a\nb\tc\u4e2d");
  EXPECT_EQ(sender_.sent,
            (QList<Sent>{{ControlChannel::reliable,
                          {{u"type"_s, u"text_typed"_s}, {u"id"_s, u"t1"_s}, {u"typed"_s, 6}, {u"length"_s, 7}}}}));
}

TEST_F(InputMessagesTest, answersATextWithoutAnIdentifier) {
  input_.missingCharacters = {U'b'};
  receive(R"({"type":"type_text","text":"abc"})");
  receive(R"({"type":"type_text","text":"","id":5})");
  ASSERT_EQ(sender_.sent.size(), 2);
  EXPECT_EQ(sender_.sent[0].message, (JsonObject{{u"type"_s, u"text_typed"_s}, {u"typed"_s, 2}, {u"length"_s, 3}}));
  EXPECT_EQ(sender_.sent[1].message, (JsonObject{{u"type"_s, u"text_typed"_s}, {u"typed"_s, 0}, {u"length"_s, 0}}));
}

TEST_F(InputMessagesTest, refusesATextThatIsTooLong) {
  // Two UTF-16 units each.
  const QByteArray longest = QByteArray("\xf0\x9f\x98\x80").repeated(4000);
  receive(R"({"type":"type_text","id":"x","text":")" + longest + "a\"}");
  EXPECT_TRUE(input_.typed.empty());
  ASSERT_EQ(sender_.sent.size(), 1);
  EXPECT_EQ(sender_.take()[0].message, (JsonObject{{u"type"_s, u"text_typed"_s},
                                                   {u"id"_s, u"x"_s},
                                                   {u"typed"_s, 0},
                                                   {u"length"_s, 4001},
                                                   {u"reason"_s, u"too long"_s}}));
  receive(R"({"type":"type_text","text":")" + longest + "\"}");
  timers_.advance(60s);
  EXPECT_EQ(input_.typed.size(), 4000U);
  EXPECT_EQ(sender_.take()[0].message.value(u"typed"), 4000);
}

TEST_F(InputMessagesTest, dropsTextsThatAreNone) {
  const QByteArray longId(65, 'i');
  for (const QByteArray& text :
       {QByteArray(R"({"type":"type_text"})"), QByteArray(R"({"type":"type_text","text":5,"id":"a"})"),
        QByteArray(R"({"type":"type_text","text":["a"]})"),
        R"({"type":"type_text","text":"a","id":")" + longId + "\"}"}) {
    receive(text);
    EXPECT_TRUE(nothingHappened()) << text.toStdString();
  }
}

TEST_F(InputMessagesTest, answersATextThatControlsEndCutsShort) {
  receive(R"({"type":"type_text","id":"a","text":"0123456789abcdef"})");
  receive(R"({"type":"type_text","id":"b","text":"x"})");
  EXPECT_TRUE(sender_.sent.isEmpty());
  injector_.releaseAll();
  ASSERT_EQ(sender_.sent.size(), 2);
  EXPECT_EQ(sender_.sent[0].message, (JsonObject{{u"type"_s, u"text_typed"_s},
                                                 {u"id"_s, u"a"_s},
                                                 {u"typed"_s, 10},
                                                 {u"length"_s, 16},
                                                 {u"reason"_s, u"control ended"_s}}));
  timers_.advance(60s);
  EXPECT_EQ(input_.typed, U"0123456789");
}

}  // namespace
}  // namespace vantora
