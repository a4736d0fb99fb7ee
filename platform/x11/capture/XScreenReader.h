// The pixels of one monitor of an X server, over an Xlib connection. Xlib's own headers are hidden: their macros break
// Qt and the WebRTC library.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

struct _XDisplay;

namespace vantora::x11 {

// A rectangle in pixels.
struct Area {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  bool operator==(const Area&) const = default;
  bool isEmpty() const { return width <= 0 || height <= 0; }
};

// Reads what changed on a monitor into memory that it shares with the server (MIT-SHM; without that, into its own). The
// server reports changes (XDamage). One thread; calls wait for the server without limit, and fail once its connection
// is lost. Owner: the capture, which also owns the connection and closes it later.
class XScreenReader {
 public:
  // Null when the screen's pixels name no colours, but entries of a palette. Pixels other than 24 bits in 32 (BGRX) are
  // converted, into a second buffer.
  static std::unique_ptr<XScreenReader> create(_XDisplay* connection);
  virtual ~XScreenReader() = default;

  // In RandR's order.
  virtual int monitorCount() = 0;
  // From now on this monitor is read, under its name, also when it moves or changes its size; all of it has changed.
  virtual void select(int monitor) = 0;

  struct Changes {
    // The pixels cannot be read at this moment, or the monitor is gone. The next call reads all of it.
    bool failed = false;
    // Rectangles that were read, relative to the monitor and ordered from the top; they may overlap. None: nothing
    // changed. All of the monitor after select() and after a change of its size.
    std::vector<Area> areas;
  };
  // Takes the changes that the server has reported by now, and reads them.
  virtual Changes read() = 0;

  // Of the monitor; empty when it is gone.
  virtual Area area() const = 0;
  // Pixels of the last read() in BGRX (X: any), rows from the top. Valid inside of what it returned, until the next
  // call.
  virtual const std::uint8_t* pixels() const = 0;
  virtual int stride() const = 0;
  // Gives back the memory of the pixels, until the next read().
  virtual void release() = 0;

 protected:
  XScreenReader() = default;
};

}  // namespace vantora::x11
