#include "main/video/sources/FrameConverter.h"

#include <linux/dma-buf.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <utility>
#include <vector>

#include "third_party/libyuv/include/libyuv/convert.h"
#include "third_party/libyuv/include/libyuv/planar_functions.h"
#include "third_party/libyuv/include/libyuv/rotate.h"
#include "third_party/libyuv/include/libyuv/scale.h"

namespace vantora {
namespace {

// Maps a buffer of the graphics driver into memory for the lifetime of this object. Buffers with another than the
// linear layout cannot be read.
class MappedPixels {
 public:
  MappedPixels(const DmaBufPixels& pixels, int height)
      : length_(pixels.offset + static_cast<std::size_t>(pixels.stride) * static_cast<std::size_t>(height)),
        descriptor_(pixels.descriptor) {
    if (pixels.modifier != DmaBufPixels::kLinear) return;
    void* const memory = ::mmap(nullptr, length_, PROT_READ, MAP_SHARED, descriptor_, 0);
    if (memory == MAP_FAILED) return;
    memory_ = memory;
    synchronise(DMA_BUF_SYNC_START);
    readable_ = {static_cast<const std::uint8_t*>(memory) + pixels.offset, static_cast<int>(pixels.stride)};
  }
  ~MappedPixels() {
    if (!memory_) return;
    synchronise(DMA_BUF_SYNC_END);
    ::munmap(memory_, length_);
  }
  MappedPixels(const MappedPixels&) = delete;
  MappedPixels& operator=(const MappedPixels&) = delete;

  const std::optional<CpuPixels>& readable() const { return readable_; }

 private:
  // Fails on shared memory of another kind, which needs no synchronisation.
  void synchronise(std::uint64_t when) const {
    const dma_buf_sync order{.flags = DMA_BUF_SYNC_READ | when};
    (void)::ioctl(descriptor_, DMA_BUF_IOCTL_SYNC, &order);
  }

