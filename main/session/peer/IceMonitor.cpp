#include "main/session/peer/IceMonitor.h"

#include "base/Log.h"

namespace vantora {
namespace {

// A connection that is only disconnected often recovers by itself within this time.
constexpr std::chrono::milliseconds kDisconnectedGrace{2000};

}  // namespace

void IceMonitor::iceConnectionDidChange(IceState state) {
  iceState_ = state;
  logLine(QStringLiteral("ICE state: %1 (%2)").arg(getICEStateLabel()).arg(static_cast<int>(state)));
  callbacks_.changed(state);
  switch (state) {
    case IceState::connected:
    case IceState::completed:
      iceRecoveryTimer_.reset();
      break;
    case IceState::failed:
      iceRecoveryTimer_.reset();
      callbacks_.attemptIceRecovery(true);
      break;
    case IceState::disconnected:
      iceRecoveryTimer_ = scheduler_.after(kDisconnectedGrace, [this] {
        if (iceState_ == IceState::failed || iceState_ == IceState::disconnected) callbacks_.attemptIceRecovery(false);
      });
      break;
    default:
      break;
  }
}

void IceMonitor::connectionReplaced() {
  iceRecoveryTimer_.reset();
  iceState_ = IceState::initial;
}

}  // namespace vantora
