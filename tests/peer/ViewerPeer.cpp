#include "tests/peer/ViewerPeer.h"

#include <api/audio_codecs/builtin_audio_decoder_factory.h>
#include <api/audio_codecs/builtin_audio_encoder_factory.h>
#include <api/create_peerconnection_factory.h>
#include <api/peer_connection_interface.h>
#include <api/task_queue/default_task_queue_factory.h>
#include <api/video/video_sink_interface.h>
#include <api/video_codecs/builtin_video_decoder_factory.h>
#include <api/video_codecs/builtin_video_encoder_factory.h>
#include <modules/audio_device/include/audio_device.h>
#include <rtc_base/thread.h>

#include <future>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "base/MainThread.h"

namespace vantora {
namespace {

// The library's threads and factory of this side.
class Runtime {
 public:
  Runtime()
      : network_(rtc::Thread::CreateWithSocketServer()),
        worker_(rtc::Thread::Create()),
        signalling_(rtc::Thread::Create()),
        queues_(webrtc::CreateDefaultTaskQueueFactory()) {
    network_->Start();
    worker_->Start();
    signalling_->Start();
    audio_ = worker_->BlockingCall(
        [&] { return webrtc::AudioDeviceModule::Create(webrtc::AudioDeviceModule::kDummyAudio, queues_.get()); });
    factory_ = webrtc::CreatePeerConnectionFactory(
        network_.get(), worker_.get(), signalling_.get(), audio_, webrtc::CreateBuiltinAudioEncoderFactory(),
        webrtc::CreateBuiltinAudioDecoderFactory(), webrtc::CreateBuiltinVideoEncoderFactory(),
        webrtc::CreateBuiltinVideoDecoderFactory(), nullptr, nullptr);
  }
  ~Runtime() {
    factory_ = nullptr;
    worker_->BlockingCall([&] { audio_ = nullptr; });
  }
  webrtc::PeerConnectionFactoryInterface& factory() { return *factory_; }
  rtc::Thread& network() { return *network_; }

 private:
  std::unique_ptr<rtc::Thread> network_;
  std::unique_ptr<rtc::Thread> worker_;
  std::unique_ptr<rtc::Thread> signalling_;
  std::unique_ptr<webrtc::TaskQueueFactory> queues_;
  rtc::scoped_refptr<webrtc::AudioDeviceModule> audio_;
  rtc::scoped_refptr<webrtc::PeerConnectionFactoryInterface> factory_;
};

template <typename Interface, typename Done>
class Observer : public Interface {
 public:
  explicit Observer(Done done) : done_(std::move(done)) {}

