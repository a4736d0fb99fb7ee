#include "main/session/Host.h"

#include <algorithm>

#include "base/FreeMemory.h"
#include "base/Log.h"
#include "main/session/ChatOutbox.h"
#include "main/video/sdp/BitrateHints.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// The maximum rate of a connection: enough for the highest rate that is derived from a frame size. Once more than 180
// Mbit/s are sent, the library may compute an interval of 0 ms between two of its reports; its own check then ends the
// program.
constexpr int kHighestLinkBps = 60'000'000;

}  // namespace

Host::Host(const QString& room, Configuration configuration, Platform platform)
    : configuration_(std::move(configuration)),
      platform_(std::move(platform)),
      roomId_(room),
      injector_(platform_.desktop.displays(), platform_.desktop.input(), platform_.scheduler),
      commands_(sender_, platform_.desktop.supportTools()),
      chat_(platform_.scheduler),
      files_(sender_, platform_.desktop.downloadFolder()),
      clipboard_(platform_.desktop.clipboard(), sender_, platform_.scheduler),
      iceMonitor_(platform_.scheduler,
                  {.changed =
                       [this](IceState state) {
                         // A disconnected viewer cannot release the keys and buttons that it holds down.
                         if (state == IceState::disconnected || state == IceState::failed) injector_.releaseAll();
                         if (state == IceState::checking || state == IceState::connected) systemStats_.prepare();
                         sharing_.setViewerConnected(iceMonitor_.connected());
                         changed();
                       },
                   .attemptIceRecovery = [this](bool immediate) { attemptIceRecovery(immediate); }}),
      negotiation_({.send = [this](const JsonObject& message) { signaler_->send(message); },
                    .offerShape = [this] { return offerShape(); },
                    .viewerReplaced = [this] { replacePeer("answer of another viewer"); }}),
      sharing_(configuration_.environment, platform_.desktop.displays(), sender_, platform_.videoSources,
               sharingCallbacks()),
      systemStats_(platform_.scheduler, platform_.statistics),
      linkStats_(platform_.scheduler,
                 [this](LinkStats::Answer answer) {
                   if (link_) link_->connection->readLink(std::move(answer));
                 }),
      stats_(platform_.scheduler, platform_.desktop.displays(), sender_,
             {.session = [this] { return sessionFigures(); },
              .system = [this] { return systemStats_.getSystemStats(); },
              .link = [this] { return linkStats_.get(); },
              .hostName = platform_.desktop.machine().prettyHostName(),
              .roomId = roomId_}),
      diagnostics_(sender_, platform_.diagnostics) {
  // The signaller connects inside its constructor, before onOpen is set: the first offer is made below, when there is
  // something to offer.
  signaler_ = std::make_unique<Signaler>(
      Signaler::Settings{
          .url = configuration_.signalingUrl,
          .room = roomId_,
          .tokenLookup = [environment = configuration_.environment] { return environment.value("SIGNAL_TOKEN"); }},
      platform_.scheduler, platform_.webSocketTasks);
  settings_ = readHostSettings(configuration_.environment, configuration_.info, platform_.random);
  authorisation_ = std::make_unique<ControlAuthorisation>(
      ControlAuthorisation::Settings{
          .controlPIN = settings_.controlPin, .pinLockedByEnv = settings_.pinLockedByEnv, .roomId = roomId_},
      sender_,
      ControlAuthorisation::Callbacks{
          .ensureAccessibility =
              [this](std::function<void(bool)> answer) { injector_.ensureAccessibility(std::move(answer)); },
          .controlEnded = [this] { injector_.releaseAll(); },
          .random = platform_.random});
  quality_ = std::make_unique<VideoQuality>(configuration_.environment, platform_.desktop.displays(), sharing_,
                                            VideoQuality::Settings{.lastMaxBitrateKbps = settings_.lastMaxBitrateKbps,
                                                                   .preferredCodecName = settings_.preferredCodecName,
                                                                   .h264Profile = settings_.h264Profile},
                                            VideoQuality::Callbacks{.makeOffer = [this] { negotiation_.makeOffer(); },
                                                                    .changed =
                                                                        [this] {
                                                                          setMaxBitrate();
                                                                          changed();
                                                                        }});
  cursor_ = std::make_unique<CursorMonitor>(
      configuration_.environment, platform_.scheduler,
      CursorMonitor::Desktop{.cursor = platform_.desktop.cursor(), .accessibility = platform_.desktop.accessibility()},
      sender_, settings_.cursorDebug);
  dispatcher_ = std::make_unique<ControlDispatcher>(sender_, platform_.scheduler, [this](Gate gate) {
    ControlRights rights = authorisation_->rights();
    rights.allowIncomingFiles = files_.isFileReceiveAllowed();
    return isOpen(gate, rights);
  });
  bindControlMessages();
  platform_.desktop.setStatusHandler([this](const DesktopStatus& status) { desktopChanged(status); });
  platform_.desktop.displays().setChangedHandler([this] { displaysChanged(); });

  signaler_->onMessage = [this](const JsonObject& message) { handle(message); };
  signaler_->onOpen = [this] {
    createOrRefreshDataChannels();
    negotiation_.makeOffer();
  };
  createPeer();
  startVideoSource();
  if (settings_.autoShare) startSharing();
  negotiation_.makeOffer();
  logLine(u"[control] PIN: "_s + authorisation_->getPIN());
}

