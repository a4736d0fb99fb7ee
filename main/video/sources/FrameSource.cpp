#include "main/video/sources/FrameSource.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "api/video/color_space.h"

namespace vantora {
namespace {

// Below this the adapter would scale frames down to no pixels.
constexpr std::int64_t kMinPixels = 64;

// Whether frames of the given size are to be cropped to the format's aspect ratio. The adapter computes that in
// floating point: it can cut a row or a column off a frame that already fits, and a ratio that is too extreme for the
// frame gives frames without rows or columns.
bool needsCropping(const FrameSource::Format& format, int width, int height) {
  if (width == format.width && height == format.height) return false;
  // Like the adapter: the ratio takes the frame's orientation.
  const auto [shortSide, longSide] = std::minmax(format.width, format.height);
  const std::int64_t across = width > height ? longSide : shortSide;
  const std::int64_t down = width > height ? shortSide : longSide;
  return height * across / down >= 2 && width * down / across >= 2;
}

// The colour space of the frames: a desktop's colours, converted with the coefficients of BT.601 in limited range, as
// libyuv does it. Browsers decode untagged H.264 with those of BT.709, and pure green becomes 215.
webrtc::ColorSpace desktopColours() {
  return {webrtc::ColorSpace::PrimaryID::kBT709, webrtc::ColorSpace::TransferID::kIEC61966_2_1,
          webrtc::ColorSpace::MatrixID::kSMPTE170M, webrtc::ColorSpace::RangeID::kLimited};
}

}  // namespace

void FrameSource::adaptOutputFormat(int width, int height, int fps) {
  const std::lock_guard lock(formatMutex_);
  format_ = Format{width, height, fps};
  applyFormat();
}

FrameSource::Format FrameSource::outputFormat() const {
  const std::lock_guard lock(formatMutex_);
  return format_;
}

void FrameSource::applyFormat() {
  absl::optional<std::pair<int, int>> aspect;
  absl::optional<int> pixels;
  absl::optional<int> rate;
  if (format_.width > 0 && format_.height > 0) {
    if (needsCropping(format_, inputWidth_, inputHeight_)) aspect = std::make_pair(format_.width, format_.height);
    const auto product = static_cast<std::int64_t>(format_.width) * format_.height;
    pixels = static_cast<int>(std::clamp<std::int64_t>(product, kMinPixels, std::numeric_limits<int>::max()));
  }
  if (format_.fps > 0) rate = format_.fps;
  adapter_.OnOutputFormatRequest(aspect, pixels, rate);
}

void FrameSource::noteInput(int width, int height) {
  const std::lock_guard lock(formatMutex_);
  if (width == inputWidth_ && height == inputHeight_) return;
  inputWidth_ = width;
  inputHeight_ = height;
  applyFormat();
}

void FrameSource::setRefreshHandler(std::function<void()> handler) {
  const std::lock_guard lock(handlerMutex_);
  refreshHandler_ = std::move(handler);
}

// The changes since the last frame passed on, in the coordinates of the pushed frame.
webrtc::VideoFrame::UpdateRect FrameSource::takeUpdateRect(const View& view, std::optional<QRect> changed) {
  const QRect whole(QPoint(0, 0), view.input);
  const bool wholeWanted = wholeWanted_.exchange(false);
  const bool newView = std::exchange(lastView_, view) != view;
  const bool all = wholeWanted || newView || !changed || pendingAll_;
  const QRect rect = all ? whole : (pendingChange_ | *changed) & whole;
  pendingChange_ = {};
  pendingAll_ = false;
  return {rect.x(), rect.y(), rect.width(), rect.height()};
}

bool FrameSource::push(const rtc::scoped_refptr<webrtc::VideoFrameBuffer>& buffer, std::int64_t timestampUs,
                       std::optional<QRect> changed) {
  const int width = buffer->width();
  const int height = buffer->height();
  const auto notWanted = [&] {
    pendingAll_ = pendingAll_ || !changed || lastView_.input != QSize(width, height);
    pendingChange_ |= changed.value_or(QRect());
    return false;
  };
  if (!active_.load()) return notWanted();
  noteInput(width, height);
  if (!broadcaster_.frame_wanted()) return notWanted();

  int croppedWidth = 0;
  int croppedHeight = 0;
  int outWidth = 0;
  int outHeight = 0;
  constexpr std::int64_t kNanosecondsPerMicrosecond = 1000;
  if (!adapter_.AdaptFrameResolution(width, height, timestampUs * kNanosecondsPerMicrosecond, &croppedWidth,
                                     &croppedHeight, &outWidth, &outHeight)) {
    broadcaster_.OnDiscardedFrame();
    return notWanted();
  }
  if (outWidth <= 0 || outHeight <= 0) return notWanted();  // The encoder's limits leave no pixels.
  const bool whole = outWidth == width && outHeight == height && croppedWidth == width && croppedHeight == height;
  const int left = (width - croppedWidth) / 2;
  const int top = (height - croppedHeight) / 2;
  const auto adapted =
      whole ? buffer : buffer->CropAndScale(left, top, croppedWidth, croppedHeight, outWidth, outHeight);
  auto update = takeUpdateRect(
      {QSize(width, height), QRect(left, top, croppedWidth, croppedHeight), QSize(outWidth, outHeight)}, changed);
  if (!whole) {
    update = update.ScaleWithFrame(width, height, left, top, croppedWidth, croppedHeight, outWidth, outHeight);
  }
  broadcaster_.OnFrame(webrtc::VideoFrame::Builder()
                           .set_video_frame_buffer(adapted)
                           .set_timestamp_us(timestampUs)
                           .set_rotation(webrtc::kVideoRotation_0)
                           .set_color_space(desktopColours())
                           .set_update_rect(update)
                           .build());
  return true;
}

bool FrameSource::GetStats(Stats* stats) {
  const std::lock_guard lock(formatMutex_);
  if (inputWidth_ == 0) return false;
  stats->input_width = inputWidth_;
  stats->input_height = inputHeight_;
  return true;
}

void FrameSource::ProcessConstraints(const webrtc::VideoTrackSourceConstraints& constraints) {
  broadcaster_.ProcessConstraints(constraints);
}

void FrameSource::AddOrUpdateSink(rtc::VideoSinkInterface<webrtc::VideoFrame>* sink, const rtc::VideoSinkWants& wants) {
  broadcaster_.AddOrUpdateSink(sink, wants);
  applyWants();
  RequestRefreshFrame();
}

void FrameSource::RemoveSink(rtc::VideoSinkInterface<webrtc::VideoFrame>* sink) {
  broadcaster_.RemoveSink(sink);
  applyWants();
}

// An encoder that falls behind requests fewer pixels. Text at half its size cannot be read, so the size is kept and an
// encoder that is too slow drops frames instead.
void FrameSource::applyWants() {
  rtc::VideoSinkWants wants = broadcaster_.wants();
  wants.max_pixel_count = std::numeric_limits<int>::max();
  wants.target_pixel_count.reset();
  adapter_.OnSinkWants(wants);
}

void FrameSource::RequestRefreshFrame() {
  wholeWanted_.store(true);
  const std::lock_guard lock(handlerMutex_);
  if (refreshHandler_) refreshHandler_();
}

}  // namespace vantora
