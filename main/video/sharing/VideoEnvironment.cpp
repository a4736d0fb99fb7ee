#include "main/video/sharing/VideoEnvironment.h"

#include <algorithm>
#include <limits>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

int bounded(const Environment& environment, const char* name, qint64 fallback, qint64 lowest, qint64 highest) {
  return static_cast<int>(std::clamp(environment.integer(name).value_or(fallback), lowest, highest));
}

}  // namespace

VideoEnvironment readVideoEnvironment(const Environment& environment) {
  VideoEnvironment video;
  video.fps = bounded(environment, "FPS", video.fps, 1, 240);
  video.width = bounded(environment, "WIDTH", video.width, 16, 16384);
  video.height = bounded(environment, "HEIGHT", video.height, 16, 16384);
  video.displayIndex = bounded(environment, "DISPLAY_INDEX", 0, 0, std::numeric_limits<int>::max());
  if (const auto map = environment.value("INPUT_MAP")) video.inputUsesPoints = map->toLower() != "pixels"_L1;
  if (const auto origin = environment.value("INPUT_ORIGIN")) video.inputOriginTop = origin->toLower() != "bottom"_L1;
  video.shareIdleVideo = environment.equals("SHARE_IDLE_VIDEO", "1"_L1);
  const auto hint = environment.value("CONTENT_HINT");
  video.contentHint = hint && hint->toLower() == "detail"_L1 ? u"detail"_s : u"motion"_s;
  return video;
}

}  // namespace vantora
