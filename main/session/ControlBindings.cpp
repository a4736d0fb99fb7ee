// Which area carries out which control message.
#include <algorithm>
#include <limits>

#include "main/control/input/InputMessages.h"
#include "main/session/Host.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

}  // namespace

void Host::bindControlMessages() {
  dispatcher_->on("ping"_L1, [this](const ControlRequest& request) {
    const qint64 now = platform_.scheduler.unixMilliseconds();
    sender_.reply(
        request.origin,
        {{u"type"_s, u"pong"_s}, {u"t0"_s, integerField(request.body, "t0"_L1).value_or(now)}, {u"hostNow"_s, now}});
    return Handled::yes;
  });
  dispatcher_->on("auth"_L1, [this](const ControlRequest& request) {
    authorisation_->handleAuth(request.origin, request.body);
    return Handled::yes;
  });
  dispatcher_->on("control"_L1, [this](const ControlRequest& request) {
    authorisation_->handleControl(request.origin, request.body,
                                  [this, origin = request.origin, body = request.body](bool permitted) {
                                    dispatcher_->sendAck(origin, body);
                                    if (!permitted) authorisation_->sendPermissionRequired(origin);
                                  });
    return Handled::later;
  });
  dispatcher_->on("display_index"_L1, [this](const ControlRequest& request) { return selectDisplay(request); });

  dispatcher_->on("quality"_L1, [this](const ControlRequest& request) {
    quality_->applyQualityPreset(stringField(request.body, "preset"_L1).value_or(u"auto"_s));
    return Handled::yes;
  });
  dispatcher_->on("video_params"_L1, [this](const ControlRequest& request) {
    quality_->applyVideoParams(integerField(request.body, "maxBitrateKbps"_L1), integerField(request.body, "fps"_L1),
                               integerField(request.body, "width"_L1), integerField(request.body, "height"_L1));
    return Handled::yes;
  });
  dispatcher_->on("codec"_L1, [this](const ControlRequest& request) {
    quality_->handleCodec(request.body);
    return Handled::yes;
  });

  dispatcher_->on("diagnostics_run"_L1, [this](const ControlRequest& request) {
    diagnostics_.handleRun(request.origin);
    return Handled::yes;
  });
  dispatcher_->on("test_cursor"_L1, [this](const ControlRequest& request) {
    return cursor_->handleTestCursor(request.body) ? Handled::yes : Handled::ignored;
  });
  dispatcher_->on("cursor_query"_L1, [this](const ControlRequest& request) {
    // Acknowledged after the shape, which may take a moment to find; and without the request's "req".
    cursor_->handleCursorQuery([this, origin = request.origin] { dispatcher_->sendAck(origin, {}); });
    return Handled::yes;
  });

  bindInputMessages(*dispatcher_, injector_, sender_, platform_.scheduler);
  bindClipboardMessages(*dispatcher_, clipboard_, sender_);
  bindFileMessages(*dispatcher_, files_);

  dispatcher_->on("exec_command"_L1, [this](const ControlRequest& request) {
    commands_.handleExecCommand(request.origin, request.body);
    return Handled::yes;
  });
  dispatcher_->on("open_activity_monitor"_L1, [this](const ControlRequest& request) {
    commands_.handleOpenActivityMonitor(request.body);
    return Handled::yes;
  });
  dispatcher_->onRefused("exec_command"_L1, [this](const ControlRequest& request) {
    const QString id = stringField(request.body, "id"_L1).value_or(QString());
    sender_.reply(request.origin, {{u"type"_s, u"command_result"_s},
                                   {u"id"_s, id},
                                   {u"title"_s, id},
                                   {u"ok"_s, false},
                                   {u"code"_s, -1},
                                   {u"stderr"_s, u"Unauthorized (control not granted)"_s}});
  });
}

Handled Host::selectDisplay(const ControlRequest& request) {
  const qint64 wanted = integerField(request.body, "index"_L1).value_or(0);
  const int index = static_cast<int>(std::clamp<qint64>(wanted, 0, std::numeric_limits<int>::max()));
  if (!sharing_.selectDisplay(index)) stats_.sendDisplayInfo(ControlChannel::control);
  return Handled::yes;
}

}  // namespace vantora
