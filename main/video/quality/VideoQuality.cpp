#include "main/video/quality/VideoQuality.h"

#include <algorithm>

#include "base/Log.h"
#include "main/video/sdp/CodecNames.h"
#include "main/video/sharing/VideoEnvironment.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Maximum length of a preset's name: any text may be one, and it is sent to the viewer four times per second.
constexpr qsizetype kMaxNameLength = 64;

std::optional<int> clamped(std::optional<qint64> value, int low, int high) {
  if (!value) return std::nullopt;
  return static_cast<int>(std::clamp<qint64>(*value, low, high));
}

void setPreference(VideoSender& sender, DegradationPreference preference, const char* line) {
  if (sender.setDegradationPreference(preference)) logLine(line);
}

}  // namespace

VideoQuality::VideoQuality(Environment environment, Displays& displays, SharingControl& sharing, Settings settings,
                           Callbacks callbacks)
    : environment_(std::move(environment)),
      displays_(displays),
      sharing_(sharing),
      callbacks_(std::move(callbacks)),
      preferredCodecName_(std::move(settings.preferredCodecName)),
      h264Profile_(std::move(settings.h264Profile)) {
  lastTarget_.kbps = settings.lastMaxBitrateKbps;
}

void VideoQuality::setMaintainResolution(VideoSender& sender) {
  setPreference(sender, DegradationPreference::maintainFramerate, "[quality] degradationPreference=maintain-framerate");
}

void VideoQuality::setMaintainResolutionStrong(VideoSender& sender) {
  setPreference(sender, DegradationPreference::maintainResolution,
                "[quality] degradationPreference=maintain-resolution");
}

void VideoQuality::setContentHint(VideoSender& sender, const QString& hint) {
  const QString value = hint == "detail"_L1 ? u"detail"_s : u"motion"_s;
  if (sender.setContentHint(value)) logLine(u"[quality] contentHint="_s + value);
}

std::optional<Display> VideoQuality::sharedDisplay() const {
  const std::vector<Display> list = displays_.list();
  if (list.empty()) return std::nullopt;
  const int last = static_cast<int>(list.size()) - 1;
  return list[static_cast<size_t>(std::min(std::max(sharing_.displayIndexUsed(), 0), last))];
}

VideoTarget VideoQuality::nativeBucket() const {
  const auto display = sharedDisplay();
  if (!sharing_.useScreenSource() || !display) return {};
  const VideoTarget target = nativeTarget(display->bounds.size());
  logLine(u"[quality] native bucket → %1x%2@60 kbps≈%3"_s.arg(target.width).arg(target.height).arg(target.kbps));
  return target;
}

VideoTarget VideoQuality::targetOf(const QString& preset) const {
  VideoTarget target = preset == "native"_L1 ? nativeBucket() : presetTarget(preset);
  if (!sharing_.useScreenSource()) return target;
  const auto display = sharedDisplay();
  if (display && display->bounds.height() > 0) {
    target.width = std::min(widthForDisplay(display->bounds.size(), target.height), kMaxWidth);
  }
  return target;
}

void VideoQuality::applyQualityPreset(const QString& name) {
  QString preset = name.left(kMaxNameLength);
  if (preset == "auto"_L1) {
    const std::vector<Display> list = displays_.list();
    preset =
        pickAutoPreset(list.empty() ? std::nullopt : std::optional(static_cast<int>(list.front().frame().height())));
  }
  const VideoTarget target = targetOf(preset);
  if (preset == "gaming"_L1) preferredCodecName_ = u"vp8"_s;
  presetSize_ = true;
  presetRates_ = true;
  if (VideoSender* sender = sharing_.videoSender()) {
    sender->changeEncodings(
        {.maxBitrateBps = target.kbps * 1000, .maxFramerate = target.fps, .scaleResolutionDownBy = 1.0});
    applyPreferences(preset);
  }
  store(preset, target);
  feedSource(preset, target);
}

void VideoQuality::applyVideoParams(std::optional<qint64> maxBitrateKbps, std::optional<qint64> fps,
                                    std::optional<qint64> width, std::optional<qint64> height) {
  const auto newKbps = clamped(maxBitrateKbps, kMinKbps, kMaxKbps);
  const auto newFps = clamped(fps, 1, kMaxFps);
  const auto newWidth = clamped(width, kMinSide, kMaxWidth);
  const auto newHeight = clamped(height, kMinSide, kMaxHeight);
  if (!newKbps && !newFps && !(newWidth && newHeight)) return;

  if (newWidth || newHeight) presetSize_ = false;
  if (newKbps || newFps) presetRates_ = false;
  VideoTarget target = lastTarget_;
  target.width = newWidth.value_or(target.width);
  target.height = newHeight.value_or(target.height);
  target.fps = newFps.value_or(target.fps);
  if (newKbps) {
    target.kbps = *newKbps;
  } else if (newFps) {
    target.kbps = derivedKbps(target.width, target.height, target.fps);
  }

  if (VideoSender* sender = sharing_.videoSender()) {
    EncodingChange change;
    if (newKbps || newFps) change.maxBitrateBps = target.kbps * 1000;
    if (newFps) change.maxFramerate = target.fps;
    sender->changeEncodings(change);
    applyPreferences(currentQualityPreset_);
  }
  if (newFps || newWidth || newHeight) feedSource(currentQualityPreset_, target);
  store(currentQualityPreset_, target);
}

