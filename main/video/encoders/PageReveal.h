// Shows a new page in bands when the link cannot carry all of it at once. Heavy header (WebRTC library): include it in
// .cpp files only.
#pragma once

#include <api/scoped_refptr.h>
#include <api/video/i420_buffer.h>

#include <cstddef>
#include <vector>

namespace vantora {

// A page that is encoded coarsely at first and finer later takes nearly twice the bits. So the encoder gets it in its
// final quality, but only some bands of block rows at first, from the top; the rest is reduced to the mean of each
// block of 16 by 16, which costs little and shows where what is. One thread at a time.
class PageReveal {
 public:
  // All rows of a page of this height, at least 1, are hidden from now on.
  void start(int height);
  // Nothing is hidden any more.
  void end() { hidden_.clear(); }
  bool isActive() const { return !hidden_.empty(); }
  // Rows of blocks that are hidden, and all of them.
  int hidden() const;
  int rows() const { return static_cast<int>(hidden_.size()); }

  // Shows the next `rows` rows of blocks; ends with the last one.
  void show(int rows);
  // Shows those of the rows that `touched` names (one value for each); returns how many of them were hidden.
  int showTouched(const std::vector<bool>& touched);

  // A copy of `page` as the encoder is to get it.
  rtc::scoped_refptr<webrtc::I420BufferInterface> source(const webrtc::I420BufferInterface& page) const;

 private:
  void endIfShown();

  std::vector<bool> hidden_;
};

}  // namespace vantora
