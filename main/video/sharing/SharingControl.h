// Chooses the source of the one video track: the synthetic pattern or the screen.
#pragma once

#include <functional>
#include <memory>

#include "base/Environment.h"
#include "base/Lifetime.h"
#include "main/control/ControlChannel.h"
#include "main/rtc/PeerConnection.h"
#include "main/video/sharing/VideoSources.h"
#include "platform/Displays.h"

namespace vantora {

// Tells the input handling about the shared display.
struct InputTargeting {
  std::function<void(bool usePoints)> setMappingMode;
  std::function<void(bool topOrigin)> setOrigin;
  std::function<void(int index)> setTargetScreen;
};

// Thread: main. Owner: Host. Outlives peer connections: a new one gets the track of the running capture, which is not
// interrupted.
class SharingControl {
 public:
  struct Callbacks {
    std::function<void()> makeOffer;
    // Something that the menu shows changed.
    std::function<void()> changed;
    // The captured display has another size than before.
    std::function<void()> displayResized;
    InputTargeting input;
  };

  // Everything referred to must outlive this object.
  SharingControl(Environment environment, Displays& displays, ControlSender& sender, VideoSourceFactory factory,
                 Callbacks callbacks);
  ~SharingControl();
  SharingControl(const SharingControl&) = delete;
  SharingControl& operator=(const SharingControl&) = delete;

  // Sets up the transceiver of `peer` with the synthetic source; `videoSender` receives its sender. If the screen is
  // being shared, the new sender gets its track.
  void startVideoSource(PeerConnection& peer, std::unique_ptr<VideoSender>& videoSender);
  // The sender is about to be destroyed with its connection.
  void detachSender() { videoSender_ = nullptr; }

  void startSharing();
  void stopSharing();

  // Whether frames can reach a viewer. False: nothing is captured or encoded.
  void setViewerConnected(bool connected);
  // A viewer is ready for its first frame.
  void refresh();

  // "control" opened: its viewer is also notified if the desktop refuses the screen, or asks its user for it.
  void controlOpened();
  // Whether the local user is being asked for the screen: meanwhile the viewer gets the synthetic picture, and is told
  // what is missing. Ends by itself when the capture has started. No effect while sharing is off.
  void setAwaitingConsent(bool awaiting);

  // "display_index": stores the display and moves a running capture to it. Returns whether the screen is being
  // captured.
  bool selectDisplay(int index);

  // Replaces the synthetic source by one of this size and rate, started at once; it gets the track unless the screen
  // has it.
  void rebuildSynthetic(int width, int height, int fps);
  // Resizes the capture; does nothing without one.
  void reconfigureScreen(int width, int height, int fps);

  bool isSharingEnabled() const { return sharingEnabled_; }
  bool useScreenSource() const { return useScreenSource_; }
  // Calls `started` when the capture that starts at the moment, for which the local user may be asked, has started;
  // each call replaces the earlier one. Never called without such a start, or if it is refused or stopped.
  void whenScreenStarted(std::function<void()> started);
  int displayIndexUsed() const { return displayIndexUsed_; }
  qint64 lastCaptureWallNs() const { return screenSource_ ? screenSource_->lastCaptureWallNs() : 0; }
  // Null while there is no sender.
  VideoSender* videoSender() const { return videoSender_; }

 private:
  void notifyClientPermission(const QString& permission);
  void sendMissingPermission();
  std::unique_ptr<SyntheticVideo> makeFittedSynthetic();
  // A source that makes frames, once started, while the screen is not shared and a viewer is connected.
  std::unique_ptr<SyntheticVideo> makeSynthetic(int fps, int width, int height);
  void screenStarted();
  bool syntheticOnTrack() const { return !sharingEnabled_ || awaitingConsent_; }
  void moveCapture();

  Environment environment_;
  Displays& displays_;
  ControlSender& sender_;
  VideoSourceFactory factory_;
  Callbacks callbacks_;

  bool sharingEnabled_ = false;
  bool useScreenSource_ = false;
  bool viewerConnected_ = false;
  int displayIndexUsed_ = 0;
  // The display that the capture was started with, or moved to.
  int displayIndexCaptured_ = 0;
  bool screenStarting_ = false;
  bool awaitingConsent_ = false;
  std::function<void()> whenScreenStarted_;
  // The permission that the last start of the capture lacked; empty unless it was refused, and while sharing is off.
  QString missingPermission_;
  VideoSender* videoSender_ = nullptr;
  std::unique_ptr<SyntheticVideo> dummy_;
  std::unique_ptr<ScreenVideo> screenSource_;
  Lifetime life_;  // For events of the screen.
};

}  // namespace vantora
