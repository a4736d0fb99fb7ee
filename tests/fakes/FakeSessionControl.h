// A session for the user interface: the test sets its state and reads the requests it received.
#pragma once

#include <QStringList>

#include "main/ui/SessionControl.h"

namespace vantora::fakes {

class FakeSessionControl final : public SessionControl {
 public:
  FakeSessionControl() {
    shown_.qualityPreset = QStringLiteral("auto");
    shown_.roomId = QStringLiteral("desk-7");
    shown_.controlPIN = QStringLiteral("000042");
  }

  const HostState& state() const override { return shown_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }

  void startSharing() override { note(QStringLiteral("startSharing")); }
  void stopSharing() override { note(QStringLiteral("stopSharing")); }
  void regeneratePIN() override { note(QStringLiteral("regeneratePIN")); }
  void setAllowRemoteControl(bool allowed) override { note(QStringLiteral("control %1").arg(allowed)); }
  void setFileReceiveAllowed(bool allowed) override { note(QStringLiteral("files %1").arg(allowed)); }
  void sendChat(const QString& text) override { note(QStringLiteral("chat ") + text); }
  void quit() override { note(QStringLiteral("quit")); }

  // A change of the session that is reported to the user interface.
  template <typename Change>
  void change(Change with) {
    with(shown_);
    if (changed_) changed_();
  }
  bool hasChangedHandler() const { return static_cast<bool>(changed_); }
  // Requests since the last call, in order.
  QStringList taken() { return std::exchange(asked_, {}); }
  // Called for each of them.
  std::function<void(const QString&)> listener;

 private:
  void note(const QString& what) {
    asked_.append(what);
    if (listener) listener(what);
  }

  HostState shown_;
  std::function<void()> changed_;
  QStringList asked_;
};

}  // namespace vantora::fakes
