#include "main/rtc/LibPeerConnection.h"

#include <api/jsep.h>
#include <pc/ice_server_parsing.h>
#include <pc/session_description.h>

#include "base/Log.h"
#include "main/rtc/AnswerCheck.h"
#include "main/rtc/BoundedCandidateResolver.h"
#include "main/rtc/LibDataChannel.h"
#include "main/rtc/LibVideoSender.h"
#include "main/rtc/LinkSampleObserver.h"
#include "main/rtc/NativeH264Profiles.h"
#include "main/rtc/VideoTrackSource.h"

namespace vantora {
namespace {

// Session descriptions and candidates of any honest peer are far below these.
constexpr qsizetype kMaxSdpLength = 1 << 20;
constexpr qsizetype kMaxCandidateLength = 4096;

QString errorText(const webrtc::RTCError& error) {
  QString message = QString::fromUtf8(error.message());
  if (!message.isEmpty()) return message;
  return QString::fromUtf8(webrtc::ToString(error.type()));
}

webrtc::RTCError checkIceServer(const webrtc::PeerConnectionInterface::IceServer& server) {
  cricket::ServerAddresses stunServers;
  std::vector<cricket::RelayServerConfig> turnServers;
  return webrtc::ParseIceServersOrError({server}, &stunServers, &turnServers);
}

// With the library's default settings it takes 7.5 s until a dead link is reported as disconnected. A supporter who
// sees nothing for so long hangs up. With these a check is sent every 900 ms, and two checks without a response count
// as disconnected: this takes one to two seconds, so that a recovery (2 s later) begins well within five, at the cost
// of one small packet per second.
void detectLostLinksSoon(webrtc::PeerConnectionInterface::RTCConfiguration& configuration) {
  configuration.ice_check_interval_strong_connectivity = 350;
  configuration.stable_writable_connection_ping_interval_ms = 900;
  configuration.ice_connection_receiving_timeout = 500;
  configuration.ice_unwritable_timeout = 1000;
  configuration.ice_unwritable_min_checks = 2;
  // A network that appears during the session (another cable, another Wi-Fi) is used automatically.
  configuration.continual_gathering_policy = webrtc::PeerConnectionInterface::GATHER_CONTINUALLY;
}

std::optional<QString> errorOf(const webrtc::RTCError& error) {
  if (error.ok()) return std::nullopt;
  return errorText(error);
}

class OfferObserver : public webrtc::CreateSessionDescriptionObserver {
 public:
  explicit OfferObserver(std::function<void(QString, std::optional<QString>)> done) : done_(std::move(done)) {}
  void OnSuccess(webrtc::SessionDescriptionInterface* description) override {
    const std::unique_ptr<webrtc::SessionDescriptionInterface> owned(description);
    std::string sdp;
    owned->ToString(&sdp);
    done_(QString::fromStdString(sdp), std::nullopt);
  }
  void OnFailure(webrtc::RTCError error) override { done_({}, errorText(error)); }

 private:
  std::function<void(QString, std::optional<QString>)> done_;
};

class LocalObserver : public webrtc::SetLocalDescriptionObserverInterface {
 public:
  explicit LocalObserver(std::function<void(webrtc::RTCError)> done) : done_(std::move(done)) {}
  void OnSetLocalDescriptionComplete(webrtc::RTCError error) override { done_(std::move(error)); }

 private:
  std::function<void(webrtc::RTCError)> done_;
};

class RemoteObserver : public webrtc::SetRemoteDescriptionObserverInterface {
 public:
  explicit RemoteObserver(std::function<void(webrtc::RTCError)> done) : done_(std::move(done)) {}
  void OnSetRemoteDescriptionComplete(webrtc::RTCError error) override { done_(std::move(error)); }

