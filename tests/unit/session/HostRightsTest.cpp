// The rights of a viewer in a whole session, in every state that the viewer and the local user can cause.
#include "main/control/dispatch/ControlMessageTable.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/session/HostFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostRightsTest : public HostFixture {
 protected:
  HostRightsTest() { testloop::ensureApplication(); }

  struct State {
    bool demo;
    bool pin;
    bool control;
    bool allowControl;
    bool allowFiles;
  };
  // Reaches the state through every step that a user could take.
  void enterState(const State& state) {
    connectViewer(state.demo ? u"demo"_s : u"r"_s);
    if (state.control) {
      say({{u"type"_s, u"auth"_s}, {u"token"_s, host_->authorisation().getPIN()}});
      say({{u"type"_s, u"control"_s}, {u"enable"_s, true}});
    }
    say({{u"type"_s, u"auth"_s}, {u"token"_s, state.pin ? host_->authorisation().getPIN() : u"wrong"_s}});
    host_->authorisation().setAllowRemoteControl(state.allowControl);
    host_->setFileReceiveAllowed(state.allowFiles);
    forget();
  }
  // Whether a message had the effect that only its handler has.
  bool takesInput(const JsonObject& message) {
    const auto events = [this] {
      return input_.pointerActions.size() + input_.scrollEvents.size() + input_.keyActions.size() + input_.typed.size();
    };
    const auto before = events();
    say(message);
    return events() > before;
  }
  bool takesCommand(const JsonObject& message) {
    const auto started = supportTools_.started.size() + supportTools_.monitors.size();
    say(message);
    return supportTools_.started.size() + supportTools_.monitors.size() > started;
  }
  bool answersWith(const JsonObject& message, const QString& type) {
    received();
    say(message);
    for (const JsonObject& answer : received()) {
      if (answer.value(u"type").toString() == type) return true;
    }
    return false;
  }
};

TEST_F(HostRightsTest, openExactlyTheirMessages) {
  for (int bits = 0; bits < 32; ++bits) {
    const auto bit = [bits](int number) { return (bits >> number & 1) != 0; };
    const State state{.demo = bit(0), .pin = bit(1), .control = bit(2), .allowControl = bit(3), .allowFiles = bit(4)};
    SCOPED_TRACE(QStringLiteral("demo %1 pin %2 control %3 allowControl %4 allowFiles %5")
                     .arg(state.demo)
                     .arg(state.pin)
                     .arg(state.control)
                     .arg(state.allowControl)
                     .arg(state.allowFiles)
                     .toStdString());
    enterState(state);
    const ControlAuthorisation& authorisation = host_->authorisation();
    ASSERT_EQ(authorisation.controlAuthed(), state.pin || state.demo);
    // Withdrawing consent ends control permanently; a later wrong PIN does not.
    ASSERT_EQ(authorisation.controlEnabled(), state.control && state.allowControl);

    const bool input = state.control && state.allowControl;
    for (const QString& type : {u"mouseMove"_s, u"mouseClick"_s, u"mouseDown"_s, u"mouseUp"_s, u"doubleClick"_s}) {
      EXPECT_EQ(takesInput({{u"type"_s, type}, {u"x"_s, 0.5}, {u"y"_s, 0.5}}), input) << type.toStdString();
    }
    EXPECT_EQ(takesInput({{u"type"_s, u"wheel"_s}, {u"dy"_s, 300}}), input);
    EXPECT_EQ(takesInput({{u"type"_s, u"keyDown"_s}, {u"code"_s, u"KeyA"_s}}), input);
    EXPECT_EQ(takesInput({{u"type"_s, u"keyUp"_s}, {u"code"_s, u"KeyA"_s}}), input);
    EXPECT_EQ(takesInput({{u"type"_s, u"key_press"_s}, {u"code"_s, u"F5"_s}}), input);
    EXPECT_EQ(takesInput({{u"type"_s, u"type_text"_s}, {u"text"_s, u"a"_s}}), input);

    const bool commands = state.allowControl && (state.pin || state.demo);
    EXPECT_EQ(takesCommand({{u"type"_s, u"exec_command"_s}, {u"id"_s, u"open-terminal"_s}}), commands);
    EXPECT_EQ(takesCommand({{u"type"_s, u"open_activity_monitor"_s}}), commands);

    EXPECT_EQ(answersWith({{u"type"_s, u"file_start"_s}, {u"id"_s, u"1"_s}, {u"name"_s, u"a"_s}, {u"size"_s, 1}},
                          u"file_rejected"_s),
              !state.allowFiles);

    EXPECT_TRUE(answersWith({{u"type"_s, u"ping"_s}}, u"pong"_s));
    EXPECT_TRUE(answersWith({{u"type"_s, u"codec"_s}, {u"codec"_s, u"auto"_s}}, u"ack"_s));
    EXPECT_TRUE(answersWith({{u"type"_s, u"display_index"_s}, {u"index"_s, 0}}, u"ack"_s));
    EXPECT_TRUE(answersWith({{u"type"_s, u"clipboard_set"_s}, {u"text"_s, u"t"_s}}, u"ack"_s));
    EXPECT_TRUE(answersWith({{u"type"_s, u"clipboard_sync_enabled"_s}, {u"enabled"_s, true}}, u"ack"_s));
    EXPECT_TRUE(answersWith({{u"type"_s, u"clipboard_request"_s}}, u"clipboard_sync"_s));
    EXPECT_TRUE(answersWith({{u"type"_s, u"cursor_query"_s}}, u"ack"_s));
    EXPECT_TRUE(answersWith({{u"type"_s, u"test_cursor"_s}, {u"shape"_s, u"text"_s}}, u"ack"_s));
    EXPECT_TRUE(answersWith({{u"type"_s, u"control"_s}, {u"enable"_s, false}}, u"control_state"_s));
    EXPECT_TRUE(answersWith({{u"type"_s, u"auth"_s}}, u"auth"_s));
  }
}

}  // namespace
}  // namespace vantora