  const std::size_t length_;
  const int descriptor_;
  void* memory_ = nullptr;
  std::optional<CpuPixels> readable_;
};

bool hasSizeOf(const rtc::scoped_refptr<webrtc::I420Buffer>& buffer, const QSize& size) {
  return buffer && buffer->width() == size.width() && buffer->height() == size.height();
}

// `rect` clipped to `size` and widened to whole chroma samples, which are 2 by 2 pixels.
QRect widened(const QRect& rect, const QSize& size) {
  const QRect inside = rect & QRect(QPoint(0, 0), size);
  if (inside.isEmpty()) return {};
  const int left = inside.left() & ~1;
  const int top = inside.top() & ~1;
  return {QPoint(left, top),
          QPoint(std::min(inside.right() | 1, size.width() - 1), std::min(inside.bottom() | 1, size.height() - 1))};
}

// Converts the pixels in `rect`, whose left and top are even.
void convertRect(const CpuPixels& pixels, PixelFormat format, const QRect& rect, webrtc::I420Buffer& frame) {
  const auto convert = format == PixelFormat::bgrx ? libyuv::ARGBToI420 : libyuv::ABGRToI420;
  const auto x = static_cast<std::ptrdiff_t>(rect.left());
  const auto y = static_cast<std::ptrdiff_t>(rect.top());
  convert(pixels.data + y * pixels.stride + x * 4, pixels.stride, frame.MutableDataY() + y * frame.StrideY() + x,
          frame.StrideY(), frame.MutableDataU() + y / 2 * frame.StrideU() + x / 2, frame.StrideU(),
          frame.MutableDataV() + y / 2 * frame.StrideV() + x / 2, frame.StrideV(), rect.width(), rect.height());
}

void copyRows(const webrtc::I420Buffer& from, webrtc::I420Buffer& to, int top, int bottom) {
  if (bottom <= top) return;
  const auto offset = static_cast<std::ptrdiff_t>(top);
  libyuv::I420Copy(from.DataY() + offset * from.StrideY(), from.StrideY(), from.DataU() + offset / 2 * from.StrideU(),
                   from.StrideU(), from.DataV() + offset / 2 * from.StrideV(), from.StrideV(),
                   to.MutableDataY() + offset * to.StrideY(), to.StrideY(),
                   to.MutableDataU() + offset / 2 * to.StrideU(), to.StrideU(),
                   to.MutableDataV() + offset / 2 * to.StrideV(), to.StrideV(), from.width(), bottom - top);
}

qint64 areaOf(const QRect& rect) { return qint64{rect.width()} * rect.height(); }

// The rectangles to convert, in whole chroma samples. Many that fill half of their bounding rectangle, as scrolling
// text makes them, are converted as one: that is one pass over it instead of many short ones after a copy of the last
// image.
std::vector<QRect> damagedParts(const CapturedFrame& captured) {
  std::vector<QRect> parts;
  QRect around;
  qint64 area = 0;
  for (const QRect& damaged : captured.damage) {
    const QRect rect = widened(damaged, captured.size);
    if (rect.isEmpty()) continue;
    parts.push_back(rect);
    around |= rect;
    area += areaOf(rect);
  }
  if (captured.complete && parts.size() > 1 && 2 * area >= areaOf(around)) parts = {around};
  return parts;
}

// Updates `to` to the captured image; the undamaged part comes from `last`, which may be `to` itself. Returns the
// bounding rectangle of the damage.
QRect update(const CapturedFrame& captured, const CpuPixels& pixels, const rtc::scoped_refptr<webrtc::I420Buffer>& last,
             webrtc::I420Buffer& to) {
  const bool keeps = hasSizeOf(last, captured.size);
  const std::vector<QRect> parts =
      keeps ? damagedParts(captured) : std::vector<QRect>{QRect(QPoint(0, 0), captured.size)};
  const QRect around = std::accumulate(parts.begin(), parts.end(), QRect(), std::bit_or<>());
  if (keeps && last.get() != &to) {
    // Rows that are converted in full width need not be copied.
    const bool skip = parts.size() == 1 && around.width() == captured.size.width();
    copyRows(*last, to, 0, skip ? around.top() : captured.size.height());
    if (skip) copyRows(*last, to, around.bottom() + 1, captured.size.height());
  }
  for (const QRect& part : parts) convertRect(pixels, captured.format, part, to);
  return around;
}

// `rect` of an image of size `from`, scaled to an image of size `to` and widened by the reach of the filter.
QRect scaledRect(const QRect& rect, const QSize& from, const QSize& to) {
  if (rect.isEmpty()) return {};
  constexpr int kFilterReach = 2;
  const auto along = [](int position, int length, int newLength, bool up) {
    const auto product = static_cast<std::int64_t>(position) * newLength;
    return static_cast<int>((product + (up ? length - 1 : 0)) / length);
  };
  const QPoint topLeft(along(rect.left(), from.width(), to.width(), false),
                       along(rect.top(), from.height(), to.height(), false));
  const QPoint bottomRight(along(rect.right() + 1, from.width(), to.width(), true),
                           along(rect.bottom() + 1, from.height(), to.height(), true));
  return QRect(topLeft - QPoint(kFilterReach, kFilterReach), bottomRight + QPoint(kFilterReach - 1, kFilterReach - 1)) &
         QRect(QPoint(0, 0), to);
}

rtc::scoped_refptr<webrtc::I420Buffer> mirrored(const webrtc::I420Buffer& from) {
  auto to = webrtc::I420Buffer::Create(from.width(), from.height());
  libyuv::I420Mirror(from.DataY(), from.StrideY(), from.DataU(), from.StrideU(), from.DataV(), from.StrideV(),
                     to->MutableDataY(), to->StrideY(), to->MutableDataU(), to->StrideU(), to->MutableDataV(),
                     to->StrideV(), from.width(), from.height());
  return to;
}

libyuv::RotationMode rotationOf(int degrees) {
  switch (degrees) {
    case 90:
      return libyuv::kRotate90;
    case 180:
      return libyuv::kRotate180;
    case 270:
      return libyuv::kRotate270;
    default:
      return libyuv::kRotate0;
  }
}

}  // namespace

rtc::scoped_refptr<webrtc::I420Buffer> FrameConverter::newFrame() {
  return pool_.CreateI420Buffer(frameSize_.width(), frameSize_.height());
}

std::optional<QRect> FrameConverter::convert(const CapturedFrame& captured,
                                             const rtc::scoped_refptr<webrtc::I420Buffer>& frame) {
  if (const auto* const pixels = std::get_if<CpuPixels>(&captured.memory)) return convert(captured, *pixels, frame);
  const MappedPixels mapped(std::get<DmaBufPixels>(captured.memory), captured.size.height());
  if (!mapped.readable()) {
    lastFrame_ = unscaled_ = nullptr;
    return std::nullopt;
  }
  return convert(captured, *mapped.readable(), frame);
}

QRect FrameConverter::convert(const CapturedFrame& captured, const CpuPixels& pixels,
                              const rtc::scoped_refptr<webrtc::I420Buffer>& frame) {
  const QRect wholeFrame(0, 0, frame->width(), frame->height());
  const libyuv::RotationMode rotation = rotationOf(captured.rotationDegrees);
  if (rotation != libyuv::kRotate0 || captured.mirrored) {
    const bool sideways = rotation == libyuv::kRotate90 || rotation == libyuv::kRotate270;
    const QSize upright = sideways ? captured.size.transposed() : captured.size;
    const auto turned = webrtc::I420Buffer::Create(upright.width(), upright.height());
    auto asCaptured = webrtc::I420Buffer::Create(captured.size.width(), captured.size.height());
    convertRect(pixels, captured.format, QRect(QPoint(0, 0), captured.size), *asCaptured);
    if (captured.mirrored) asCaptured = mirrored(*asCaptured);
    libyuv::I420Rotate(asCaptured->DataY(), asCaptured->StrideY(), asCaptured->DataU(), asCaptured->StrideU(),
                       asCaptured->DataV(), asCaptured->StrideV(), turned->MutableDataY(), turned->StrideY(),
                       turned->MutableDataU(), turned->StrideU(), turned->MutableDataV(), turned->StrideV(),
                       asCaptured->width(), asCaptured->height(), rotation);
    lastFrame_ = nullptr;
    unscaled_ = nullptr;
    scale(*turned, *frame);
    return wholeFrame;
  }
  if (hasSizeOf(frame, captured.size)) {
    const QRect changed = update(captured, pixels, lastFrame_, *frame);
    lastFrame_ = frame;
    unscaled_ = nullptr;
    return changed;
  }
  lastFrame_ = nullptr;
  const auto last = unscaled_;
  if (!hasSizeOf(unscaled_, captured.size)) {
    unscaled_ = webrtc::I420Buffer::Create(captured.size.width(), captured.size.height());
  }
  const QRect changed = update(captured, pixels, last, *unscaled_);
  scale(*unscaled_, *frame);
  const bool sameSize = std::exchange(lastScaledTo_, wholeFrame.size()) == wholeFrame.size() && last == unscaled_;
  return sameSize ? scaledRect(changed, captured.size, wholeFrame.size()) : wholeFrame;
}

void FrameConverter::scale(const webrtc::I420Buffer& from, webrtc::I420Buffer& to) {
  libyuv::I420Scale(from.DataY(), from.StrideY(), from.DataU(), from.StrideU(), from.DataV(), from.StrideV(),
                    from.width(), from.height(), to.MutableDataY(), to.StrideY(), to.MutableDataU(), to.StrideU(),
                    to.MutableDataV(), to.StrideV(), to.width(), to.height(), libyuv::kFilterBox);
}

}  // namespace vantora
