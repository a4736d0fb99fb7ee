#include "main/video/sources/ScreenVideoSource.h"

#include <algorithm>
#include <utility>

#include "main/video/sources/CaptureLoop.h"
#include "main/video/sources/FrameSize.h"
#include "main/video/sources/FrameSource.h"
#include "rtc_base/ref_counted_object.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {

struct ScreenVideoSource::Native {
  Native(std::unique_ptr<ScreenCapture> capture, CaptureLoop::Events events)
      : source(rtc::make_ref_counted<FrameSource>()), loop(std::move(capture), source, std::move(events)) {
    source->setRefreshHandler([this] { loop.requestByEncoder(); });
  }
  // The library may keep the source for longer, so it must not call the loop any more.
  ~Native() { source->setRefreshHandler(nullptr); }

  const rtc::scoped_refptr<FrameSource> source;
  CaptureLoop loop;
};

ScreenVideoSource::ScreenVideoSource(const ScreenCaptureFactory& makeCapture, int width, int height, int fps,
                                     int displayIndex, ScreenEvents events)
    : width_(width), height_(height), fps_(clampedFps(fps)), displayIndex_(std::max(displayIndex, 0)) {
  CaptureLoop::Events loopEvents{.refused = life_.onMain([refused = std::move(events.refused)] {
                                   if (refused) refused(u"screen_recording"_s);
                                 }),
                                 .resized = life_.onMain([resized = std::move(events.resized)] {
                                   if (resized) resized();
                                 })};
  native_ = std::make_unique<Native>(makeCapture(), std::move(loopEvents));
  const QSize size = frameSizeFor(width_, height_);
  native_->source->adaptOutputFormat(size.width(), size.height(), fps_);
}

ScreenVideoSource::~ScreenVideoSource() { thread_.check("ScreenVideoSource::~ScreenVideoSource"); }

webrtc::VideoTrackSourceInterface* ScreenVideoSource::native() { return native_->source.get(); }

void ScreenVideoSource::start(Done done) {
  thread_.check("ScreenVideoSource::start");
  native_->loop.start({width_, height_, fps_, displayIndex_}, life_.onMain([done = std::move(done)] {
    if (done) done();
  }));
}

void ScreenVideoSource::reconfigure(int width, int height, int fps, Done done) {
  thread_.check("ScreenVideoSource::reconfigure");
  width_ = width;
  height_ = height;
  fps_ = clampedFps(fps);
  start(std::move(done));
}

void ScreenVideoSource::setDisplayIndex(int displayIndex, Done done) {
  displayIndex_ = std::max(displayIndex, 0);
  start(std::move(done));
}

void ScreenVideoSource::stop() {
  thread_.check("ScreenVideoSource::stop");
  native_->loop.stop();
}

void ScreenVideoSource::setActive(bool active) {
  thread_.check("ScreenVideoSource::setActive");
  native_->source->setActive(active);
  native_->loop.setActive(active);
}

void ScreenVideoSource::refresh() {
  thread_.check("ScreenVideoSource::refresh");
  native_->loop.refresh();
}

qint64 ScreenVideoSource::lastCaptureWallNs() const { return native_->loop.lastCaptureWallNs(); }

}  // namespace vantora
