#include "main/control/commands/SupportCommands.h"

#include <utility>

#include "main/control/commands/AllowedCommands.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

JsonObject commandResult(const QString& id, bool ok, qint32 code) {
  return {{u"type"_s, u"command_result"_s}, {u"id"_s, id}, {u"title"_s, id}, {u"ok"_s, ok}, {u"code"_s, code}};
}

JsonObject refusal(const QString& id, const QString& why) {
  JsonObject result = commandResult(id, false, -1);
  result.insert(u"stderr"_s, why);
  return result;
}

}  // namespace

void SupportCommands::handleExecCommand(ControlChannel origin, const JsonObject& message) {
  const QString id = stringField(message, "id"_L1).value_or(QString());
  const QString fallback = stringField(message, "text"_L1).value_or(QString());
  const ResolvedCommand command = resolveAllowedCommand(id, fallback);
  if (!command.allowed()) return sender_.reply(origin, refusal(id, u"Command not allowed"_s));
  // Another viewer may be connected by then: it must not receive the output.
  const ReplyAddress asker{.origin = origin, .connection = sender_.connection()};
  runCommandAsync(command.id, [this, asker, id](bool ok, qint32 code, const QString& out, const QString& err) {
    JsonObject result = commandResult(id, ok, code);
    result.insert(u"stdout"_s, out);
    result.insert(u"stderr"_s, err);
    sender_.reply(asker, result);
  });
}

void SupportCommands::refuseExecCommand(ControlChannel origin, const JsonObject& message) {
  const QString id = stringField(message, "id"_L1).value_or(QString());
  sender_.reply(origin, refusal(id, u"Unauthorized (control not granted)"_s));
}

void SupportCommands::handleOpenActivityMonitor(const JsonObject& message) {
  openActivityMonitor(integerField(message, "pid"_L1));
}

void SupportCommands::runCommandAsync(const QString& id, Done done) {
  tools_.run(id, [done = std::move(done)](const CommandOutcome& outcome) {
    done(outcome.ok, outcome.code, outcome.standardOutput, outcome.standardError);
  });
}

void SupportCommands::openActivityMonitor(std::optional<qint64> focusPID) { tools_.openSystemMonitor(focusPID); }

void bindCommandMessages(ControlDispatcher& dispatcher, SupportCommands& commands) {
  dispatcher.on("exec_command"_L1, [&commands](const ControlRequest& request) {
    commands.handleExecCommand(request.origin, request.body);
    return Handled::yes;
  });
  dispatcher.onRefused("exec_command"_L1, [&commands](const ControlRequest& request) {
    commands.refuseExecCommand(request.origin, request.body);
  });
  dispatcher.on("open_activity_monitor"_L1, [&commands](const ControlRequest& request) {
    commands.handleOpenActivityMonitor(request.body);
    return Handled::yes;
  });
}

}  // namespace vantora
