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

}  // namespace vantora
