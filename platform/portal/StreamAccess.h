// The screens that the desktop's user lets this program see, from the view of a capture.
#pragma once

#include <QPoint>
#include <QSize>
#include <QString>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "base/process/FileDescriptor.h"
#include "platform/SystemCursor.h"

namespace vantora {

// One screen, as a PipeWire stream.
struct PortalStream {
  std::uint32_t node = 0;  // The id of its PipeWire node: the target to connect to.
  // The place of the screen in the desktop, in its layout units; empty where the desktop names none.
  std::optional<QPoint> position = std::nullopt;
  std::optional<QSize> size = std::nullopt;
  // The name that newer portals give it, also for input.
  QString mapping = {};
  bool operator==(const PortalStream&) const = default;
};

// What the pointer looks like and where it is, as a stream reports it.
struct StreamCursor {
  std::uint32_t node = 0;
  bool visible = false;  // False: the pointer is on another screen or hidden.
  QPoint position = {};  // The hot spot, in pixels of the stream.
  // Only with the first report and after a change of the image; an empty size: an invisible image.
  std::optional<CursorBitmap> bitmap = std::nullopt;
};

// Permission of one capture to open streams, and reports from it. All functions may be called on any thread, never
// block and may outlive the desktop session, whose end is a refusal.
class StreamAccess {
 public:
  enum class Outcome {
    granted,
    pending,  // The user is being asked, or the desktop prepares the streams.
    refused,  // Permanent for this object.
  };
  struct Reply {
    Outcome outcome = Outcome::refused;
    QString error = {};  // Why, when refused.
    // When granted: at least one stream, in the order of their display indexes, and the socket of a PipeWire connection
    // that may open them. Each granted reply has a socket of its own.
    std::vector<PortalStream> streams = {};
    FileDescriptor remote = FileDescriptor();
  };
  virtual ~StreamAccess() = default;

  // Asks for the streams; the desktop may ask its user. After a pending reply `decided` is called once, on any thread:
  // then request again. A new request replaces the earlier one and its `decided`.
  virtual Reply request(std::function<void()> decided) = 0;
  // Ends a pending request.
  virtual void cancel() = 0;
  // Moves the pointer by a pixel and back, if input is permitted: a compositor may send the first frame of a still
  // screen only with the next change.
  virtual void nudge(std::uint32_t node) = 0;
  // The pixels that a stream delivers for its whole screen; called with its first format and each other one.
  virtual void reportFrameSize(std::uint32_t node, QSize pixels) = 0;
  virtual void reportCursor(const StreamCursor& cursor) = 0;
};

}  // namespace vantora
