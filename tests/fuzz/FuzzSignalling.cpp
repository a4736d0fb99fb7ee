// Input: one text frame of the signalling server.
#include "main/base/Log.h"
#include "main/signalling/Signaler.h"
#include "main/video/sdp/SdpInspect.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/FakeWebSocketTask.h"
#include "tests/fuzz/Check.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Reads the fields of every message type that the server may send.
void readFields(const JsonObject& message) {
  const QString type = stringField(message, "type"_L1).value_or(QString());
  if (type == "answer"_L1) {
    const auto sdp = stringField(message, "sdp"_L1);
    if (sdp && looksLikeSdp(*sdp)) (void)dtlsFingerprint(*sdp);
  } else if (type == "ice"_L1) {
    const auto candidate = objectField(message, "candidate"_L1).value_or(JsonObject());
    (void)stringField(candidate, "candidate"_L1);
    (void)stringField(candidate, "sdpMid"_L1);
    (void)integerField(candidate, "sdpMLineIndex"_L1);
  } else if (type == "client_prefs"_L1) {
    const auto prefs = objectField(message, "prefs"_L1).value_or(JsonObject());
    (void)stringField(prefs, "quality"_L1);
    (void)integerField(prefs, "fps"_L1);
  } else if (type == "chat_broadcast"_L1 || type == "reaction_broadcast"_L1) {
    for (const auto key : {"from"_L1, "text"_L1, "reaction"_L1}) (void)stringField(message, key);
    (void)integerField(message, "ts"_L1);
  }
}

}  // namespace
}  // namespace vantora

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantora;
  const ScopedLogSink silent([](const QString&) {});
  fakes::FakeScheduler scheduler;
  fakes::FakeWebSockets sockets;
  const QString url = u"ws://h"_s;
  Signaler signaler({.url = {QUrl(url), url}, .room = u"r"_s, .tokenLookup = {}}, scheduler, sockets.factory());
  signaler.onMessage = [&](const JsonObject& message) {
    readFields(message);
    // What was understood can be said again, and is then the same.
    const auto again = parseJsonObject(toJson(message));
    fuzz::require(again.has_value() && *again == message);
  };
  sockets.last().deliverText(QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
  fuzz::require(sockets.connections.size() == 1 && scheduler.runningTimers() == 0);
  return 0;
}
