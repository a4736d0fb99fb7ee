#include "main/video/sharing/SharingControl.h"

#include <utility>

#include "base/Log.h"
#include "main/video/sharing/DisplaySize.h"
#include "main/video/sharing/FitSize.h"
#include "main/video/sharing/VideoEnvironment.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

}  // namespace

SharingControl::SharingControl(Environment environment, Displays& displays, ControlSender& sender,
                               VideoSourceFactory factory, Callbacks callbacks)
    : environment_(std::move(environment)),
      displays_(displays),
      sender_(sender),
      factory_(std::move(factory)),
      callbacks_(std::move(callbacks)) {}

SharingControl::~SharingControl() {
  if (screenSource_) screenSource_->stop();
  if (dummy_) dummy_->stop();
}

std::unique_ptr<SyntheticVideo> SharingControl::makeFittedSynthetic() {
  const VideoEnvironment video = readVideoEnvironment(environment_);
  const QSize size =
      fitToDisplay(QSize(video.width, video.height), primaryDisplayPixelSize(displays_.list(), displayIndexUsed_));
  return makeSynthetic(video.fps, size.width(), size.height());
}

std::unique_ptr<SyntheticVideo> SharingControl::makeSynthetic(int fps, int width, int height) {
  auto source = factory_.synthetic(fps, width, height);
  source->setActive(viewerConnected_);
  source->setOnTrack(syntheticOnTrack());
  return source;
}

void SharingControl::startVideoSource(PeerConnection& peer, std::unique_ptr<VideoSender>& videoSender) {
  const VideoEnvironment video = readVideoEnvironment(environment_);
  const bool sharingResumes = useScreenSource_;
  useScreenSource_ = false;
  if (!sharingResumes && !screenStarting_) displayIndexUsed_ = video.displayIndex;
  if (video.inputUsesPoints) callbacks_.input.setMappingMode(*video.inputUsesPoints);
  if (video.inputOriginTop) callbacks_.input.setOrigin(*video.inputOriginTop);

  if (dummy_) dummy_->stop();
  dummy_ = makeFittedSynthetic();
  videoSender = peer.addVideoTransceiver(*dummy_);
  videoSender_ = videoSender.get();
  if (videoSender_) {
    videoSender_->changeEncodings({.maxBitrateBps = {}, .maxFramerate = video.fps, .scaleResolutionDownBy = {}});
    if (videoSender_->setDegradationPreference(DegradationPreference::maintainFramerate)) {
      logLine("[quality] degradationPreference=maintain-framerate");
    }
  }
  if (video.shareIdleVideo || awaitingConsent_) dummy_->start();
  if (videoSender_ && videoSender_->setContentHint(video.contentHint)) {
    logLine(u"[quality] contentHint="_s + video.contentHint);
  }
  if (sharingEnabled_ && screenSource_ && videoSender_) {
    if (!awaitingConsent_) videoSender_->replaceTrack(*screenSource_);
    useScreenSource_ = sharingResumes;
  }
}

void SharingControl::startSharing() {
  if (sharingEnabled_) return;
  sharingEnabled_ = true;
  const VideoEnvironment video = readVideoEnvironment(environment_);
  ScreenEvents events{.refused = life_.guard([this](const QString& permission) { notifyClientPermission(permission); }),
                      .resized = life_.guard([this] { callbacks_.displayResized(); })};
  if (dummy_) dummy_->setOnTrack(false);
  screenSource_ = factory_.screen(video.width, video.height, video.fps, displayIndexUsed_, std::move(events));
  screenSource_->setActive(viewerConnected_);
  callbacks_.input.setTargetScreen(displayIndexUsed_);
  displayIndexCaptured_ = displayIndexUsed_;
  screenStarting_ = true;
  if (videoSender_) videoSender_->replaceTrack(*screenSource_);
  screenSource_->start(life_.guard([this] { screenStarted(); }));
  callbacks_.changed();
}

