// Screens that change, for the benchmarks of encoders. 1920 x 1080, luma only. One thread.
#pragma once

#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>

#include <cstdint>
#include <vector>

namespace vantora::bench {

using Picture = rtc::scoped_refptr<webrtc::I420BufferInterface>;
using Rect = webrtc::VideoFrame::UpdateRect;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kFps = 60;

// Peak signal-to-noise ratio of the luma, in dB.
double psnr(const webrtc::I420BufferInterface& shown, const webrtc::I420BufferInterface& wanted);

class Scene {
 public:
  virtual ~Scene() = default;
  // The next sixtieth of a second; returns what changed.
  virtual Rect step() = 0;
  virtual Picture picture() const = 0;
};

// A dense page, twice as high as the screen, that moves up by `rows` every `period` steps, and a square that flips its
// colour with it now and then.
class TextScene final : public Scene {
 public:
  explicit TextScene(unsigned page, int rows = 3, int period = 1);
  Rect step() override;
  Picture picture() const override;

 private:
  std::vector<uint8_t> luma_;
  const int rows_;
  const int period_;
  int offset_ = 0;
  int steps_ = 0;
};

// A window of text that moves about on a desktop with a gradient and a few lines of text.
class WindowScene final : public Scene {
 public:
  WindowScene();
  Rect step() override;
  Picture picture() const override;

 private:
  std::vector<uint8_t> desktop_;
  std::vector<uint8_t> window_;
  int steps_ = 0;
};

// Smooth shapes with grain.
class PhotoScene final : public Scene {
 public:
  PhotoScene();
  Rect step() override { return {0, 0, 0, 0}; }
  Picture picture() const override;

 private:
  std::vector<uint8_t> luma_;
};

// A page of text, in which a letter appears eight times a second.
class TypingScene final : public Scene {
 public:
  TypingScene();
  Rect step() override;
  Picture picture() const override;

 private:
  std::vector<uint8_t> luma_;
  std::vector<uint8_t> typed_;
  int steps_ = 0;
};

}  // namespace vantora::bench