 protected:
  Done done_;
};

using ErrorDone = std::function<void(webrtc::RTCError)>;

class RemoteSet : public Observer<webrtc::SetRemoteDescriptionObserverInterface, ErrorDone> {
 public:
  using Observer::Observer;
  void OnSetRemoteDescriptionComplete(webrtc::RTCError error) override { done_(std::move(error)); }
};
class LocalSet : public Observer<webrtc::SetLocalDescriptionObserverInterface, ErrorDone> {
 public:
  using Observer::Observer;
  void OnSetLocalDescriptionComplete(webrtc::RTCError error) override { done_(std::move(error)); }
};
using DescriptionDone = std::function<void(std::unique_ptr<webrtc::SessionDescriptionInterface>)>;
class Created : public Observer<webrtc::CreateSessionDescriptionObserver, DescriptionDone> {
 public:
  using Observer::Observer;
  void OnSuccess(webrtc::SessionDescriptionInterface* description) override {
    done_(std::unique_ptr<webrtc::SessionDescriptionInterface>(description));
  }
  void OnFailure(webrtc::RTCError) override { done_(nullptr); }
};

}  // namespace

// Receives on the library's threads; data that main reads is guarded by the mutex.
class ViewerPeer::Side final : public webrtc::PeerConnectionObserver,
                               public rtc::VideoSinkInterface<webrtc::VideoFrame>,
                               public std::enable_shared_from_this<ViewerPeer::Side> {
 public:
  void open() {
    webrtc::PeerConnectionInterface::RTCConfiguration configuration;
    configuration.sdp_semantics = webrtc::SdpSemantics::kUnifiedPlan;
    auto made = runtime_.factory().CreatePeerConnectionOrError(configuration, webrtc::PeerConnectionDependencies(this));
    if (made.ok()) connection_ = made.MoveValue();
  }
  void close() {
    onCandidate = nullptr;
    if (connection_) connection_->Close();  // No channel is added after this.
    std::vector<std::unique_ptr<Channel>> channels;
    {
      const std::lock_guard lock(mutex_);
      channels.swap(channels_);
    }
    for (const auto& channel : channels) channel->handle->UnregisterObserver();
    connection_ = nullptr;
  }

  void answer(const QString& offer, std::function<void(const QString&)> done) {
    const auto reply = [weak = weak_from_this(), done = std::move(done)](const std::string& sdp) {
      postToMain([weak, done, sdp] {
        if (weak.lock()) done(QString::fromStdString(sdp));
      });
    };
    auto description = webrtc::CreateSessionDescription(webrtc::SdpType::kOffer, offer.toStdString());
    if (!description) return reply({});
    const auto connection = connection_;
    const auto set = [connection, reply](std::unique_ptr<webrtc::SessionDescriptionInterface> answer) {
      if (!answer) return reply({});
      std::string text;
      answer->ToString(&text);
      connection->SetLocalDescription(std::move(answer),
                                      rtc::make_ref_counted<LocalSet>([reply, text](const webrtc::RTCError& error) {
                                        reply(error.ok() ? text : std::string());
                                      }));
    };
    const auto create = [connection, reply, set](const webrtc::RTCError& error) {
      if (!error.ok()) return reply({});
      connection->CreateAnswer(rtc::make_ref_counted<Created>(set).get(), {});
    };
    connection->SetRemoteDescription(std::move(description), rtc::make_ref_counted<RemoteSet>(create));
  }

  void addCandidate(const IceCandidate& candidate) {
    std::unique_ptr<webrtc::IceCandidateInterface> parsed(
        webrtc::CreateIceCandidate(candidate.sdpMid.value_or(QString()).toStdString(), candidate.sdpMLineIndex,
                                   candidate.candidate.toStdString(), nullptr));
    if (parsed) connection_->AddIceCandidate(std::move(parsed), [](const webrtc::RTCError&) {});
  }

  void openChannel(const QString& label) {
    auto made = connection_->CreateDataChannelOrError(label.toStdString(), nullptr);
    if (made.ok()) OnDataChannel(made.MoveValue());
  }

  QList<SeenChannel> channels() const {
    const std::lock_guard lock(mutex_);
    QList<SeenChannel> seen;
    for (const auto& channel : channels_) seen.append(channel->seen);
    return seen;
  }
  rtc::scoped_refptr<webrtc::DataChannelInterface> newest(const QString& label) const {
    const std::lock_guard lock(mutex_);
    for (auto channel = channels_.rbegin(); channel != channels_.rend(); ++channel) {
      if ((*channel)->seen.label == label) return (*channel)->handle;
    }
    return nullptr;
  }
  // Copies of every byte: nothing stays shared between the threads.
  QList<QByteArray> received(const QString& label) const {
    const std::lock_guard lock(mutex_);
    QList<QByteArray> copies;
    const auto found = received_.find(label.toStdString());
    if (found == received_.end()) return copies;
    for (const std::string& data : found->second) copies.append(QByteArray::fromStdString(data));
    return copies;
  }
  int frames() const {
    const std::lock_guard lock(mutex_);
    return frames_;
  }
  QString lastFrameSize() const {
    const std::lock_guard lock(mutex_);
    return lastFrameSize_;
  }

  // Main thread.
  std::function<void(const IceCandidate&)> onCandidate;
  std::shared_ptr<void> holdNetwork() {
    auto* const release = new std::promise<void>;
    runtime_.network().PostTask([released = release->get_future().share()] { released.wait(); });
    return {release, [](std::promise<void>* each) {
              each->set_value();
              delete each;
            }};
  }

 private:
  struct Channel final : webrtc::DataChannelObserver {
    Channel(Side& owner, rtc::scoped_refptr<webrtc::DataChannelInterface> channel)
        : side(owner), handle(std::move(channel)) {}
    void OnStateChange() override { side.updateState(*this); }
    void OnMessage(const webrtc::DataBuffer& buffer) override {
      const std::lock_guard lock(side.mutex_);
      side.received_[seen.label.toStdString()].emplace_back(reinterpret_cast<const char*>(buffer.data.data()),
                                                            buffer.size());
    }
    Side& side;
    rtc::scoped_refptr<webrtc::DataChannelInterface> handle;
    SeenChannel seen;
  };

  void updateState(Channel& channel) {
    const bool open = channel.handle->state() == webrtc::DataChannelInterface::kOpen;
    const std::lock_guard lock(mutex_);
    channel.seen.open = open;
  }

  void OnDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface> handle) override {
    auto channel = std::make_unique<Channel>(*this, handle);
    channel->seen.label = QString::fromStdString(handle->label());
    channel->seen.ordered = handle->ordered();
    if (const auto life = handle->maxPacketLifeTime()) channel->seen.maxPacketLifeTimeMs = *life;
    if (const auto retransmits = handle->maxRetransmitsOpt()) channel->seen.maxRetransmits = *retransmits;
    Channel& kept = *channel;
    {
      const std::lock_guard lock(mutex_);
      channels_.push_back(std::move(channel));
    }
    handle->RegisterObserver(&kept);
    updateState(kept);
  }
  void OnTrack(rtc::scoped_refptr<webrtc::RtpTransceiverInterface> transceiver) override {
    const auto track = transceiver->receiver()->track();
    if (track->kind() != webrtc::MediaStreamTrackInterface::kVideoKind) return;
    static_cast<webrtc::VideoTrackInterface*>(track.get())->AddOrUpdateSink(this, rtc::VideoSinkWants());
  }
  void OnFrame(const webrtc::VideoFrame& frame) override {
    const std::lock_guard lock(mutex_);
    ++frames_;
    lastFrameSize_ = QStringLiteral("%1x%2").arg(frame.width()).arg(frame.height());
  }
  void OnIceCandidate(const webrtc::IceCandidateInterface* candidate) override {
    std::string text;
    candidate->ToString(&text);
    const IceCandidate value{QString::fromStdString(text), QString::fromStdString(candidate->sdp_mid()),
                             candidate->sdp_mline_index()};
    postToMain([weak = weak_from_this(), value] {
      const auto self = weak.lock();
      if (self && self->onCandidate) self->onCandidate(value);
    });
  }
  void OnSignalingChange(webrtc::PeerConnectionInterface::SignalingState) override {}
  void OnIceGatheringChange(webrtc::PeerConnectionInterface::IceGatheringState) override {}

