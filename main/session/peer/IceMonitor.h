// Watches the ICE connection state and recovers a lost connection.
#pragma once

#include <functional>
#include <memory>

#include "base/Scheduler.h"
#include "main/rtc/PeerConnection.h"

namespace vantora {

// Thread: main. Owner: Host. Lives across peer connections.
class IceMonitor {
 public:
  struct Callbacks {
    // The state changed; called for every report.
    std::function<void(IceState)> changed;
    // The connection is lost and must be renewed now.
    std::function<void(bool immediate)> attemptIceRecovery;
  };

  IceMonitor(Scheduler& scheduler, Callbacks callbacks) : scheduler_(scheduler), callbacks_(std::move(callbacks)) {}

  // A state reported by the peer connection.
  void iceConnectionDidChange(IceState state);
  // The previous connection was replaced; its pending recovery is cancelled.
  void connectionReplaced();

  IceState iceState() const { return iceState_; }
  QString getICEStateLabel() const { return iceStateLabel(iceState_); }
  // Whether media can reach a viewer.
  bool connected() const { return iceState_ == IceState::connected || iceState_ == IceState::completed; }

 private:
  Scheduler& scheduler_;
  Callbacks callbacks_;
  IceState iceState_ = IceState::initial;
  std::unique_ptr<Timer> iceRecoveryTimer_;
};

}  // namespace vantora
