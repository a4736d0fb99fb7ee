#include "main/rtc/LibDataChannel.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <mutex>
#include <utility>
#include <variant>

#include "base/Log.h"
#include "base/MainThread.h"

namespace vantora {
namespace {

// Every viewer accepts messages of this many bytes; for longer ones the negotiated limit is read.
constexpr quint64 kSmallestLimit = 65536;

ChannelState stateOf(webrtc::DataChannelInterface::DataState state) {
  using Lib = webrtc::DataChannelInterface;
  switch (state) {
    case Lib::kConnecting:
      return ChannelState::connecting;
    case Lib::kOpen:
      return ChannelState::open;
    case Lib::kClosing:
      return ChannelState::closing;
    case Lib::kClosed:
      break;
  }
  return ChannelState::closed;
}

// Memory used by a queued message besides its own bytes.
constexpr qint64 kCostOfMessage = 128;
// How long the main thread delivers messages without a break.
constexpr std::chrono::milliseconds kSlice{10};

struct Message {
  QByteArray data;
  bool binary;
};
using Event = std::variant<ChannelState, Message>;

}  // namespace

// Receives on the signalling thread, delivers on main.
class LibDataChannel::Observer final : public webrtc::DataChannelObserver,
                                       public std::enable_shared_from_this<LibDataChannel::Observer> {
 public:
  explicit Observer(webrtc::DataChannelInterface* channel) : channel_(channel) {}

  void OnStateChange() override { noteState(false); }

  void OnMessage(const webrtc::DataBuffer& buffer) override {
    noteState(true);  // Messages that waited for the registration arrive during it, before any state change.
    const auto size = static_cast<qint64>(buffer.size());
    bool first = false;
    {
      const std::lock_guard lock(mutex_);
      first = append(Message{QByteArray(reinterpret_cast<const char*>(buffer.data.data()), size), buffer.binary},
                     size + kCostOfMessage);
    }
    if (first) post();
  }

  // Any thread. Reports the current state unless it was reported already; with `onlyFirst` only if no state was
  // reported so far. Connecting, the state in which every channel begins, is not reported.
  void noteState(bool onlyFirst) {
    // Outside the mutex: on main this call waits for the signalling thread, which takes the mutex.
    const ChannelState state = stateOf(channel_->state());
    bool first = false;
    {
      const std::lock_guard lock(mutex_);
      if (state == noted_ || (onlyFirst && noted_ != ChannelState::connecting)) return;
      noted_ = state;
      first = append(state, 0);
    }
    if (first) post();
  }

  // Main thread.
  void setEvents(Events events) { events_ = std::move(events); }
  // Main thread. Nothing is delivered afterwards.
  void detach() {
    detached_ = true;
    events_ = {};
    const std::lock_guard lock(mutex_);
    queue_.clear();
    overflowed_ = true;
  }

 private:
  // Under the mutex. True if the caller must call post().
  bool append(Event event, qint64 size) {
    if (size > 0 && overflowed_) return false;
    if (pendingBytes_ + size > kMaxPendingBytes) {
      overflowed_ = true;
      closeOnMain_ = true;
    } else {
      pendingBytes_ += size;
      queue_.emplace_back(std::move(event), size);
    }
    return !std::exchange(posted_, true);
  }

  void post() {
    // Not a Lifetime: an event may destroy the channel, and drain() still needs this object then.
    postToMain([weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->drain();
    });
  }

  // Main thread. Delivers queued events for at most kSlice, because the thread has other work, too.
  void drain() {
    const auto end = std::chrono::steady_clock::now() + kSlice;
    while (!detached_) {
      std::pair<Event, qint64> next;
      {
        const std::lock_guard lock(mutex_);
        if (queue_.empty()) {
          posted_ = false;
          break;
        }
        next = std::move(queue_.front());
        queue_.pop_front();
      }
      deliver(next.first);
      {
        const std::lock_guard lock(mutex_);
        pendingBytes_ -= next.second;
      }
      if (std::chrono::steady_clock::now() >= end) return post();
    }
    bool closeChannel = false;
    {
      const std::lock_guard lock(mutex_);
      closeChannel = std::exchange(closeOnMain_, false);
    }
    if (closeChannel && !detached_) channel_->Close();
  }

  void deliver(const Event& event) {
    const Events events = events_;  // A handler may replace or destroy the channel.
    if (const auto* state = std::get_if<ChannelState>(&event)) {
      if (events.stateChanged) events.stateChanged(*state);
    } else if (const auto* message = std::get_if<Message>(&event)) {
      if (events.message) events.message(message->data, message->binary);
    }
  }

  webrtc::DataChannelInterface* const channel_;  // Outlives this observer's registration.
  // Main thread.
  Events events_;
  bool detached_ = false;
  // Both threads, under the mutex.
  std::mutex mutex_;
  std::deque<std::pair<Event, qint64>> queue_;
  ChannelState noted_ = ChannelState::connecting;
  qint64 pendingBytes_ = 0;
  bool posted_ = false;
  bool overflowed_ = false;
  bool closeOnMain_ = false;
};

LibDataChannel::LibDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface> channel,
                               rtc::scoped_refptr<webrtc::PeerConnectionInterface> connection)
    : connection_(std::move(connection)),
      channel_(std::move(channel)),
      label_(QString::fromStdString(channel_->label())),
      observer_(std::make_shared<Observer>(channel_.get())) {
  channel_->RegisterObserver(observer_.get());
  // On an established connection the library opens a channel at once, possibly before the observer was registered.
  observer_->noteState(true);
}

LibDataChannel::~LibDataChannel() {
  observer_->detach();
  channel_->UnregisterObserver();
  channel_->Close();
}

ChannelState LibDataChannel::state() const { return stateOf(channel_->state()); }

void LibDataChannel::setEvents(Events events) { observer_->setEvents(std::move(events)); }

quint64 LibDataChannel::maxMessageSize() const {
  const auto transport = connection_->GetSctpTransport();
  const auto limit = transport ? transport->Information().MaxMessageSize() : absl::nullopt;
  return limit ? std::max(static_cast<quint64>(*limit), kSmallestLimit) : kSmallestLimit;
}

bool LibDataChannel::send(const QByteArray& data, bool binary) {
  // The library closes the channel on a message that is too long for the other side.
  const auto size = static_cast<quint64>(data.size());
  if (size > kSmallestLimit && size > maxMessageSize()) {
    logLine(QStringLiteral("[dc] dropped a message of %1 bytes label=%2: the viewer takes %3 at most")
                .arg(QString::number(size), label_, QString::number(maxMessageSize())));
    return false;
  }
  const rtc::CopyOnWriteBuffer bytes(data.constData(), static_cast<size_t>(data.size()));
  return channel_->Send(webrtc::DataBuffer(bytes, binary));
}

quint64 LibDataChannel::bufferedAmount() const { return channel_->buffered_amount(); }

void LibDataChannel::close() { channel_->Close(); }

}  // namespace vantora
