// A screen stream as a compositor sends it, and as no compositor should.
#pragma once

#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>

#include <QPoint>
#include <QRect>
#include <QSize>
#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "tests/wayland/pipewire/PipeWireClient.h"

namespace vantora::testpipewire {

struct TestCursor {
  std::uint32_t id = 1;
  QPoint position = {};
  QPoint hotSpot = {};
  QSize size = {};                         // Of the image, if there is one.
  std::vector<std::uint32_t> pixels = {};  // 0xAARRGGBB; sent as RGBA.
};

// The values of one buffer.
struct TestFrame {
  std::int32_t flags = 0;
  std::optional<std::uint32_t> size = {};  // Of the chunk.
  std::optional<std::int32_t> stride = {};
  std::optional<std::uint32_t> offset = {};
  std::int64_t pts = 0;
  std::uint64_t lost = 0;  // Buffers before this one that were counted and not sent.
  std::vector<QRect> damage = {};
  std::optional<QRect> crop = {};
  std::optional<TestCursor> cursor = {};
  std::uint32_t transform = 0;
};

// A node of its own that allocates its buffers. Colours are 0xRRGGBB.
class TestStream {
 public:
  struct Options {
    QSize size{320, 200};
    std::uint32_t format = SPA_VIDEO_FORMAT_BGRx;
    std::uint32_t padding = 0;  // Bytes after each row.
    std::uint32_t start = 0;    // Bytes before the first row.
    std::uint32_t missing = 0;  // Bytes that the memory is shorter than the buffer says.
    bool damage = false;        // Whether there is damage metadata.
  };
  TestStream(const PipeWireServer& server, const Options& options);
  ~TestStream();
  TestStream(const TestStream&) = delete;
  TestStream& operator=(const TestStream&) = delete;

  std::uint32_t node() const;
  bool isStreaming() const { return streaming_.load(); }
  // How often it has begun to stream.
  int starts() const { return starts_.load(); }
  void paint(std::uint32_t colour, const QRect& area);
  void paint(std::uint32_t colour) { paint(colour, QRect(QPoint(0, 0), options_.size)); }
  // Sends the picture as soon as it is wanted and there is a buffer. False when there is none in time.
  bool send(const TestFrame& frame = {});
  // The same without waiting.
  bool trySend(const TestFrame& frame = {});
  // Another format, from now on; black.
  void resize(QSize size);

 private:
  struct Memory {
    int descriptor = -1;
    std::uint8_t* data = nullptr;
    std::size_t length = 0;
  };
  static const pw_stream_events kEvents;
  void fill(const spa_buffer& buffer, const TestFrame& frame);
  void fillCursor(const spa_buffer& buffer, const TestCursor& cursor) const;
  void fillPixels(std::uint8_t* start) const;
  void formatChosen();
  void stateChanged(pw_stream_state state);
  void addBuffer(pw_buffer* buffer);
  void removeBuffer(pw_buffer* buffer);
  std::size_t stride() const { return static_cast<std::size_t>(options_.size.width()) * 4 + options_.padding; }
  std::size_t bufferSize() const {
    return options_.start + stride() * static_cast<std::size_t>(options_.size.height());
  }

  PipeWireClient client_;
  Options options_;
  std::vector<std::uint32_t> picture_;
  std::map<pw_buffer*, Memory> memory_;
  std::uint64_t sequence_ = 0;
  std::atomic<bool> streaming_{false};
  std::atomic<int> starts_{0};
  pw_stream* stream_ = nullptr;
  spa_hook hook_{};
};

}  // namespace vantora::testpipewire