 private:
  std::function<void(webrtc::RTCError)> done_;
};

IceState iceStateOf(webrtc::PeerConnectionInterface::IceConnectionState state) {
  using Lib = webrtc::PeerConnectionInterface;
  switch (state) {
    case Lib::kIceConnectionNew:
      return IceState::initial;
    case Lib::kIceConnectionChecking:
      return IceState::checking;
    case Lib::kIceConnectionConnected:
      return IceState::connected;
    case Lib::kIceConnectionCompleted:
      return IceState::completed;
    case Lib::kIceConnectionFailed:
      return IceState::failed;
    case Lib::kIceConnectionDisconnected:
      return IceState::disconnected;
    case Lib::kIceConnectionClosed:
      return IceState::closed;
    case Lib::kIceConnectionMax:
      break;
  }
  return IceState::count;
}

// Discards what arrives on channels that the viewer opened: without an observer the library would queue it, up to 16
// MiB for each of a thousand channels.
class DiscardingObserver final : public webrtc::DataChannelObserver {
 public:
  void OnStateChange() override {}
  void OnMessage(const webrtc::DataBuffer&) override {}
};

DiscardingObserver& discardingObserver() {
  static DiscardingObserver observer;
  return observer;
}

// The ICE user name of a description; empty without one.
std::string iceUserName(const webrtc::SessionDescriptionInterface& description) {
  const auto& transports = description.description()->transport_infos();
  return transports.empty() ? std::string() : transports.front().description.ice_ufrag;
}

// A completion for the library: posts to main, where it is dropped once the connection is closed.
std::function<void(webrtc::RTCError)> hopping(const Lifetime& life, PeerConnection::Done done) {
  return [hop = life.onMain(std::move(done))](const webrtc::RTCError& error) { hop(errorOf(error)); };
}

// The same for an event handler, which may be empty.
template <typename... Args>
std::function<void(Args...)> hoppingEvent(const Lifetime& life, std::function<void(Args...)> event) {
  if (!event) return [](const auto&...) {};
  return life.onMain(std::move(event));
}

PeerEvents hoppingEvents(const Lifetime& life, PeerEvents events) {
  return {.iceStateChanged = hoppingEvent(life, std::move(events.iceStateChanged)),
          .candidateGenerated = hoppingEvent(life, std::move(events.candidateGenerated)),
          .mediaReady = hoppingEvent(life, std::move(events.mediaReady)),
          .transportFailed = hoppingEvent(life, std::move(events.transportFailed)),
          .descriptionBroken = hoppingEvent(life, std::move(events.descriptionBroken))};
}

}  // namespace

// Called on the library's signalling thread.
class LibPeerConnection::Observer final : public webrtc::PeerConnectionObserver {
 public:
  explicit Observer(const PeerEvents& events) : events_(events) {}

  void OnIceConnectionChange(webrtc::PeerConnectionInterface::IceConnectionState state) override {
    events_.iceStateChanged(iceStateOf(state));
  }
  void OnConnectionChange(webrtc::PeerConnectionInterface::PeerConnectionState state) override {
    using State = webrtc::PeerConnectionInterface::PeerConnectionState;
    if (state == State::kConnected) events_.mediaReady();
    if (state == State::kFailed) events_.transportFailed();
  }
  void OnIceCandidate(const webrtc::IceCandidateInterface* candidate) override {
    std::string text;
    if (!candidate->ToString(&text)) return;
    IceCandidate value;
    value.candidate = QString::fromStdString(text);
    if (!candidate->sdp_mid().empty()) value.sdpMid = QString::fromStdString(candidate->sdp_mid());
    value.sdpMLineIndex = candidate->sdp_mline_index();
    events_.candidateGenerated(value);
  }
  void OnSignalingChange(webrtc::PeerConnectionInterface::SignalingState) override {}
  void OnIceGatheringChange(webrtc::PeerConnectionInterface::IceGatheringState) override {}
  void OnDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface> channel) override {
    channel->RegisterObserver(&discardingObserver());
  }

 private:
  const PeerEvents& events_;
};

LibPeerConnection::LibPeerConnection(webrtc::PeerConnectionFactoryInterface& factory, PeerEvents events,
                                     std::shared_ptr<KeyFrameRequest> keyFrameRequest)
    : factory_(&factory),
      events_(hoppingEvents(life_, std::move(events))),
      keyFrameRequest_(std::move(keyFrameRequest)),
      observer_(std::make_unique<Observer>(events_)) {}

