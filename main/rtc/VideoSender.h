// The RTP sender of the one video track.
#pragma once

#include <QString>
#include <optional>

namespace vantora {

class VideoTrackSource;

enum class DegradationPreference { maintainFramerate = 1, maintainResolution = 2 };

// Changes for every encoding of the sender; what is absent stays as it is.
struct EncodingChange {
  std::optional<int> maxBitrateBps;             // > 0
  std::optional<double> maxFramerate;           // > 0, frames per second
  std::optional<double> scaleResolutionDownBy;  // >= 1
};

// Main thread. Must not outlive its peer connection.
class VideoSender {
 public:
  virtual ~VideoSender() = default;
  // Writes `change` to every encoding (creates one if there is none). False when refused.
  virtual bool changeEncodings(const EncodingChange& change) = 0;
  // False when the library does not support it or refuses.
  virtual bool setDegradationPreference(DegradationPreference preference) = 0;
  // Replaces the track by a new one, "video0", of `source`; the parameters stay.
  virtual bool replaceTrack(VideoTrackSource& source) = 0;
  // Content hint of the current track: "detail" or "motion". False when there is no track.
  virtual bool setContentHint(const QString& hint) = 0;
};

}  // namespace vantora
