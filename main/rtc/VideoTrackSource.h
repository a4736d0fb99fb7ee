// The source of a video track.
#pragma once

namespace webrtc {
class VideoTrackSourceInterface;
}

namespace vantora {

// Implemented by DummyVideoSource and ScreenVideoSource.
class VideoTrackSource {
 public:
  virtual ~VideoTrackSource() = default;
  // The library's source object, reference-counted; never null, the same at every call. It may outlive this object
  // (the library holds references of its own). Main thread.
  virtual webrtc::VideoTrackSourceInterface* native() = 0;
};

}  // namespace vantora
