// SharingControl over fakes; log lines are in the same journal as the calls, marked by "log: ".
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "base/Log.h"
#include "main/video/sharing/SharingControl.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakePeerConnection.h"
#include "tests/fakes/FakeVideoSources.h"

namespace vantora {

class SharingFixture : public testing::Test {
 protected:
  void start() { sharing_.startVideoSource(*peer_, videoSender_); }
  void startAndShare() {
    start();
    sharing_.startSharing();
    sources_.screen().finishStart();
    journal_.take();
  }
  QStringList logged() const { return journal_.with(QLatin1StringView("log:")); }
  fakes::FakeSender& track() { return factory_.last().sender(); }
  static QString sizeOf(const fakes::FakeSource& source) {
    return QStringLiteral("%1x%2@%3").arg(source.width).arg(source.height).arg(source.fps);
  }

  fakes::Journal journal_;
  ScopedLogSink log_{[this](const QString& line) { journal_.note(QStringLiteral("log: ") + line); }};
  std::map<std::string, QString> environment_;
  fakes::FakeDisplays displays_{{{.bounds = {0, 0, 1920, 1080}}, {.bounds = {1920, 0, 1000, 700}}}};
  fakes::FakeControlSender sender_;
  fakes::FakeVideoSources sources_{journal_};
  fakes::FakePeerConnectionFactory factory_{&journal_};
  std::unique_ptr<PeerConnection> peer_ = factory_.createPeerConnection({}, {});
  std::unique_ptr<VideoSender> videoSender_;
  SharingControl sharing_{
      Environment([this](const char* name) -> std::optional<QString> {
        const auto found = environment_.find(name);
        return found == environment_.end() ? std::nullopt : std::optional(found->second);
      }),
      displays_,
      sender_,
      sources_.factory(),
      {.makeOffer = [this] { journal_.note(QStringLiteral("offer")); },
       .changed = [this] { journal_.note(QStringLiteral("changed")); },
       .displayResized = [this] { journal_.note(QStringLiteral("resized")); },
       .input =
           {.setMappingMode = [this](bool points) { journal_.note(QStringLiteral("input: points=%1").arg(points)); },
            .setOrigin = [this](bool top) { journal_.note(QStringLiteral("input: top=%1").arg(top)); },
            .setTargetScreen = [this](int index) { journal_.note(QStringLiteral("input: screen=%1").arg(index)); }}}};
};

}  // namespace vantora
