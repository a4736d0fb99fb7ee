// A video sender that records its settings.
#pragma once

#include <memory>

#include "main/rtc/VideoSender.h"
#include "main/rtc/VideoTrackSource.h"
#include "tests/fakes/Journal.h"

namespace vantora::fakes {

// A video source with a name for the journal.
class NamedVideoSource {
 public:
  explicit NamedVideoSource(QString sourceName) : name(std::move(sourceName)) {}
  virtual ~NamedVideoSource() = default;
  const QString name;
};

inline QString nameOf(const VideoTrackSource& source) {
  const auto* named = dynamic_cast<const NamedVideoSource*>(&source);
  return named ? named->name : QStringLiteral("unnamed");
}

// Stays readable after the sender is destroyed.
struct FakeSender {
  std::optional<int> maxBitrateBps;
  std::optional<double> maxFramerate;
  std::optional<double> scaleResolutionDownBy;
  std::optional<DegradationPreference> degradation;
  QString track;
  QString contentHint;
  bool destroyed = false;
  // Capabilities of the library.
  bool supportsDegradation = true;
  bool supportsContentHint = true;
};

class FakeVideoSender final : public VideoSender {
 public:
  FakeVideoSender(std::shared_ptr<FakeSender> sender, Journal* journal)
      : sender_(std::move(sender)), journal_(journal) {}
  ~FakeVideoSender() override { sender_->destroyed = true; }

  bool changeEncodings(const EncodingChange& change) override {
    QString text = QStringLiteral("encodings");
    if (change.maxBitrateBps) {
      sender_->maxBitrateBps = change.maxBitrateBps;
      text += QStringLiteral(" bps=%1").arg(*change.maxBitrateBps);
    }
    if (change.maxFramerate) {
      sender_->maxFramerate = change.maxFramerate;
      text += QStringLiteral(" fps=%1").arg(*change.maxFramerate);
    }
    if (change.scaleResolutionDownBy) {
      sender_->scaleResolutionDownBy = change.scaleResolutionDownBy;
      text += QStringLiteral(" scale=%1").arg(*change.scaleResolutionDownBy);
    }
    note(text);
    return true;
  }
  bool setDegradationPreference(DegradationPreference preference) override {
    if (!sender_->supportsDegradation) return false;
    sender_->degradation = preference;
    note(QStringLiteral("degradation=%1").arg(static_cast<int>(preference)));
    return true;
  }
  bool replaceTrack(VideoTrackSource& source) override {
    sender_->track = nameOf(source);
    sender_->contentHint.clear();  // A new track has none.
    note(QStringLiteral("track=") + sender_->track);
    return true;
  }
  bool setContentHint(const QString& hint) override {
    if (!sender_->supportsContentHint) return false;
    sender_->contentHint = hint;
    note(QStringLiteral("hint=") + hint);
    return true;
  }

 private:
  void note(const QString& text) {
    if (journal_) journal_->note(QStringLiteral("sender: ") + text);
  }
  std::shared_ptr<FakeSender> sender_;
  Journal* journal_;
};

}  // namespace vantora::fakes