Host::~Host() {
  platform_.desktop.setStatusHandler(nullptr);
  platform_.desktop.displays().setChangedHandler(nullptr);
  signaler_->onMessage = nullptr;
  signaler_->onOpen = nullptr;
  shutdown();
}

void Host::shutdown() {
  cursor_->stopCursorMonitoring();
  injector_.releaseAll();
  commands_.endAll();
  sharing_.setViewerConnected(false);
  closePeer();
}

void Host::setFileReceiveAllowed(bool allow) {
  files_.setFileReceiveAllowed(allow);
  changed();
}

// A desktop that withdrew its consent delivers no frames and takes no input any more.
void Host::desktopChanged(const DesktopStatus& status) {
  if (status.state == DesktopState::refused) logLine(u"[desktop] refused: "_s + status.reason);
  if (status.state == DesktopState::closed) {
    logLine(u"[desktop] closed: "_s + status.reason);
    authorisation_->desktopClosed();
    sharing_.stopSharing();
  }
  // Once ready, the synthetic picture stays until the capture has started.
  if (status.state != DesktopState::ready) sharing_.setAwaitingConsent(status.state == DesktopState::awaitingConsent);
  changed();
}

void Host::startSharing() {
  sharing_.startSharing();
  // The question of an earlier start may still be open.
  sharing_.setAwaitingConsent(platform_.desktop.status().state == DesktopState::awaitingConsent);
}

void Host::displaysChanged() {
  // A desktop that is gone for now says nothing about the next display.
  if (platform_.desktop.displays().list().empty()) return;
  injector_.displaysChanged();
  quality_->displayResized();
  stats_.sendDisplayInfo(ControlChannel::reliable);
}

void Host::changed() const {
  if (changedHandler_) changedHandler_();
}

// Signalling

void Host::handle(const JsonObject& message) {
  const auto type = stringField(message, "type"_L1);
  if (!type) return;
  if (*type == "renegotiate"_L1) {
    negotiation_.clearPendingCandidates();
    if (message.value("iceRestart"_L1) == QJsonValue(true)) restartIceForViewer();
    createOrRefreshDataChannels();
    negotiation_.makeOffer();
  } else if (*type == "client_prefs"_L1) {
    quality_->handleClientPrefs(message);
  } else if (*type == "answer"_L1) {
    negotiation_.handleAnswer(message);
  } else if (*type == "ice"_L1) {
    negotiation_.handleIce(message);
  } else if (*type == "chat_broadcast"_L1) {
    chat_.handleChatBroadcast(message);
  } else if (*type == "reaction_broadcast"_L1) {
    chat_.handleReactionBroadcast(message);
  }
}

void Host::sendChat(const QString& text) {
  if (const auto message = chatSendMessage(text)) signaler_->send(*message);
}

