// Input: text frames of the signalling server, one per line. They run through the real signaller into
// the real negotiation, quality and chat.
#include "base/Log.h"
#include "main/session/ChatInbox.h"
#include "main/session/peer/Negotiation.h"
#include "main/signalling/Signaler.h"
#include "main/video/quality/VideoQuality.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakePeerConnection.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/FakeVideoSources.h"
#include "tests/fakes/FakeWebSocketTask.h"
#include "tests/fuzz/Check.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

constexpr qsizetype kMaxWaitingCandidates = 256;
constexpr qsizetype kLongestPreset = 64;

struct Session {
  fakes::FakeScheduler scheduler;
  fakes::FakeWebSockets sockets;
  fakes::FakePeerConnectionFactory factory;
  std::unique_ptr<PeerConnection> peer = factory.createPeerConnection({}, {});
  Signaler signaler{
      {.url = {QUrl(u"ws://h"_s), u"ws://h"_s}, .room = u"r"_s, .tokenLookup = {}}, scheduler, sockets.factory()};
  Negotiation negotiation{{.send = [this](const JsonObject& message) { signaler.send(message); },
                           .offerShape =
                               [this] {
                                 return OfferShape{.preferredCodecName = quality.preferredCodecName(),
                                                   .h264Profile = quality.h264Profile(),
                                                   .lastMaxBitrateKbps = quality.lastTarget().kbps};
                               },
                           .viewerReplaced = [] {}}};
  ChatInbox chat{scheduler};
  fakes::Journal journal;
  fakes::FakeDisplays displays{{{.bounds = {0, 0, 1920, 1080}}}};
  fakes::FakeControlSender sender;
  fakes::FakeVideoSources sources{journal};
  std::unique_ptr<VideoSender> videoSender;
  SharingControl sharing{Environment::of({}), displays, sender, sources.factory(),
                         SharingControl::Callbacks{.makeOffer = [this] { negotiation.makeOffer(); },
                                                   .changed = [] {},
                                                   .displayResized = [this] { quality.displayResized(); },
                                                   .input = {[](bool) {}, [](bool) {}, [](int) {}}}};
  VideoQuality quality{Environment::of({}), displays, sharing, VideoQuality::Settings{},
                       VideoQuality::Callbacks{.makeOffer = [this] { negotiation.makeOffer(); }, .changed = [] {}}};

  Session() {
    negotiation.attach(peer.get());
    sharing.startVideoSource(*peer, videoSender);
    negotiation.makeOffer();
    factory.last().settle();
    signaler.onMessage = [this](const JsonObject& message) { handle(message); };
  }

  void handle(const JsonObject& message) {
    // A parsed message can be serialised and parsed again, with the same result.
    const auto again = parseJsonObject(toJson(message));
    fuzz::require(again.has_value() && *again == message);
    const QString type = stringField(message, "type"_L1).value_or(QString());
    if (type == "renegotiate"_L1) {
      negotiation.clearPendingCandidates();
      negotiation.makeOffer();
    }
    if (type == "client_prefs"_L1) quality.handleClientPrefs(message);
    if (type == "answer"_L1) negotiation.handleAnswer(message);
    if (type == "ice"_L1) negotiation.handleIce(message);
    if (type == "chat_broadcast"_L1) chat.handleChatBroadcast(message);
    if (type == "reaction_broadcast"_L1) chat.handleReactionBroadcast(message);
    fuzz::require(negotiation.pendingCandidates() <= kMaxWaitingCandidates);
    checkTarget();
    factory.last().settle();
  }

  // What is requested of the encoder and the source stays within what they accept.
  void checkTarget() {
    const VideoTarget& target = quality.lastTarget();
    const auto within = [](int value, int low, int high) { return low <= value && value <= high; };
    fuzz::require(within(target.width, kMinSide, kMaxWidth) && within(target.height, kMinSide, kMaxHeight));
    fuzz::require(within(target.fps, 1, kMaxFps) && within(target.kbps, kMinKbps, kMaxKbps));
    fuzz::require(quality.currentQualityPreset().size() <= kLongestPreset);
  }
};

}  // namespace
}  // namespace vantora

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantora;
  const ScopedLogSink silent([](const QString& line) { fuzz::require(!line.contains(u'\n')); });
  Session session;
  const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  for (const QByteArray& text : input.split('\n')) session.sockets.last().deliverText(QString::fromUtf8(text));
  fuzz::require(session.sockets.connections.size() == 1 && session.scheduler.runningTimers() == 0);
  return 0;
}
