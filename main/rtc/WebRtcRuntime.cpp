#include "main/rtc/WebRtcRuntime.h"

#include <api/audio_codecs/audio_decoder_factory.h>
#include <api/audio_codecs/audio_encoder_factory.h>
#include <api/call/call_factory_interface.h>
#include <api/field_trials.h>
#include <api/peer_connection_interface.h>
#include <api/transport/network_control.h>
#include <api/video_codecs/builtin_video_decoder_factory.h>
#include <media/engine/webrtc_media_engine.h>
#include <modules/audio_device/include/audio_device.h>
#include <rtc_base/logging.h>
#include <rtc_base/ssl_adapter.h>
#include <rtc_base/thread.h>

#include <string>
#include <string_view>

#include "main/rtc/LargeBufferSocketServer.h"
#include "main/rtc/LibPeerConnection.h"
#include "main/rtc/NetworkMonitor.h"
#include "main/rtc/SctpTransports.h"
#include "main/rtc/TaskQueues.h"
#include "main/rtc/congestion/CongestionControl.h"

namespace vantora {
namespace {

// Changed settings of the library. (A trial string must not contain "//": the library aborts on it.)
constexpr std::string_view kFieldTrials =
    // Tells the viewer to show each frame as soon as it is decoded: a supporter needs low delay, not smooth playback.
    "WebRTC-ForceSendPlayoutDelay/min_ms:0,max_ms:0/"
    // Screens send nothing, then a page at once. The encoders keep the rate over seconds by themselves; the library's
    // adjuster treated each page as an overshoot of the encoder and halved its rate. No probe up to the limit whenever
    // another quality is chosen.
    "WebRTC-VideoRateControl/bitrate_adjuster:false,probe_max_allocation:false/"
    // The host receives no media, so it has nothing to report about it 10 to 20 times a second.
    "WebRTC-Bwe-TransportWideFeedbackIntervals/min:10s,max:10s,def:10s/";

// The session never negotiates audio: with factories without a codec the library's audio part loads nothing.
class NoAudioEncoders : public webrtc::AudioEncoderFactory {
 public:
  std::vector<webrtc::AudioCodecSpec> GetSupportedEncoders() override { return {}; }
  absl::optional<webrtc::AudioCodecInfo> QueryAudioEncoder(const webrtc::SdpAudioFormat&) override { return {}; }
  std::unique_ptr<webrtc::AudioEncoder> MakeAudioEncoder(int, const webrtc::SdpAudioFormat&,
                                                         absl::optional<webrtc::AudioCodecPairId>) override {
    return nullptr;
  }
};

class NoAudioDecoders : public webrtc::AudioDecoderFactory {
 public:
  std::vector<webrtc::AudioCodecSpec> GetSupportedDecoders() override { return {}; }
  bool IsSupportedDecoder(const webrtc::SdpAudioFormat&) override { return false; }
  std::unique_ptr<webrtc::AudioDecoder> MakeAudioDecoder(const webrtc::SdpAudioFormat&,
                                                         absl::optional<webrtc::AudioCodecPairId>) override {
    return nullptr;
  }
};

class WebRtcRuntime final : public PeerConnectionFactory {
 public:
  explicit WebRtcRuntime(VideoEncoderFactoryMaker makeEncoders)
      : network_(std::make_unique<rtc::Thread>(std::make_unique<LargeBufferSocketServer>())),
        worker_(rtc::Thread::Create()),
        signalling_(rtc::Thread::Create()) {
    rtc::LogMessage::LogToDebug(rtc::LS_NONE);  // Standard error belongs to the program's own log.
    rtc::LogMessage::SetLogToStderr(false);
    rtc::InitializeSSL();
    network_->SetName("rtc-network", nullptr);
    worker_->SetName("rtc-worker", nullptr);
    signalling_->SetName("rtc-signalling", nullptr);
    network_->Start();
    worker_->Start();
    signalling_->Start();

    webrtc::PeerConnectionFactoryDependencies dependencies;
    dependencies.network_thread = network_.get();
    dependencies.worker_thread = worker_.get();
    dependencies.signaling_thread = signalling_.get();
    dependencies.task_queue_factory = makeTaskQueues();
    dependencies.call_factory = webrtc::CreateCallFactory();
    dependencies.network_controller_factory = makeCongestionControl();
    dependencies.trials = std::make_unique<webrtc::FieldTrials>(std::string(kFieldTrials).append(kCongestionTrials));

    dependencies.network_monitor_factory = networkMonitors_.makeFactory();
    dependencies.sctp_factory = makeSctpTransports(*network_);
    cricket::MediaEngineDependencies media;
    media.task_queue_factory = dependencies.task_queue_factory.get();
    media.trials = dependencies.trials.get();
    media.adm = worker_->BlockingCall([&] {
      return webrtc::AudioDeviceModule::Create(webrtc::AudioDeviceModule::kDummyAudio, media.task_queue_factory);
    });
    media.audio_encoder_factory = rtc::make_ref_counted<NoAudioEncoders>();
    media.audio_decoder_factory = rtc::make_ref_counted<NoAudioDecoders>();
    media.video_encoder_factory = makeEncoders(keyFrameRequest_);
    media.video_decoder_factory = webrtc::CreateBuiltinVideoDecoderFactory();
    dependencies.media_engine = cricket::CreateMediaEngine(std::move(media));
    factory_ = webrtc::CreateModularPeerConnectionFactory(std::move(dependencies));
  }

  std::unique_ptr<PeerConnection> createPeerConnection(const QList<IceServer>& servers, PeerEvents events) override {
    if (!factory_) return nullptr;
    return LibPeerConnection::create(*factory_, servers, std::move(events), keyFrameRequest_);
  }

  void networksChanged() override {
    network_->PostTask([this] { networkMonitors_.networksChanged(); });
  }

 private:
  std::shared_ptr<KeyFrameRequest> keyFrameRequest_ = std::make_shared<KeyFrameRequest>();
  NetworkMonitors networkMonitors_;
  // Teardown order: the factory first, then the threads it uses.
  std::unique_ptr<rtc::Thread> network_;
  std::unique_ptr<rtc::Thread> worker_;
  std::unique_ptr<rtc::Thread> signalling_;
  rtc::scoped_refptr<webrtc::PeerConnectionFactoryInterface> factory_;
};

}  // namespace

std::unique_ptr<PeerConnectionFactory> makeWebRtcRuntime(VideoEncoderFactoryMaker makeEncoders) {
  return std::make_unique<WebRtcRuntime>(makeEncoders);
}

}  // namespace vantora
