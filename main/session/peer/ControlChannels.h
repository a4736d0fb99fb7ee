// The two data channels of one peer connection: "control" (unordered, packets dropped after 70 ms)
// and "control_reliable" (ordered, reliable).
#pragma once

#include <memory>

#include "base/Json.h"
#include "base/Lifetime.h"
#include "main/control/ControlChannel.h"
#include "main/rtc/PeerConnection.h"

namespace vantora {

// Keeps both channels alive: a channel that reports its closing is replaced at once. Thread: main. Owner: the
// PeerLink of one connection; dies with it.
class ControlChannels final : public ControlSender {
 public:
  struct Events {
    std::function<void(ControlChannel)> opened;
    // The channel closed; called before it is replaced.
    std::function<void(ControlChannel)> closed;
    // New channels exist that must be offered to the viewer.
    std::function<void()> renegotiate;
    std::function<void(ControlChannel, const QByteArray& data, bool binary)> message;
  };

  // `peer` must outlive this object.
  ControlChannels(PeerConnection& peer, Events events);
  ControlChannels(const ControlChannels&) = delete;
  ControlChannels& operator=(const ControlChannels&) = delete;

  // Ensures that both channels exist. A closed channel whose report is still queued is kept until the report is
  // handled, which replaces the channel and requests another offer.
  void createOrRefreshDataChannels();
  // Call before the connection is closed: reports both channels as closed and replaces neither.
  void endAll();

  bool exists(ControlChannel channel) const override;
  bool isOpen(ControlChannel channel) const override;
  void send(ControlChannel channel, const JsonObject& message) override;
  quint64 maxMessageSize(ControlChannel channel) const override;
  quint64 bufferedAmount(ControlChannel channel) const override;

 private:
  std::unique_ptr<DataChannel>& field(ControlChannel channel);
  const std::unique_ptr<DataChannel>& field(ControlChannel channel) const;
  void refresh(ControlChannel channel);
  void dataChannelDidChangeState(ControlChannel channel, ChannelState state);

  PeerConnection& peer_;
  Events events_;
  std::unique_ptr<DataChannel> controlDC_;
  std::unique_ptr<DataChannel> controlReliableDC_;
  Lifetime life_;  // This object may die inside a callback of a channel.
};

}  // namespace vantora