void VideoQuality::displayResized() {
  if (!presetSize_ || !sharing_.useScreenSource()) return;
  const VideoTarget target = adaptedTarget();
  if (target == lastTarget_) return;
  adapt(target);
}

void VideoQuality::adapt(const VideoTarget& target) {
  VideoSender* const sender = sharing_.videoSender();
  if (sender && (target.kbps != lastTarget_.kbps || target.fps != lastTarget_.fps)) {
    sender->changeEncodings(
        {.maxBitrateBps = target.kbps * 1000, .maxFramerate = target.fps, .scaleResolutionDownBy = {}});
  }
  store(currentQualityPreset_, target);
  feedSource(currentQualityPreset_, target);
}

VideoTarget VideoQuality::adaptedTarget() const {
  VideoTarget target = presetSize_ ? targetOf(currentQualityPreset_) : lastTarget_;
  if (!presetRates_) {
    target.fps = lastTarget_.fps;
    target.kbps = lastTarget_.kbps;
  }
  return target;
}

void VideoQuality::senderReplaced() {
  VideoSender* const sender = sharing_.videoSender();
  if (!sender) return;
  EncodingChange change;
  change.maxBitrateBps = lastTarget_.kbps * 1000;
  if (applied_) change.maxFramerate = lastTarget_.fps;
  sender->changeEncodings(change);
  if (applied_) applyPreferences(currentQualityPreset_);
}

void VideoQuality::applyPreferences(const QString& preset) {
  VideoSender* const sender = sharing_.videoSender();
  if (!sender) return;
  const bool stable = preset == "low_stable"_L1;
  if (stable) {
    setMaintainResolutionStrong(*sender);
  } else {
    setMaintainResolution(*sender);
  }
  setContentHint(*sender, stable ? u"detail"_s : readVideoEnvironment(environment_).contentHint);
}

void VideoQuality::feedSource(const QString& preset, const VideoTarget& target) {
  if (sharing_.useScreenSource()) {
    sharing_.reconfigureScreen(target.width, target.height, target.fps);
    return;
  }
  // What is chosen while the local user is asked for the screen is for the screen, too.
  sharing_.whenScreenStarted([this] { adapt(adaptedTarget()); });
  sharing_.rebuildSynthetic(target.width, target.height, target.fps);
  applyPreferences(preset);  // The track is a new one.
  callbacks_.makeOffer();
}

void VideoQuality::store(const QString& preset, const VideoTarget& target) {
  const bool differs = preset != currentQualityPreset_ || target != lastTarget_;
  applied_ = true;
  currentQualityPreset_ = preset;
  lastTarget_ = target;
  if (!differs) return;
  logLine(u"[quality] changed → %1x%2@%3 kbps=%4 preset="_s.arg(target.width)
              .arg(target.height)
              .arg(target.fps)
              .arg(target.kbps) +
          preset);
  callbacks_.changed();
}

void VideoQuality::handleCodec(const JsonObject& message) {
  if (const auto codec = stringField(message, "codec"_L1)) {
    preferredCodecName_ = codecChoiceOfViewer(*codec).name;
    logLine(u"[sdp] set preferred codec="_s + preferredCodecName_.value_or(u"auto"_s));
    callbacks_.makeOffer();
  }
  if (const auto profile = stringField(message, "profile"_L1)) {
    h264Profile_ = h264ProfileFor(*profile);
    logLine(u"[sdp] set h264 profile="_s + (h264Profile_->isEmpty() ? u"-"_s : *h264Profile_));
  }
}

void VideoQuality::handleClientPrefs(const JsonObject& message) {
  const auto prefs = objectField(message, "prefs"_L1);
  if (!prefs) return;
  const auto quality = stringField(*prefs, "quality"_L1);
  if (quality && !quality->isEmpty()) {
    currentQualityPreset_ = quality->left(kMaxNameLength);
    applyQualityPreset(*quality);
  }
  if (const auto fps = integerField(*prefs, "fps"_L1)) applyVideoParams({}, fps, {}, {});
  logLine(u"[prefs] applied from client: quality="_s + currentQualityPreset_ + u" fps="_s +
          QString::number(lastTarget_.fps));
}

void bindQualityMessages(ControlDispatcher& dispatcher, VideoQuality& quality) {
  dispatcher.on("quality"_L1, [&quality](const ControlRequest& request) {
    quality.applyQualityPreset(stringField(request.body, "preset"_L1).value_or(u"auto"_s));
    return Handled::yes;
  });
  dispatcher.on("video_params"_L1, [&quality](const ControlRequest& request) {
    quality.applyVideoParams(integerField(request.body, "maxBitrateKbps"_L1), integerField(request.body, "fps"_L1),
                             integerField(request.body, "width"_L1), integerField(request.body, "height"_L1));
    return Handled::yes;
  });
  dispatcher.on("codec"_L1, [&quality](const ControlRequest& request) {
    quality.handleCodec(request.body);
    return Handled::yes;
  });
}

}  // namespace vantora