std::unique_ptr<LibPeerConnection> LibPeerConnection::create(webrtc::PeerConnectionFactoryInterface& factory,
                                                             const QList<IceServer>& servers, PeerEvents events,
                                                             std::shared_ptr<KeyFrameRequest> keyFrameRequest) {
  webrtc::PeerConnectionInterface::RTCConfiguration configuration;
  configuration.sdp_semantics = webrtc::SdpSemantics::kUnifiedPlan;
  detectLostLinksSoon(configuration);
  for (const IceServer& server : servers) {
    webrtc::PeerConnectionInterface::IceServer entry;
    entry.urls.push_back(server.url.toStdString());
    if (server.username) entry.username = server.username->toStdString();
    if (server.credential) entry.password = server.credential->toStdString();
    // A server that the library cannot use would abort the process, not just this connection.
    if (const webrtc::RTCError error = checkIceServer(entry); !error.ok()) {
      logLine(QStringLiteral("[ice] ignoring server ") + server.url + QStringLiteral(": ") + errorText(error));
      continue;
    }
    configuration.servers.push_back(std::move(entry));
  }
  std::unique_ptr<LibPeerConnection> peer(
      new LibPeerConnection(factory, std::move(events), std::move(keyFrameRequest)));
  webrtc::PeerConnectionDependencies dependencies(peer->observer_.get());
  dependencies.async_resolver_factory = makeBoundedCandidateResolver();
  auto result = factory.CreatePeerConnectionOrError(configuration, std::move(dependencies));
  if (!result.ok()) return nullptr;
  peer->connection_ = result.MoveValue();
  return peer;
}

LibPeerConnection::~LibPeerConnection() { close(); }

SignalingState LibPeerConnection::signalingState() const {
  using Lib = webrtc::PeerConnectionInterface;
  switch (connection_->signaling_state()) {
    case Lib::kStable:
      return SignalingState::stable;
    case Lib::kHaveLocalOffer:
      return SignalingState::haveLocalOffer;
    case Lib::kHaveLocalPrAnswer:
      return SignalingState::haveLocalPrAnswer;
    case Lib::kHaveRemoteOffer:
      return SignalingState::haveRemoteOffer;
    case Lib::kHaveRemotePrAnswer:
      return SignalingState::haveRemotePrAnswer;
    case Lib::kClosed:
      break;
  }
  return SignalingState::closed;
}

bool LibPeerConnection::hasRemoteDescription() const { return connection_->remote_description() != nullptr; }

void LibPeerConnection::createOffer(const OfferOptions& options, OfferDone done) {
  webrtc::PeerConnectionInterface::RTCOfferAnswerOptions libOptions;
  libOptions.offer_to_receive_video = options.receiveVideo ? 1 : 0;
  libOptions.offer_to_receive_audio = options.receiveAudio ? 1 : 0;
  const auto observer = rtc::make_ref_counted<OfferObserver>(
      life_.onMain([this, done = std::move(done)](const QString& sdp, const std::optional<QString>& error) {
        offered_ = sdp;
        done(sdp, error);
      }));
  connection_->CreateOffer(observer.get(), libOptions);
}

void LibPeerConnection::setLocalOffer(const QString& sdp, Done done) {
  webrtc::SdpParseError parseError;
  auto description = webrtc::CreateSessionDescription(webrtc::SdpType::kOffer,
                                                      withNativeH264Profiles(offered_, sdp).toStdString(), &parseError);
  const auto hop = hopping(life_, std::move(done));
  if (!description) {
    hop(webrtc::RTCError(webrtc::RTCErrorType::SYNTAX_ERROR, parseError.description));
    return;
  }
  connection_->SetLocalDescription(std::move(description), rtc::make_ref_counted<LocalObserver>(hop));
}

void LibPeerConnection::setRemoteAnswer(const QString& sdp, Done done) {
  const auto examined = [this, alive = life_.handle(), done = std::move(done)](const std::optional<QString>& error) {
    done(error);
    if (error && alive) reportIfBroken();
  };
  const auto hop = hopping(life_, Done(examined));
  if (sdp.size() > kMaxSdpLength) {
    hop(webrtc::RTCError(webrtc::RTCErrorType::SYNTAX_ERROR, "session description too long"));
    return;
  }
  webrtc::SdpParseError parseError;
  auto description = webrtc::CreateSessionDescription(webrtc::SdpType::kAnswer, sdp.toStdString(), &parseError);
  if (!description) {
    hop(webrtc::RTCError(webrtc::RTCErrorType::SYNTAX_ERROR,
                         parseError.description.empty() ? "not a session description" : parseError.description));
    return;
  }
  if (const auto harm = makeHarmless(*description)) {
    hop(webrtc::RTCError(webrtc::RTCErrorType::INVALID_PARAMETER, *harm));
    return;
  }
  const auto taken = [this, userName = iceUserName(*description), examined](const std::optional<QString>& error) {
    if (!error) beginCandidates(userName);
    examined(error);
  };
  connection_->SetRemoteDescription(std::move(description),
                                    rtc::make_ref_counted<RemoteObserver>(hopping(life_, Done(taken))));
}

