// A whole session over the real WebRTC library, with a viewer in the same process. The test carries the signalling.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "base/QtScheduler.h"
#include "main/rtc/WebRtcRuntime.h"
#include "main/session/Host.h"
#include "main/video/encoders/EncoderFactory.h"
#include "main/video/sdp/SdpInspect.h"
#include "main/video/sources/DummyVideoSource.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeDesktopSession.h"
#include "tests/fakes/FakeVideoSources.h"
#include "tests/fakes/FakeWebSocketTask.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/peer/ViewerPeer.h"

namespace vantora {

class SessionOverWire : public testing::Test {
 protected:
  SessionOverWire() {
    testloop::ensureApplication();
    displays_.set({{.id = 1, .bounds = {0, 0, 1920, 1080}}});
    runtime_ = makeWebRtcRuntime(makeVideoEncoderFactory);
    VideoSourceFactory sources = fakeScreens_.factory();
    sources.synthetic = [](int fps, int width, int height) {
      return std::make_unique<DummyVideoSource>(fps, width, height, Environment::of({}));
    };
    const QString url = QStringLiteral("ws://h:1");
    host_ = std::make_unique<Host>(QStringLiteral("r"),
                                   Host::Configuration{.environment = Environment::of({{"ICE_URLS", ","},
                                                                                       {"SHARE_IDLE_VIDEO", "1"},
                                                                                       {"CONTROL_TOKEN", "secret"},
                                                                                       {"WIDTH", "160"},
                                                                                       {"HEIGHT", "120"},
                                                                                       {"FPS", "15"}}),
                                                       .info = InfoDictionary(),
                                                       .signalingUrl = {QUrl(url), url}},
                                   Host::Platform{.scheduler = scheduler_,
                                                  .desktop = desktop_,
                                                  .factory = *runtime_,
                                                  .videoSources = sources,
                                                  .webSocketTasks = sockets_.factory(),
                                                  .random = [](quint32) { return 1U; }});
    connection_ = sockets_.connections.back();
  }
  ~SessionOverWire() override {
    if (HasFailure()) ADD_FAILURE() << "the log was\n" << log_.lines().join(u'\n').toStdString();
    viewer_.reset();
    host_.reset();
    runtime_.reset();
    testloop::drain();
  }

  // Waits for `condition`, carrying signalling messages meanwhile.
  [[nodiscard]] bool until(const std::function<bool()>& condition) {
    // A frame at the minimum bit rate takes seconds, and longer under a sanitizer.
    for (int timeout = 0; timeout < 3; ++timeout) {
      if (testloop::waitFor([&] {
            carry();
            return condition();
          })) {
        return true;
      }
    }
    return false;
  }
  void tellHost(const JsonObject& message) { connection_->deliverText(QString::fromUtf8(toJson(message))); }
  void renegotiate() { tellHost({{QStringLiteral("type"), QStringLiteral("renegotiate")}}); }

  // Loads a viewer page: it has no connection yet and requests an offer.
  void loadViewer() {
    viewer_.reset();
    hostFingerprint_.reset();
    loaded_ = true;
    renegotiate();
  }
  bool connected() const {
    return viewer_ && viewer_->isOpen(QStringLiteral("control")) && viewer_->isOpen(QStringLiteral("control_reliable"));
  }
  int count(const QString& type, const QString& label = QStringLiteral("control_reliable")) const {
    int found = 0;
    for (const QByteArray& data : viewer_ ? viewer_->received(label) : QList<QByteArray>()) {
      if (!data.contains(type.toUtf8())) continue;  // Parsing megabytes of other messages would take too long.
      const JsonObject message = parseJsonObject(data).value_or(JsonObject());
      found += message.value(QStringLiteral("type")).toString() == type;
    }
    return found;
  }
  bool say(const JsonObject& message, const QString& label = QStringLiteral("control_reliable")) {
    return viewer_->send(label, toJson(message));
  }

  fakes::RecordedLog log_;
  QtScheduler scheduler_;
  fakes::FakeDesktopSession desktop_;
  fakes::FakeDisplays& displays_ = desktop_.displayList;
  fakes::FakeDesktopInput& input_ = desktop_.desktopInput;
  fakes::FakeSupportTools& supportTools_ = desktop_.tools;
  fakes::FakeSystemCursor& cursor_ = desktop_.systemCursor;
  fakes::FakeAccessibility& accessibility_ = desktop_.accessibilityService;
  fakes::FakeClipboard& clipboard_ = desktop_.textClipboard;
  QTemporaryDir& downloads_ = desktop_.downloads;
  fakes::Journal journal_;
  fakes::FakeVideoSources fakeScreens_{journal_};
  fakes::FakeWebSockets sockets_;
  std::unique_ptr<PeerConnectionFactory> runtime_;
  std::unique_ptr<Host> host_;
  std::shared_ptr<fakes::FakeConnection> connection_;
  std::unique_ptr<ViewerPeer> viewer_;
  QStringList offers_;
  bool loaded_ = false;
  bool answering_ = true;

 private:
  // Passes the host's messages to the viewer.
  void carry() {
    while (carried_ < connection_->sent.size()) {
      const JsonObject message = parseJsonObject(connection_->sent[carried_++].toUtf8()).value_or(JsonObject());
      const QString type = message.value(QStringLiteral("type")).toString();
      if (type == QStringLiteral("offer")) {
        offers_.append(message.value(QStringLiteral("sdp")).toString());
        if (loaded_ && answering_) answerOffer(offers_.last());
      } else if (type == QStringLiteral("ice") && viewer_) {
        const JsonObject body = message.value(QStringLiteral("candidate")).toObject();
        viewer_->addCandidate({body.value(QStringLiteral("candidate")).toString(),
                               body.value(QStringLiteral("sdpMid")).toString(),
                               body.value(QStringLiteral("sdpMLineIndex")).toInt()});
      }
    }
  }
  void answerOffer(const QString& offer) {
    // A host with another certificate has another connection: the viewer needs a new one, too.
    const auto fingerprint = dtlsFingerprint(offer);
    if (!viewer_ || fingerprint != hostFingerprint_) {
      viewer_ = std::make_unique<ViewerPeer>();
      hostFingerprint_ = fingerprint;
      unanswered_.clear();
      viewer_->onCandidate([this](const IceCandidate& candidate) {
        tellHost(
            {{QStringLiteral("type"), QStringLiteral("ice")},
             {QStringLiteral("candidate"), JsonObject{{QStringLiteral("candidate"), candidate.candidate},
                                                      {QStringLiteral("sdpMid"), *candidate.sdpMid},
                                                      {QStringLiteral("sdpMLineIndex"), candidate.sdpMLineIndex}}}});
      });
    }
    unanswered_.append(offer);
    if (unanswered_.size() == 1) answerNext();
  }
  // One after the other, as a page does: a connection has no use for an answer to the offer before the last.
  void answerNext() {
    viewer_->answer(unanswered_.first(), [this, viewer = viewer_.get()](const QString& sdp) {
      EXPECT_FALSE(sdp.isEmpty()) << "the viewer refused the offer";
      tellHost({{QStringLiteral("type"), QStringLiteral("answer")}, {QStringLiteral("sdp"), sdp}});
      if (viewer != viewer_.get() || unanswered_.isEmpty()) return;
      unanswered_.removeFirst();
      if (!unanswered_.isEmpty()) answerNext();
    });
  }

  qsizetype carried_ = 0;
  QStringList unanswered_;  // Offers of the present connection; the first one is being answered.
  std::optional<QString> hostFingerprint_;
};

}  // namespace vantora
