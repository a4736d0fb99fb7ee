// What is negotiated about a screen's stream: its format, its buffers and the data beside the pixels.
#pragma once

#include <spa/pod/pod.h>

#include <QSize>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/ScreenCapture.h"

namespace vantora {

// Largest width and height of a stream.
constexpr int kMaxStreamLength = 16384;

struct StreamFormat {
  QSize size;
  PixelFormat pixels = PixelFormat::bgrx;
  bool operator==(const StreamFormat&) const = default;
};

// A list of parameters in the memory of this object.
class StreamParams {
 public:
  StreamParams(const StreamParams&) = delete;
  StreamParams& operator=(const StreamParams&) = delete;

  // What this program can show: four formats in CPU memory, of any size and rate.
  static StreamParams formats() { return StreamParams(Kind::formats); }
  // How the buffers of a format are to be, and the metadata that is read.
  static StreamParams buffers() { return StreamParams(Kind::buffers); }

  const spa_pod** data() { return pods_.data(); }
  std::uint32_t count() const { return static_cast<std::uint32_t>(pods_.size()); }

 private:
  enum class Kind { formats, buffers };
  explicit StreamParams(Kind kind);
  void addFormats();
  void addBuffers();

  alignas(8) std::array<std::uint8_t, 4096> memory_;
  std::vector<const spa_pod*> pods_;
};

// nullopt for a format that was not offered.
std::optional<StreamFormat> parseFormat(const spa_pod* param);

}  // namespace vantora
