// Capture of the contents of one display.
#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

namespace vantora {

// Order of a pixel's four bytes in memory. X servers and compositors deliver the screen in packed formats; planar ones
// are those of cameras.
enum class PixelFormat { bgrx, rgbx };

// Pixels in CPU memory, one plane: rows from the top, `stride` bytes apart.
struct CpuPixels {
  const std::uint8_t* data = nullptr;
  int stride = 0;
};
// Pixels in a buffer of the graphics driver (DMA-BUF), to be mapped or imported by the receiver.
struct DmaBufPixels {
  // The format modifier of linear (row by row) pixels.
  static constexpr std::uint64_t kLinear = 0;
  int descriptor = -1;
  std::uint32_t offset = 0;
  std::uint32_t stride = 0;
  std::uint64_t modifier = kLinear;
};

// The pointer in frame coordinates, where the capture knows it.
struct FrameCursor {
  QPoint position;
  bool visible = true;
  bool operator==(const FrameCursor&) const = default;
};

// One captured frame. The pixels belong to the capture: they are valid until the frame is destroyed, at the latest
// until the next call of poll(), open() or close(). Movable, not copyable.
class CapturedFrame {
 public:
  CapturedFrame() = default;
  explicit CapturedFrame(std::function<void()> release) : release_(std::move(release)) {}
  ~CapturedFrame() {
    if (release_) release_();
  }
  CapturedFrame(CapturedFrame&& other) noexcept { *this = std::move(other); }
  CapturedFrame& operator=(CapturedFrame&& other) noexcept {
    if (this == &other) return *this;
    if (release_) release_();
    memory = other.memory;
    format = other.format;
    size = other.size;
    mirrored = other.mirrored;
    rotationDegrees = other.rotationDegrees;
    timestamp = other.timestamp;
    damage = std::move(other.damage);
    complete = other.complete;
    cursor = other.cursor;
    release_ = std::exchange(other.release_, nullptr);
    return *this;
  }

  std::variant<CpuPixels, DmaBufPixels> memory;
  PixelFormat format = PixelFormat::bgrx;
  QSize size;
  // Shows the frame upright: exchanges left and right if `mirrored`, then rotates clockwise by 0, 90, 180 or 270
  // degrees.
  bool mirrored = false;
  int rotationDegrees = 0;
  // Time of display on the monotonic clock; 0: unknown.
  std::chrono::nanoseconds timestamp{0};
  // Rectangles that contain every difference from the frame of the previous poll; the whole frame after open() and
  // after a change of size.
  std::vector<QRect> damage;
  // Whether the pixels outside the damage show the display as well, or are undefined.
  bool complete = true;
  std::optional<FrameCursor> cursor;

 private:
  std::function<void()> release_;
};

// Implemented by the platform; tests/fakes/FakeScreenCapture.h for tests. All methods except wake() and abandon() are
// called on one thread, the capture thread; the object may be made and destroyed elsewhere while it is closed.
class ScreenCapture {
 public:
  enum class Outcome {
    opened,
    awaitingConsent,  // The local user has been asked: wait() ends with "change" after the decision; then open() again.
    noDisplay,
    refused,
  };
  struct Opened {
    Outcome outcome = Outcome::refused;
    int displayIndex = 0;  // The display in use, when opened.
    QString error;         // Why not, when refused.
  };
  enum class Poll {
    changed,    // The frame is set and differs from the last one.
    unchanged,  // Nothing changed; the display was not read.
    notReady,   // No frame at this moment; poll again later.
    lost,       // The display or its server is gone; open() again.
  };
  enum class WakeOn { call, changeOrCall };
  enum class Woken { timeout, call, change };

  virtual ~ScreenCapture() = default;
  // Opens the display with the number `displayIndex` (not negative), or the last one when there are fewer, in place of
  // the one that was open before; the next poll reads all of it. Never waits for the user, and asks for nothing that
  // the user has granted to this object or is being asked for.
  virtual Opened open(int displayIndex) = 0;
  // Reads the display when it changed since the last poll. The frame does not contain the cursor.
  virtual Poll poll(CapturedFrame& frame) = 0;
  // Sleeps until wake() is called, `timeout` has passed or, when asked for and the display is open, until the display
  // changed or is lost. A wake() or a change before the call counts too.
  virtual Woken wait(std::chrono::nanoseconds timeout, WakeOn wakeOn) = 0;
  // Ends the current or the next wait(). Any thread; never blocks.
  virtual void wake() = 0;
  // Makes a call that waits for the display server fail soon, and every later call at once, permanently: the server may
  // be stopped or grabbed by another program. Any thread; never blocks.
  virtual void abandon() = 0;
  // Closes the display. No effect when no display is open.
  virtual void close() = 0;
};

// Makes a closed capture. Main thread.
using ScreenCaptureFactory = std::function<std::unique_ptr<ScreenCapture>()>;

}  // namespace vantora
