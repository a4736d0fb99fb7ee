#include <gtest/gtest.h>

#include <QJsonArray>

#include "main/control/commands/SupportCommands.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeSupportTools.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class SupportCommandsTest : public testing::Test {
 protected:
  void exec(const JsonObject& body, ControlChannel origin = ControlChannel::reliable) {
    commands_.handleExecCommand(origin, body);
  }
  QList<JsonObject> replies(ControlChannel channel = ControlChannel::reliable) {
    QList<JsonObject> messages;
    for (const auto& sent : sender_.take()) {
      EXPECT_EQ(sent.channel, channel);
      messages.append(sent.message);
    }
    return messages;
  }
  static JsonObject notAllowed(const QString& id) {
    return {{u"type"_s, u"command_result"_s},       {u"id"_s, id}, {u"title"_s, id}, {u"ok"_s, false}, {u"code"_s, -1},
            {u"stderr"_s, u"Command not allowed"_s}};
  }
  static JsonObject result(const QString& id, bool ok, int code, const QString& out, const QString& err) {
    return {{u"type"_s, u"command_result"_s},
            {u"id"_s, id},
            {u"title"_s, id},
            {u"ok"_s, ok},
            {u"code"_s, code},
            {u"stdout"_s, out},
            {u"stderr"_s, err}};
  }

  fakes::FakeControlSender sender_;
  fakes::FakeSupportTools tools_;
  SupportCommands commands_{sender_, tools_};
};

TEST_F(SupportCommandsTest, runsTheEntryAndAnswersWhenItHasEnded) {
  exec({{u"id"_s, u"open-terminal"_s}});
  EXPECT_EQ(tools_.started, QStringList{u"open-terminal"_s});
  EXPECT_TRUE(replies().isEmpty());
  tools_.finish({.ok = true, .code = 0, .standardOutput = u"out"_s, .standardError = u"err"_s});
  EXPECT_EQ(replies(), QList<JsonObject>{result(u"open-terminal"_s, true, 0, u"out"_s, u"err"_s)});
}

TEST_F(SupportCommandsTest, takesTheFullTextOfAnEntryAndAnswersUnderTheIdThatWasSent) {
  exec({{u"id"_s, u"x"_s}, {u"text"_s, u"open -a Terminal"_s}});
  exec({{u"text"_s, u"open ~/Downloads"_s}});
  EXPECT_EQ(tools_.started, (QStringList{u"open-terminal"_s, u"reveal-downloads"_s}));
  tools_.finish({.ok = false, .code = 3, .standardOutput = QString(), .standardError = u"no"_s});
  tools_.finish({.ok = true, .code = 0, .standardOutput = QString(), .standardError = QString()});
  EXPECT_EQ(replies(), (QList<JsonObject>{result(u"x"_s, false, 3, QString(), u"no"_s),
                                          result(QString(), true, 0, QString(), QString())}));
}

TEST_F(SupportCommandsTest, refusesEverythingThatIsNotInTheTable) {
  exec({{u"id"_s, u"x"_s}, {u"text"_s, u"ls"_s}});
  exec({});
  exec({{u"id"_s, 5}, {u"text"_s, QJsonArray()}});
  exec({{u"id"_s, u"open -a Terminal"_s}});
  EXPECT_EQ(replies(), (QList<JsonObject>{notAllowed(u"x"_s), notAllowed(QString()), notAllowed(QString()),
                                          notAllowed(u"open -a Terminal"_s)}));
  EXPECT_TRUE(tools_.started.isEmpty());
}

TEST_F(SupportCommandsTest, answersOnTheRequestsChannelOnlyWhereThereIsNoReliableOne) {
  exec({{u"id"_s, u"x"_s}}, ControlChannel::control);
  EXPECT_EQ(replies(ControlChannel::reliable).size(), 1);
  exec({{u"id"_s, u"open-terminal"_s}}, ControlChannel::control);
  sender_.reliable.exists = false;  // It closed while the command ran.
  tools_.finish({});
  EXPECT_EQ(replies(ControlChannel::control).size(), 1);
  exec({{u"id"_s, u"x"_s}}, ControlChannel::control);
  EXPECT_EQ(replies(ControlChannel::control).size(), 1);
}

TEST_F(SupportCommandsTest, letsSeveralCommandsRunAtOnce) {
  for (const QString& id : {u"open-terminal"_s, u"dns-flush"_s, u"open-terminal"_s}) exec({{u"id"_s, id}});
  EXPECT_EQ(tools_.running(), 3);
  tools_.finish({.ok = true, .code = 0, .standardOutput = u"2"_s, .standardError = QString()}, 1);
  EXPECT_EQ(replies(), QList<JsonObject>{result(u"dns-flush"_s, true, 0, u"2"_s, QString())});
  tools_.finish({});
  tools_.finish({});
  EXPECT_EQ(replies().size(), 2);
}

TEST_F(SupportCommandsTest, opensTheSystemMonitorWithTheProcessThatWasNamed) {
  commands_.handleOpenActivityMonitor({{u"pid"_s, 1234}});
  commands_.handleOpenActivityMonitor({});
  commands_.handleOpenActivityMonitor({{u"pid"_s, u"1234"_s}});
  commands_.handleOpenActivityMonitor({{u"pid"_s, 1.5}});
  EXPECT_EQ(tools_.monitors, (QList<std::optional<std::int64_t>>{1234, std::nullopt, std::nullopt, std::nullopt}));
  EXPECT_TRUE(replies().isEmpty());
}

TEST_F(SupportCommandsTest, endsWhatRunsWithTheSession) {
  {
    SupportCommands commands(sender_, tools_);
    commands.handleExecCommand(ControlChannel::reliable, {{u"id"_s, u"dns-flush"_s}});
    EXPECT_FALSE(tools_.ended);
  }
  EXPECT_TRUE(tools_.ended);
  EXPECT_EQ(tools_.running(), 0);
  EXPECT_TRUE(replies().isEmpty());
}

}  // namespace
}  // namespace vantora