OfferShape Host::offerShape() const {
  return {.preferredCodecName = quality_->preferredCodecName(),
          .h264Profile = quality_->h264Profile(),
          .lastMaxBitrateKbps = quality_->lastTarget().kbps,
          .xGoogleMinKbpsOverride = settings_.xGoogleMinKbpsOverride,
          .xGoogleStartKbpsOverride = settings_.xGoogleStartKbpsOverride,
          .xGoogleMaxKbpsOverride = settings_.xGoogleMaxKbpsOverride};
}

// Leaves room for retransmissions and for the pacing of a large frame. The library probes for the limit as soon as it
// rises, which blocks a slow link for a fifth of a second: so the limit is the same for all of the usual presets.
void Host::setMaxBitrate() {
  constexpr double kHeadroom = 1.5;
  constexpr int kUsualKbps = 6000;
  if (!link_) return;
  const double bps = std::max(quality_->lastTarget().kbps, kUsualKbps) * 1000.0 * kHeadroom;
  link_->connection->setMaxBitrate(static_cast<int>(std::min<double>(bps, kHighestLinkBps)));
}

// Gives the current connection its video.
void Host::startVideoSource() {
  if (!link_) return;
  sharing_.startVideoSource(*link_->connection, link_->videoSender);
  quality_->senderReplaced();
}

// On a faster link the estimate rises within a second; a slower link would lose the first page.
int Host::startKbps() const {
  constexpr int kCautious = 1000;
  const int hint = bitrateHints(quality_->lastTarget().kbps, settings_.xGoogleMinKbpsOverride,
                                settings_.xGoogleStartKbpsOverride, settings_.xGoogleMaxKbpsOverride)
                       .startKbps;
  return settings_.xGoogleStartKbpsOverride ? hint : std::min(hint, kCautious);
}

// The peer connection

void Host::createPeer() {
  auto link = std::make_unique<PeerLink>();
  link->connection = platform_.factory.createPeerConnection(
      readIceServers(configuration_.environment),
      {.iceStateChanged = [this](IceState state) { iceMonitor_.iceConnectionDidChange(state); },
       .candidateGenerated = [this](const IceCandidate& candidate) { negotiation_.sendCandidate(candidate); },
       .mediaReady =
           [this] {
             // A viewer that missed packets waits for seconds before it requests a key frame.
             if (link_) link_->connection->requestKeyFrame();
             sharing_.refresh();
           },
       .transportFailed =
           [this] {
             if (iceMonitor_.iceState() != IceState::failed) replacePeer("transport failed");
           },
       .descriptionBroken = [this] { replacePeer("answer left the connection unusable"); }});
  if (!link->connection) {
    logLine("offer error: the peer connection could not be created (check ICE_URLS and TURN_URL)");
    return;
  }
  link->channels = std::make_unique<ControlChannels>(
      *link->connection,
      ControlChannels::Events{
          .opened = [this](ControlChannel channel) { channelOpened(channel); },
          .closed = [this](ControlChannel channel) { channelClosed(channel); },
          .renegotiate = [this] { negotiation_.makeOffer(); },
          .message = [this](ControlChannel channel, const QByteArray& data,
                            bool binary) { dispatcher_->dataChannelDidReceiveMessage(channel, data, binary); }});
  link->connection->setStartBitrate(static_cast<int>(std::min<qint64>(startKbps() * 1000LL, kHighestLinkBps)));
  link_ = std::move(link);
  setMaxBitrate();
  sender_.set(link_->channels.get());
  negotiation_.attach(link_->connection.get());
  createOrRefreshDataChannels();
}

void Host::closePeer() {
  if (!link_) return;
  sender_.set(nullptr);
  negotiation_.attach(nullptr);
  sharing_.detachSender();
  stopStatistics();
  diagnostics_.channelClosed(ControlChannel::control);
  diagnostics_.channelClosed(ControlChannel::reliable);
  clipboard_.channelClosed(ControlChannel::reliable);
  cursor_->stopCursorMonitoring();
  link_.reset();
  // The library's threads take a moment to release the connection.
  constexpr std::chrono::seconds kReleaseDelay(2);
  memoryTimer_ = platform_.scheduler.after(kReleaseDelay, [] { returnFreeMemory(); });
}

