// DataChannel over the WebRTC library. Internal to this folder.
#pragma once

#include <api/data_channel_interface.h>
#include <api/peer_connection_interface.h>

#include <memory>

#include "main/rtc/DataChannel.h"

namespace vantora {

// Thread: main. State changes and messages arrive on the library's signalling thread and are delivered on main, in
// order, through one bounded queue.
class LibDataChannel final : public DataChannel {
 public:
  // `channel` belongs to `connection`.
  LibDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface> channel,
                 rtc::scoped_refptr<webrtc::PeerConnectionInterface> connection);
  ~LibDataChannel() override;

  ChannelState state() const override;
  void setEvents(Events events) override;
  bool send(const QByteArray& data, bool binary) override;
  quint64 maxMessageSize() const override;
  quint64 bufferedAmount() const override;
  void close() override;

 private:
  class Observer;

  rtc::scoped_refptr<webrtc::PeerConnectionInterface> connection_;
  rtc::scoped_refptr<webrtc::DataChannelInterface> channel_;
  QString label_;
  std::shared_ptr<Observer> observer_;
};

}  // namespace vantora
