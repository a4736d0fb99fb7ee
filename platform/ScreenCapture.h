// Capture of one display's picture.
#pragma once

#include <QString>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace vantora {

// What the display shows, as the capture left it in memory. Valid until the next call of look(),
// open() or close().
struct ScreenPicture {
  const std::uint8_t* bgra = nullptr;  // Blue, green, red, unused; rows from the top.
  int stride = 0;                      // Bytes from one row to the next.
  int width = 0;
  int height = 0;
  // Rows [changedTop, changedBottom) hold everything that differs from the picture of the previous
  // look; the whole height after open() and after a change of size.
  int changedTop = 0;
  int changedBottom = 0;
};

// Implemented by the platform; tests/fakes/FakeScreenCapture.h for tests. All methods but wake() and
// abandon() belong to one thread, the capture thread; the object may be made and destroyed elsewhere
// while it is closed.
class ScreenCapture {
 public:
  enum class Outcome { opened, noDisplay, refused };
  struct Opened {
    Outcome outcome = Outcome::refused;
    int displayIndex = 0;  // The display in use, when opened.
    QString error;         // Why not, when refused.
  };
  enum class Look {
    changed,    // `picture` is set and differs from the last one.
    unchanged,  // Nothing changed; the display was not read.
    notReady,   // No picture at this moment; ask again later.
    lost,       // The display or its server is gone; open() anew.
  };
  enum class WakeOn { call, changeOrCall };
  enum class Woken { timeout, call, change };

  virtual ~ScreenCapture() = default;
  // Opens the display with the number `displayIndex` (not negative), or the last one when there are
  // fewer. Closes what was open before.
  virtual Opened open(int displayIndex) = 0;
  // Reads the display when it changed since the last look. The cursor is not in the picture.
  virtual Look look(ScreenPicture& picture) = 0;
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
