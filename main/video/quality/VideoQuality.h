// How the video is encoded: presets, explicit parameters, codec choice.
#pragma once

#include <functional>
#include <optional>

#include "base/Environment.h"
#include "base/Json.h"
#include "main/control/dispatch/ControlDispatcher.h"
#include "main/video/quality/QualityPresets.h"
#include "main/video/sharing/SharingControl.h"

namespace vantora {

// Thread: main. Owner: Host.
class VideoQuality {
 public:
  struct Callbacks {
    std::function<void()> makeOffer;
    // Something that the menu shows changed.
    std::function<void()> changed;
  };
  struct Settings {
    int lastMaxBitrateKbps = 3000;
    std::optional<QString> preferredCodecName = std::nullopt;
    std::optional<QString> h264Profile = std::nullopt;
  };

  // `displays` and `sharing` must outlive this object.
  VideoQuality(Environment environment, Displays& displays, SharingControl& sharing, Settings settings,
               Callbacks callbacks);

  // Applies the named preset; "auto" is resolved first, an unknown name gives the values of "medium".
  void applyQualityPreset(const QString& name);
  // Applies explicit values (each optional; clamped to what encoders accept).
  void applyVideoParams(std::optional<qint64> maxBitrateKbps, std::optional<qint64> fps, std::optional<qint64> width,
                        std::optional<qint64> height);
  // The captured display has another size: values chosen by a preset are adapted to it; explicitly requested sizes and
  // rates are kept.
  void displayResized();
  // "codec": choice of codec and H.264 profile for the next offers.
  void handleCodec(const JsonObject& message);
  // "client_prefs": a viewer's preferences at the signalling level; ignored without a "prefs" object.
  void handleClientPrefs(const JsonObject& message);

  // The video has the sender of a new connection: sets its bit rate, and the values requested in this session.
  void senderReplaced();

  const QString& currentQualityPreset() const { return currentQualityPreset_; }
  const VideoTarget& lastTarget() const { return lastTarget_; }
  const std::optional<QString>& preferredCodecName() const { return preferredCodecName_; }
  const std::optional<QString>& h264Profile() const { return h264Profile_; }

  // Both are logged; setMaintainResolution() sets maintain-framerate despite its name.
  static void setMaintainResolution(VideoSender& sender);
  static void setMaintainResolutionStrong(VideoSender& sender);
  static void setContentHint(VideoSender& sender, const QString& hint);

 private:
  std::optional<Display> sharedDisplay() const;
  VideoTarget nativeBucket() const;
  VideoTarget targetOf(const QString& preset) const;
  void applyPreferences(const QString& preset);
  void feedSource(const QString& preset, const VideoTarget& target);
  // The target of the current preset for the display that is shared now.
  VideoTarget adaptedTarget() const;
  void adapt(const VideoTarget& target);
  void store(const QString& preset, const VideoTarget& target);

  Environment environment_;
  Displays& displays_;
  SharingControl& sharing_;
  Callbacks callbacks_;
  QString currentQualityPreset_ = QStringLiteral("auto");
  VideoTarget lastTarget_;
  // A preset or parameters have been applied since the start.
  bool applied_ = false;
  // Whether size and rates of the target come from the preset.
  bool presetSize_ = false;
  bool presetRates_ = false;
  std::optional<QString> preferredCodecName_;
  std::optional<QString> h264Profile_;
};

// Installs the handlers of "quality", "video_params" and "codec". `quality` must outlive `dispatcher`. Main thread.
void bindQualityMessages(ControlDispatcher& dispatcher, VideoQuality& quality);

}  // namespace vantora
