// A data channel without a network: the test acts as the viewer's side.
#pragma once

#include <QList>
#include <memory>

#include "base/Json.h"
#include "main/rtc/DataChannel.h"
#include "tests/fakes/Journal.h"

namespace vantora::fakes {

// The record of one channel. Stays readable after the channel is destroyed.
struct FakeChannel {
  QString label;
  DataChannelConfig config;
  ChannelState state = ChannelState::connecting;
  DataChannel::Events events;
  bool destroyed = false;
  QList<QByteArray> sent;
  quint64 longest = 262'144;
  quint64 buffered = 0;

  // Reports a change, as the library does; nothing arrives once the channel is destroyed.
  void change(ChannelState to) {
    state = to;
    const auto report = events.stateChanged;
    if (!destroyed && report) report(to);
  }
  void open() { change(ChannelState::open); }
  void close() { change(ChannelState::closed); }
  void deliver(const QByteArray& data, bool binary = false) {
    const auto report = events.message;
    if (!destroyed && report) report(data, binary);
  }
  void deliver(const JsonObject& message) { deliver(toJson(message)); }

  QList<JsonObject> messages() const {
    QList<JsonObject> decoded;
    for (const QByteArray& data : sent) decoded.append(parseJsonObject(data).value_or(JsonObject()));
    return decoded;
  }
  // The values of "type", in order.
  QStringList types() const {
    QStringList types;
    for (const JsonObject& message : messages()) types.append(message.value(QStringLiteral("type")).toString());
    return types;
  }
  QList<JsonObject> takeMessages() {
    QList<JsonObject> taken = messages();
    sent.clear();
    return taken;
  }
};

class FakeDataChannel final : public DataChannel {
 public:
  FakeDataChannel(std::shared_ptr<FakeChannel> channel, Journal* journal)
      : channel_(std::move(channel)), journal_(journal) {}
  ~FakeDataChannel() override {
    channel_->destroyed = true;
    channel_->state = ChannelState::closed;
  }
  ChannelState state() const override { return channel_->state; }
  void setEvents(Events events) override { channel_->events = std::move(events); }
  bool send(const QByteArray& data, bool binary) override {
    if (channel_->state != ChannelState::open || binary) return false;
    channel_->sent.append(data);
    if (journal_) {
      const JsonObject message = parseJsonObject(data).value_or(JsonObject());
      journal_->note(channel_->label + QStringLiteral(" <- ") + message.value(QStringLiteral("type")).toString());
    }
    return true;
  }
  quint64 maxMessageSize() const override { return channel_->longest; }
  quint64 bufferedAmount() const override { return channel_->buffered; }
  void close() override { channel_->state = ChannelState::closed; }

 private:
  std::shared_ptr<FakeChannel> channel_;
  Journal* journal_;
};

}  // namespace vantora::fakes