void Host::replacePeer(const char* reason) {
  logLine(u"[sdp] %1 → rebuilding peer"_s.arg(QLatin1StringView(reason)));
  if (link_) link_->channels->endAll();
  iceMonitor_.connectionReplaced();
  sharing_.setViewerConnected(false);
  closePeer();
  createPeer();
  if (!link_) return;
  startVideoSource();
  negotiation_.makeOffer();
  changed();
}

void Host::createOrRefreshDataChannels() {
  if (link_) link_->channels->createOrRefreshDataChannels();
}

// A viewer whose address changed: its browser would check the connection that it has only seconds later. The library
// keeps a socket of each ICE session until the connection is closed.
void Host::restartIceForViewer() {
  constexpr int kMaxRestarts = 30;
  if (!link_ || link_->restartsForViewer >= kMaxRestarts) return;
  ++link_->restartsForViewer;
  link_->connection->restartIce();
}

void Host::attemptIceRecovery(bool /*immediate: both callers want the same*/) {
  if (link_ && link_->connection->restartIce()) {
    logLine("[ice] restartIce invoked");
  } else {
    logLine(u"[ice] restartIce not available → rebuilding peer"_s);
    if (link_) link_->channels->endAll();
    closePeer();
    createPeer();
    startVideoSource();
  }
  createOrRefreshDataChannels();
  negotiation_.makeOffer();
}

void Host::addressesChanged(const LocalAddresses& addresses) {
  // An address that is gone may be back in a moment, as when a cable was pulled; there is nothing to change to.
  if (!addresses.online) return;
  platform_.factory.networksChanged();
  // A connection that is not up does not tell its address, and has none to keep.
  const IceState state = iceMonitor_.iceState();
  if (!link_ || (state != IceState::connected && state != IceState::completed && state != IceState::disconnected))
    return followAddresses(addresses, {});
  link_->connection->readLink(
      [this, addresses](const LinkSample& sample) { followAddresses(addresses, sample.localAddress); });
}

void Host::followAddresses(const LocalAddresses& addresses, const QString& used) {
  const bool lost = !used.isEmpty() && !addresses.all.contains(used);
  // A new connection to the server comes with an offer, which then is the one that restarts ICE.
  if (lost && link_->connection->restartIce()) logLine("[ice] restartIce invoked");
  if (signaler_->addressesChanged(addresses.all) || !lost) return;
  createOrRefreshDataChannels();
  negotiation_.makeOffer();
}

// The control channels

void Host::channelOpened(ControlChannel channel) {
  if (channel == ControlChannel::reliable) {
    stats_.sendDisplayInfo(channel);
    stats_.sendHostStats(channel);
    cursor_->startCursorMonitoring();
  } else {
    sharing_.controlOpened();
  }
  stats_.startTimer();
}

void Host::stopStatistics() {
  stats_.stopTimer();
  systemStats_.pause();
  linkStats_.reset();
}

void Host::channelClosed(ControlChannel channel) {
  stopStatistics();
  diagnostics_.channelClosed(channel);
  clipboard_.channelClosed(channel);
  if (channel == ControlChannel::reliable) cursor_->stopCursorMonitoring();
  authorisation_->resetOnChannelClose();
}

SessionFigures Host::sessionFigures() const {
  const VideoTarget& target = quality_->lastTarget();
  return {.preset = quality_->currentQualityPreset(),
          .width = target.width,
          .height = target.height,
          .fps = target.fps,
          .maxKbps = target.kbps,
          .screen = sharing_.useScreenSource(),
          .displayIndex = sharing_.displayIndexUsed(),
          .lastCaptureNs = sharing_.lastCaptureWallNs()};
}

SharingControl::Callbacks Host::sharingCallbacks() {
  return {.makeOffer = [this] { negotiation_.makeOffer(); },
          .changed = [this] { changed(); },
          .displayResized = [this] { quality_->displayResized(); },
          .input = {.setMappingMode = [this](bool usePoints) { injector_.setMappingMode(usePoints); },
                    .setOrigin = [this](bool topOrigin) { injector_.setOrigin(topOrigin); },
                    .setTargetScreen = [this](int index) { injector_.setTargetScreen(index); }}};
}

}  // namespace vantora
