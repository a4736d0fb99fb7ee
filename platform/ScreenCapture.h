// Capture of one display's picture.
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

// Order of a pixel's four bytes in memory.
enum class PixelFormat { bgrx, rgbx };

// Pixels that the processor can read: rows from the top, `stride` bytes from one to the next.
struct CpuPixels {
  const std::uint8_t* data = nullptr;
  int stride = 0;
};
// Pixels in a buffer of the graphics driver, to be mapped or imported by who takes it.
struct DmaBufPixels {
  // The modifier of pixels that lie in rows.
  static constexpr std::uint64_t kLinear = 0;
  int descriptor = -1;
  std::uint32_t offset = 0;
  std::uint32_t stride = 0;
  std::uint64_t modifier = kLinear;
};

// The pointer in the picture's coordinates, where the capture knows it.
struct FrameCursor {
  QPoint position;
  bool visible = true;
  bool operator==(const FrameCursor&) const = default;
};

// What the display shows. The pixels belong to the capture: they are valid until the frame is destroyed, at the latest
// until the next call of poll(), open() or close(). Moved, never copied.
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
    rotationDegrees = other.rotationDegrees;
    timestamp = other.timestamp;
    damage = std::move(other.damage);
    cursor = other.cursor;
    release_ = std::exchange(other.release_, nullptr);
    return *this;
  }

  std::variant<CpuPixels, DmaBufPixels> memory;
  PixelFormat format = PixelFormat::bgrx;
  QSize size;
  // Clockwise turn that shows the picture upright: 0, 90, 180 or 270.
  int rotationDegrees = 0;
  // When the display showed it, on the monotonic clock; 0: unknown.
  std::chrono::nanoseconds timestamp{0};
  // Within these rectangles lies everything that differs from the frame of the previous poll; the whole picture after
  // open() and after a change of size.
  std::vector<QRect> damage;
  std::optional<FrameCursor> cursor;

 private:
  std::function<void()> release_;
};

// Implemented by the platform; tests/fakes/FakeScreenCapture.h for tests. All methods but wake() and
// abandon() belong to one thread, the capture thread; the object may be made and destroyed elsewhere
// while it is closed.
class ScreenCapture {
 public:
  enum class Outcome {
    opened,
    awaitingConsent,  // A person has been asked: wait() ends with "change" once there is an answer; then open() again.
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
    notReady,   // No picture at this moment; poll again later.
    lost,       // The display or its server is gone; open() anew.
  };
  enum class WakeOn { call, changeOrCall };
  enum class Woken { timeout, call, change };

  virtual ~ScreenCapture() = default;
  // Opens the display with the number `displayIndex` (not negative), or the last one when there are
  // fewer. Closes what was open before. Waits for no person.
  virtual Opened open(int displayIndex) = 0;
  // Reads the display when it changed since the last poll. The cursor is not in the picture.
  virtual Poll poll(CapturedFrame& frame) = 0;
  // Sleeps until wake() is called, `timeout` has passed or, when asked for and the display is open,
  // until the display changed or is lost. A wake() or a change that came before counts too.
  virtual Woken wait(std::chrono::nanoseconds timeout, WakeOn wakeOn) = 0;
  // Ends the current or the next wait(). Any thread; never blocks.
  virtual void wake() = 0;
  // Makes a call that waits for the display's server fail soon, and every later one at once, for good: a
  // server may be stopped or serve another program alone. Any thread; never blocks.
  virtual void abandon() = 0;
  // Gives the display up. Nothing happens when none is open.
  virtual void close() = 0;
};

// Makes a closed capture. Main thread.
using ScreenCaptureFactory = std::function<std::unique_ptr<ScreenCapture>()>;

}  // namespace vantora
