// Video sources that make no frames and record their calls.
#pragma once

#include <memory>
#include <vector>

#include "main/video/sharing/VideoSources.h"
#include "tests/fakes/FakeVideoSender.h"
#include "tests/fakes/Journal.h"

namespace vantora::fakes {

// Stays readable after the source is destroyed.
struct FakeSource {
  QString name;
  int width = 0;
  int height = 0;
  int fps = 0;
  int displayIndex = 0;
  bool started = false;
  bool stopped = false;
  bool active = false;
  bool onTrack = true;
  bool destroyed = false;
  int refreshes = 0;
  qint64 lastCaptureWallNs = 0;
  ScreenEvents events;
  ScreenVideo::Done startDone;

  // A test pattern that is painted.
  bool paints() const { return started && !stopped && active && onTrack; }
  // The asynchronous start has returned.
  void finishStart() {
    const auto done = std::exchange(startDone, nullptr);
    if (!destroyed && done) done();
  }
};

class FakeSyntheticVideo final : public SyntheticVideo, public NamedVideoSource {
 public:
  FakeSyntheticVideo(std::shared_ptr<FakeSource> source, Journal* journal)
      : NamedVideoSource(source->name), source_(std::move(source)), journal_(journal) {}
  ~FakeSyntheticVideo() override { source_->destroyed = true; }
  webrtc::VideoTrackSourceInterface* native() override { return nullptr; }
  void start() override {
    source_->started = true;
    journal_->note(name + QStringLiteral(": start"));
  }
  void stop() override {
    source_->stopped = true;
    journal_->note(name + QStringLiteral(": stop"));
  }
  void setActive(bool active) override { source_->active = active; }
  void setOnTrack(bool onTrack) override { source_->onTrack = onTrack; }

 private:
  std::shared_ptr<FakeSource> source_;
  Journal* journal_;
};

class FakeScreenVideo final : public ScreenVideo, public NamedVideoSource {
 public:
  FakeScreenVideo(std::shared_ptr<FakeSource> source, Journal* journal)
      : NamedVideoSource(source->name), source_(std::move(source)), journal_(journal) {}
  ~FakeScreenVideo() override { source_->destroyed = true; }
  webrtc::VideoTrackSourceInterface* native() override { return nullptr; }
  void start(Done done) override {
    source_->started = true;
    source_->startDone = std::move(done);
    journal_->note(name + QStringLiteral(": start"));
  }
  void reconfigure(int width, int height, int fps, Done done) override {
    journal_->note(name + QStringLiteral(": reconfigure %1x%2@%3").arg(width).arg(height).arg(fps));
    done();
  }
  void setDisplayIndex(int index, Done done) override {
    journal_->note(name + QStringLiteral(": display %1").arg(index));
    done();
  }
  void stop() override {
    source_->stopped = true;
    journal_->note(name + QStringLiteral(": stop"));
  }
  void setActive(bool active) override { source_->active = active; }
  void refresh() override { ++source_->refreshes; }
  qint64 lastCaptureWallNs() const override { return source_->lastCaptureWallNs; }

 private:
  std::shared_ptr<FakeSource> source_;
  Journal* journal_;
};

// Records every source that was made, oldest first: "synthetic 1", "screen 1", ...
class FakeVideoSources {
 public:
  explicit FakeVideoSources(Journal& journal) : journal_(journal) {}

  VideoSourceFactory factory() {
    return {.synthetic =
                [this](int fps, int width, int height) {
                  auto source = add(synthetics, QStringLiteral("synthetic"), width, height, fps);
                  return std::make_unique<FakeSyntheticVideo>(std::move(source), &journal_);
                },
            .screen =
                [this](int width, int height, int fps, int displayIndex, ScreenEvents events) {
                  auto source = add(screens, QStringLiteral("screen"), width, height, fps);
                  source->displayIndex = displayIndex;
                  source->events = std::move(events);
                  return std::make_unique<FakeScreenVideo>(std::move(source), &journal_);
                }};
  }
  FakeSource& synthetic() { return *synthetics.back(); }
  FakeSource& screen() { return *screens.back(); }

  std::vector<std::shared_ptr<FakeSource>> synthetics;
  std::vector<std::shared_ptr<FakeSource>> screens;

 private:
  std::shared_ptr<FakeSource> add(std::vector<std::shared_ptr<FakeSource>>& list, const QString& kind, int width,
                                  int height, int fps) {
    list.push_back(std::make_shared<FakeSource>());
    FakeSource& made = *list.back();
    made.name = kind + QStringLiteral(" %1").arg(list.size());
    made.width = width;
    made.height = height;
    made.fps = fps;
    journal_.note(made.name + QStringLiteral(": made %1x%2@%3").arg(width).arg(height).arg(fps));
    return list.back();
  }
  Journal& journal_;
};

}  // namespace vantora::fakes