void SharingControl::screenStarted() {
  screenStarting_ = false;
  useScreenSource_ = true;
  setAwaitingConsent(false);
  logLine("[share] started screen capture");
  const auto started = std::exchange(whenScreenStarted_, nullptr);
  // The viewer may choose while the local user is being asked; a user who refused is not asked again.
  if (missingPermission_.isEmpty()) {
    if (displayIndexCaptured_ != displayIndexUsed_) moveCapture();
    if (started) started();
  }
  callbacks_.makeOffer();
}

void SharingControl::stopSharing() {
  if (!sharingEnabled_) return;
  sharingEnabled_ = false;
  const VideoEnvironment video = readVideoEnvironment(environment_);
  if (screenSource_) screenSource_->stop();
  std::unique_ptr<SyntheticVideo> fresh = makeFittedSynthetic();
  if (dummy_) dummy_->stop();
  dummy_ = std::move(fresh);
  if (video.shareIdleVideo) dummy_->start();
  if (videoSender_) videoSender_->replaceTrack(*dummy_);
  screenSource_.reset();
  useScreenSource_ = false;
  screenStarting_ = false;
  awaitingConsent_ = false;
  whenScreenStarted_ = nullptr;
  missingPermission_.clear();
  logLine("[share] stopped screen capture");
  callbacks_.makeOffer();
  callbacks_.changed();
}

void SharingControl::setViewerConnected(bool connected) {
  viewerConnected_ = connected;
  if (dummy_) dummy_->setActive(connected);
  if (screenSource_) screenSource_->setActive(connected);
}

void SharingControl::refresh() {
  if (screenSource_) screenSource_->refresh();
}

bool SharingControl::selectDisplay(int index) {
  displayIndexUsed_ = index;
  callbacks_.input.setTargetScreen(index);
  if (!useScreenSource_ || !screenSource_) return false;
  moveCapture();
  return true;
}

// Starts the capture again, which may be refused again.
void SharingControl::moveCapture() {
  missingPermission_.clear();
  displayIndexCaptured_ = displayIndexUsed_;
  screenSource_->setDisplayIndex(displayIndexUsed_, [] {});
}

void SharingControl::whenScreenStarted(std::function<void()> started) {
  if (screenStarting_) whenScreenStarted_ = std::move(started);
}

void SharingControl::rebuildSynthetic(int width, int height, int fps) {
  std::unique_ptr<SyntheticVideo> fresh = makeSynthetic(fps, width, height);
  if (dummy_) dummy_->stop();
  fresh->start();
  if (videoSender_ && (!screenSource_ || awaitingConsent_)) videoSender_->replaceTrack(*fresh);
  dummy_ = std::move(fresh);
}

void SharingControl::reconfigureScreen(int width, int height, int fps) {
  if (!screenSource_) return;
  missingPermission_.clear();
  screenSource_->reconfigure(width, height, fps, [] {});
}

void SharingControl::controlOpened() { sendMissingPermission(); }

void SharingControl::setAwaitingConsent(bool awaiting) {
  if (!sharingEnabled_ || awaitingConsent_ == awaiting) return;
  awaitingConsent_ = awaiting;
  if (dummy_) dummy_->setOnTrack(awaiting);
  if (awaiting) {
    if (dummy_) dummy_->start();
    if (videoSender_ && dummy_) videoSender_->replaceTrack(*dummy_);
    sendMissingPermission();
  } else if (videoSender_ && screenSource_) {
    videoSender_->replaceTrack(*screenSource_);
  }
}

void SharingControl::notifyClientPermission(const QString& permission) {
  missingPermission_ = permission;
  sendMissingPermission();
}

void SharingControl::sendMissingPermission() {
  const QString permission = awaitingConsent_ ? u"screen_recording"_s : missingPermission_;
  if (permission.isEmpty()) return;
  sender_.send(ControlChannel::control, {{u"type"_s, u"permission_required"_s}, {u"permission"_s, permission}});
}

}  // namespace vantora
