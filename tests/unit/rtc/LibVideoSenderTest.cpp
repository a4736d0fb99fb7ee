#include <gtest/gtest.h>

#include "main/rtc/LibVideoSender.h"
#include "main/video/sources/DummyVideoSource.h"
#include "tests/fakes/EventLoop.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// A fake of the library's sender that stores its track and parameters.
class TrackKeeper : public webrtc::RtpSenderInterface {
 public:
  bool SetTrack(webrtc::MediaStreamTrackInterface* track) override {
    track_ = rtc::scoped_refptr<webrtc::MediaStreamTrackInterface>(track);
    return true;
  }
  rtc::scoped_refptr<webrtc::MediaStreamTrackInterface> track() const override { return track_; }
  rtc::scoped_refptr<webrtc::DtlsTransportInterface> dtls_transport() const override { return nullptr; }
  uint32_t ssrc() const override { return 1; }
  cricket::MediaType media_type() const override { return cricket::MEDIA_TYPE_VIDEO; }
  std::string id() const override { return "sender"; }
  std::vector<std::string> stream_ids() const override { return {}; }
  void SetStreams(const std::vector<std::string>&) override {}
  std::vector<webrtc::RtpEncodingParameters> init_send_encodings() const override { return {}; }
  webrtc::RtpParameters GetParameters() const override { return parameters_; }
  webrtc::RTCError SetParameters(const webrtc::RtpParameters& parameters) override {
    parameters_ = parameters;
    return webrtc::RTCError::OK();
  }
  rtc::scoped_refptr<webrtc::DtmfSenderInterface> GetDtmfSender() const override { return nullptr; }
  void SetFrameEncryptor(rtc::scoped_refptr<webrtc::FrameEncryptorInterface>) override {}
  rtc::scoped_refptr<webrtc::FrameEncryptorInterface> GetFrameEncryptor() const override { return nullptr; }
  void SetEncoderToPacketizerFrameTransformer(rtc::scoped_refptr<webrtc::FrameTransformerInterface>) override {}
  void SetEncoderSelector(std::unique_ptr<webrtc::VideoEncoderFactory::EncoderSelectorInterface>) override {}

  webrtc::VideoTrackInterface::ContentHint hint() const {
    return static_cast<webrtc::VideoTrackInterface*>(track_.get())->content_hint();
  }

 private:
  rtc::scoped_refptr<webrtc::MediaStreamTrackInterface> track_;
  webrtc::RtpParameters parameters_;
};

class LibVideoSenderTest : public testing::Test {
 protected:
  LibVideoSenderTest() { testloop::ensureApplication(); }
  ~LibVideoSenderTest() override { testloop::drain(); }

  rtc::scoped_refptr<webrtc::PeerConnectionFactoryInterface> factory_ =
      webrtc::CreateModularPeerConnectionFactory(webrtc::PeerConnectionFactoryDependencies());
  rtc::scoped_refptr<rtc::RefCountedObject<TrackKeeper>> native_{new rtc::RefCountedObject<TrackKeeper>()};
  DummyVideoSource test_{30, 320, 240, Environment::of({})};
  DummyVideoSource screen_{30, 320, 240, Environment::of({})};
  LibVideoSender sender_{factory_, native_};
};

TEST_F(LibVideoSenderTest, keepsTheContentHintWhenAnotherSourceTakesThePlace) {
  using Hint = webrtc::VideoTrackInterface::ContentHint;
  ASSERT_TRUE(sender_.replaceTrack(test_));
  EXPECT_EQ(native_->hint(), Hint::kNone);
  ASSERT_TRUE(sender_.setContentHint(u"detail"_s));
  ASSERT_TRUE(sender_.replaceTrack(screen_));
  EXPECT_EQ(native_->hint(), Hint::kDetailed);
  ASSERT_TRUE(sender_.setContentHint(u"motion"_s));
  ASSERT_TRUE(sender_.replaceTrack(test_));
  EXPECT_EQ(native_->hint(), Hint::kFluid);
}

TEST_F(LibVideoSenderTest, hasNoTrackToHintWithoutASource) { EXPECT_FALSE(sender_.setContentHint(u"detail"_s)); }

TEST_F(LibVideoSenderTest, writesEveryChangeToTheEncoding) {
  ASSERT_TRUE(sender_.changeEncodings({.maxBitrateBps = 900'000, .maxFramerate = 24, .scaleResolutionDownBy = 1.0}));
  ASSERT_EQ(native_->GetParameters().encodings.size(), 1U);
  EXPECT_EQ(native_->GetParameters().encodings[0].max_bitrate_bps, 900'000);
  ASSERT_TRUE(sender_.changeEncodings({.maxFramerate = 5}));
  EXPECT_EQ(native_->GetParameters().encodings[0].max_bitrate_bps, 900'000);
  EXPECT_EQ(native_->GetParameters().encodings[0].max_framerate, 5);
  ASSERT_TRUE(sender_.setDegradationPreference(DegradationPreference::maintainResolution));
  EXPECT_EQ(native_->GetParameters().degradation_preference, webrtc::DegradationPreference::MAINTAIN_RESOLUTION);
}

}  // namespace
}  // namespace vantora