  Runtime runtime_;
  rtc::scoped_refptr<webrtc::PeerConnectionInterface> connection_;
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<Channel>> channels_;
  std::map<std::string, std::vector<std::string>> received_;
  int frames_ = 0;
  QString lastFrameSize_;
};

ViewerPeer::ViewerPeer() : side_(std::make_shared<Side>()) { side_->open(); }
ViewerPeer::~ViewerPeer() { side_->close(); }

void ViewerPeer::onCandidate(std::function<void(const IceCandidate&)> handler) {
  side_->onCandidate = std::move(handler);
}
void ViewerPeer::answer(const QString& offer, std::function<void(const QString&)> done) {
  side_->answer(offer, std::move(done));
}
void ViewerPeer::addCandidate(const IceCandidate& candidate) { side_->addCandidate(candidate); }

void ViewerPeer::openChannel(const QString& label) { side_->openChannel(label); }

void ViewerPeer::closeChannel(const QString& label) {
  if (const auto channel = side_->newest(label)) channel->Close();
}

QList<SeenChannel> ViewerPeer::channels() const { return side_->channels(); }

bool ViewerPeer::isOpen(const QString& label) const {
  const auto channel = side_->newest(label);
  return channel && channel->state() == webrtc::DataChannelInterface::kOpen;
}

bool ViewerPeer::isClosed(const QString& label) const {
  const auto channel = side_->newest(label);
  return channel && channel->state() == webrtc::DataChannelInterface::kClosed;
}

bool ViewerPeer::send(const QString& label, const QByteArray& data, bool binary) {
  const auto channel = side_->newest(label);
  if (!channel) return false;
  return channel->Send(
      webrtc::DataBuffer(rtc::CopyOnWriteBuffer(data.constData(), static_cast<size_t>(data.size())), binary));
}

quint64 ViewerPeer::bufferedAmount(const QString& label) const {
  const auto channel = side_->newest(label);
  return channel ? channel->buffered_amount() : 0;
}

std::shared_ptr<void> ViewerPeer::holdNetwork() { return side_->holdNetwork(); }

QList<QByteArray> ViewerPeer::received(const QString& label) const { return side_->received(label); }
int ViewerPeer::frames() const { return side_->frames(); }
QString ViewerPeer::lastFrameSize() const { return side_->lastFrameSize(); }

}  // namespace vantora
