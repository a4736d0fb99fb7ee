#include "main/session/peer/ControlChannels.h"

#include "base/Log.h"

namespace vantora {
namespace {

constexpr int kControlPacketLifeTimeMs = 70;

void logState(ControlChannel channel, ChannelState state) {
  logLine(QStringLiteral("[dc] state=%1 label=").arg(static_cast<int>(state)) + labelOf(channel));
}

}  // namespace

ControlChannels::ControlChannels(PeerConnection& peer, Events events) : peer_(peer), events_(std::move(events)) {}

std::unique_ptr<DataChannel>& ControlChannels::field(ControlChannel channel) {
  return channel == ControlChannel::control ? controlDC_ : controlReliableDC_;
}

const std::unique_ptr<DataChannel>& ControlChannels::field(ControlChannel channel) const {
  return channel == ControlChannel::control ? controlDC_ : controlReliableDC_;
}

void ControlChannels::createOrRefreshDataChannels() {
  refresh(ControlChannel::control);
  refresh(ControlChannel::reliable);
}

void ControlChannels::refresh(ControlChannel channel) {
  std::unique_ptr<DataChannel>& held = field(channel);
  // A closed channel is replaced only when its report is handled, after all earlier events: replacing it earlier would
  // discard the report.
  if (held) return;

  DataChannelConfig config;
  if (channel == ControlChannel::control) {
    config.ordered = false;
    config.maxPacketLifeTimeMs = kControlPacketLifeTimeMs;
  }
  const QString label = labelOf(channel);
  held = peer_.createDataChannel(label, config);
  if (!held) {
    logLine(QStringLiteral("[dc] failed to create datachannel ") + label);
    return;
  }
  held->setEvents(
      {.stateChanged = life_.guard([this, channel](ChannelState state) { dataChannelDidChangeState(channel, state); }),
       .message = life_.guard(
           [this, channel](const QByteArray& data, bool binary) { events_.message(channel, data, binary); })});
  logLine(QStringLiteral("[dc] created label=") + label +
          (channel == ControlChannel::control ? QStringLiteral(" (unordered,maxPacketLifeTime=70ms)")
                                              : QStringLiteral(" (reliable)")));
}

void ControlChannels::dataChannelDidChangeState(ControlChannel channel, ChannelState state) {
  logState(channel, state);
  if (state == ChannelState::open) {
    events_.opened(channel);
  } else if (state == ChannelState::closed) {
    // The handler may replace the whole connection, and this object with it.
    const Lifetime::Handle alive = life_.handle();
    const auto closed = events_.closed;
    closed(channel);
    if (!alive) return;
    field(channel).reset();
    createOrRefreshDataChannels();
    events_.renegotiate();
  }
}

void ControlChannels::endAll() {
  for (const ControlChannel channel : {ControlChannel::control, ControlChannel::reliable}) {
    if (!field(channel)) continue;
    logState(channel, ChannelState::closed);
    events_.closed(channel);
    field(channel).reset();
  }
}

bool ControlChannels::exists(ControlChannel channel) const { return field(channel) != nullptr; }

bool ControlChannels::isOpen(ControlChannel channel) const {
  return field(channel) && field(channel)->state() == ChannelState::open;
}

void ControlChannels::send(ControlChannel channel, const JsonObject& message) {
  if (field(channel)) field(channel)->send(toJson(message), false);
}

quint64 ControlChannels::maxMessageSize(ControlChannel channel) const {
  return field(channel) ? field(channel)->maxMessageSize() : 0;
}

quint64 ControlChannels::bufferedAmount(ControlChannel channel) const {
  return field(channel) ? field(channel)->bufferedAmount() : 0;
}

}  // namespace vantora
