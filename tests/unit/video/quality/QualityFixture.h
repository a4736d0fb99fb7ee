// VideoQuality over sharing with fakes; log lines are in the same journal as the calls.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "base/Log.h"
#include "main/video/quality/VideoQuality.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakePeerConnection.h"
#include "tests/fakes/FakeVideoSources.h"

namespace vantora {

class QualityFixture : public testing::Test {
 protected:
  QualityFixture() { sharing_.startVideoSource(*peer_, videoSender_); }

  void share() {
    sharing_.startSharing();
    sources_.screen().finishStart();
    journal_.take();
  }
  fakes::FakeSender& sender() { return factory_.last().sender(); }
  QStringList logged() const { return journal_.with(QLatin1StringView("log: ")); }
  Environment environment() {
    return Environment([this](const char* name) -> std::optional<QString> {
      const auto found = variables_.find(name);
      return found == variables_.end() ? std::nullopt : std::optional(found->second);
    });
  }
  SharingControl::Callbacks sharingCallbacks() {
    return {.makeOffer = [this] { journal_.note(QStringLiteral("offer")); },
            .changed = [this] { journal_.note(QStringLiteral("changed")); },
            .displayResized = [this] { quality_.displayResized(); },
            .input = {[](bool) {}, [](bool) {}, [](int) {}}};
  }

  fakes::Journal journal_;
  ScopedLogSink log_{[this](const QString& line) { journal_.note(QStringLiteral("log: ") + line); }};
  std::map<std::string, QString> variables_;
  fakes::FakeDisplays displays_{{{.bounds = {0, 0, 1920, 1080}}, {.bounds = {1920, 0, 1512, 982}}}};
  fakes::FakeControlSender sender_;
  fakes::FakeVideoSources sources_{journal_};
  fakes::FakePeerConnectionFactory factory_{&journal_};
  std::unique_ptr<PeerConnection> peer_ = factory_.createPeerConnection({}, {});
  std::unique_ptr<VideoSender> videoSender_;
  SharingControl sharing_{environment(), displays_, sender_, sources_.factory(), sharingCallbacks()};
  VideoQuality quality_{environment(), displays_, sharing_, VideoQuality::Settings{},
                        VideoQuality::Callbacks{.makeOffer = [this] { journal_.note(QStringLiteral("offer")); },
                                                .changed = [this] { journal_.note(QStringLiteral("changed")); }}};
};

}  // namespace vantora
