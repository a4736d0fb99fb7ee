// The cursor that comes with the buffers of a stream.
#pragma once

#include <spa/buffer/buffer.h>

#include <optional>

#include "platform/portal/StreamAccess.h"

namespace vantora {

// Not thread-safe.
class CursorReader {
 public:
  // The largest image that is reported; larger ones are reduced to it.
  static constexpr int kMaxLength = 256;

  explicit CursorReader(std::uint32_t node) { last_.node = node; }
  // The cursor with this buffer, if it differs from the last one.
  std::optional<StreamCursor> read(const spa_buffer& buffer);
  // The last one.
  bool known() const { return known_; }
  bool visible() const { return last_.visible; }
  QPoint position() const { return last_.position; }

 private:
  StreamCursor last_;  // Its bitmap stays until another one comes.
  bool known_ = false;
};

}  // namespace vantora