// A new user name begins a new set of candidates; the library forgets those of the one before.
void LibPeerConnection::beginCandidates(const std::string& userName) {
  if (userName == remoteUserName_) return;
  remoteUserName_ = userName;
  candidatesTaken_ = 0;
}

// An answer that fails half-way leaves the connection unusable, while one that is refused at once does no harm. The
// only way to distinguish them: in the first case the library refuses to make another offer.
void LibPeerConnection::reportIfBroken() {
  const auto observer = rtc::make_ref_counted<OfferObserver>(
      [broken = events_.descriptionBroken](const QString&, const std::optional<QString>& error) {
        if (error) broken();
      });
  connection_->CreateOffer(observer.get(), {});
}

void LibPeerConnection::addCandidate(const IceCandidate& candidate, Done done) {
  const auto hop = hopping(life_, std::move(done));
  std::unique_ptr<webrtc::IceCandidateInterface> parsed;
  webrtc::SdpParseError parseError;
  // A negative index without a mid trips a check inside the library instead of failing.
  if (candidate.candidate.size() <= kMaxCandidateLength && candidate.sdpMLineIndex >= 0) {
    parsed.reset(webrtc::CreateIceCandidate(candidate.sdpMid.value_or(QString()).toStdString(), candidate.sdpMLineIndex,
                                            candidate.candidate.toStdString(), &parseError));
  }
  if (!parsed) {
    hop(webrtc::RTCError(webrtc::RTCErrorType::SYNTAX_ERROR,
                         parseError.description.empty() ? "not a candidate" : parseError.description));
    return;
  }
  if (candidatesTaken_ >= kMaxCandidates) {
    hop(webrtc::RTCError(webrtc::RTCErrorType::RESOURCE_EXHAUSTED, "too many candidates"));
    return;
  }
  ++candidatesTaken_;
  connection_->AddIceCandidate(std::move(parsed), hop);
}

std::unique_ptr<DataChannel> LibPeerConnection::createDataChannel(const QString& label,
                                                                  const DataChannelConfig& config) {
  webrtc::DataChannelInit init;
  init.ordered = config.ordered;
  if (config.maxPacketLifeTimeMs) init.maxRetransmitTime = *config.maxPacketLifeTimeMs;
  auto result = connection_->CreateDataChannelOrError(label.toStdString(), &init);
  if (!result.ok()) return nullptr;
  return std::make_unique<LibDataChannel>(result.MoveValue(), connection_);
}

std::unique_ptr<VideoSender> LibPeerConnection::addVideoTransceiver(VideoTrackSource& source) {
  webrtc::RtpTransceiverInit init;
  init.direction = webrtc::RtpTransceiverDirection::kSendOnly;
  // One layer, set explicitly: VP9 without it falls to five frames per second on a screen.
  init.send_encodings.emplace_back();
  init.send_encodings.back().scalability_mode = "L1T1";
  const auto track = factory_->CreateVideoTrack(kVideoTrackId, source.native());
  auto result = connection_->AddTransceiver(track, init);
  if (!result.ok()) return nullptr;
  return std::make_unique<LibVideoSender>(factory_, result.value()->sender());
}

void LibPeerConnection::setStartBitrate(int bps) {
  webrtc::BitrateSettings settings;
  settings.start_bitrate_bps = bps;
  (void)connection_->SetBitrate(settings);
}

void LibPeerConnection::setMaxBitrate(int bps) {
  webrtc::BitrateSettings settings;
  settings.max_bitrate_bps = bps;
  (void)connection_->SetBitrate(settings);
}

bool LibPeerConnection::restartIce() {
  connection_->RestartIce();
  return true;
}

void LibPeerConnection::requestKeyFrame() { keyFrameRequest_->request(); }

void LibPeerConnection::readLink(std::function<void(const LinkSample&)> done) {
  const auto observer = rtc::make_ref_counted<LinkSampleObserver>(life_.onMain(std::move(done)));
  connection_->GetStats(observer.get());
}

void LibPeerConnection::close() {
  if (!life_.handle()) return;
  life_.end();  // Everything still on its way to main is dropped there.
  if (connection_) connection_->Close();
}

}  // namespace vantora
