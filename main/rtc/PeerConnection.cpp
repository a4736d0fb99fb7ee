#include "main/rtc/PeerConnection.h"

namespace vantora {

QString signalingStateName(SignalingState state) {
  switch (state) {
    case SignalingState::stable:
      return QStringLiteral("stable");
    case SignalingState::haveLocalOffer:
      return QStringLiteral("have-local-offer");
    case SignalingState::haveLocalPrAnswer:
      return QStringLiteral("have-local-pranswer");
    case SignalingState::haveRemoteOffer:
      return QStringLiteral("have-remote-offer");
    case SignalingState::haveRemotePrAnswer:
      return QStringLiteral("have-remote-pranswer");
    case SignalingState::closed:
      return QStringLiteral("closed");
  }
  return QStringLiteral("unknown");
}

QString iceStateLabel(IceState state) {
  switch (state) {
    case IceState::fresh:
      return QStringLiteral("new");
    case IceState::checking:
      return QStringLiteral("checking");
    case IceState::connected:
      return QStringLiteral("connected");
    case IceState::completed:
      return QStringLiteral("completed");
    case IceState::failed:
      return QStringLiteral("failed");
    case IceState::disconnected:
      return QStringLiteral("disconnected");
    case IceState::closed:
      return QStringLiteral("closed");
    case IceState::count:
      return QStringLiteral("count");
  }
  return QStringLiteral("unknown");
}

}  // namespace vantora
