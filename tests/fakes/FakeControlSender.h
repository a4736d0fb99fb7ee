// Control channels that record what was sent to the viewer.
#pragma once

#include <QList>

#include "main/control/ControlChannel.h"
#include "tests/fakes/Journal.h"

namespace vantora::fakes {

class FakeControlSender final : public ControlSender {
 public:
  struct Sent {
    ControlChannel channel;
    JsonObject message;
    bool operator==(const Sent&) const = default;
  };
  struct State {
    bool exists = true;
    bool open = true;
  };

  explicit FakeControlSender(Journal* journal = nullptr) : journal_(journal) {}

  bool exists(ControlChannel channel) const override { return of(channel).exists; }
  bool isOpen(ControlChannel channel) const override { return of(channel).exists && of(channel).open; }
  void send(ControlChannel channel, const JsonObject& message) override {
    if (!isOpen(channel)) return;
    sent.append({channel, message});
    if (journal_) journal_->note(labelOf(channel) + QStringLiteral(" <- ") + message.value(u"type").toString());
  }
  quint64 maxMessageSize(ControlChannel) const override { return longest; }
  quint64 bufferedAmount(ControlChannel) const override { return buffered; }
  quint64 connection() const override { return connectionNumber; }

  QList<Sent> take() { return std::exchange(sent, {}); }

  State control;
  State reliable;
  quint64 longest = 262'144;
  quint64 buffered = 0;
  quint64 connectionNumber = 1;
  QList<Sent> sent;

 private:
  const State& of(ControlChannel channel) const { return channel == ControlChannel::control ? control : reliable; }
  Journal* journal_;
};

}  // namespace vantora::fakes
