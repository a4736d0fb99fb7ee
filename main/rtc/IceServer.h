// One STUN or TURN server of a peer connection.
#pragma once

#include <QString>
#include <optional>

namespace vantora {

struct IceServer {
  QString url;
  std::optional<QString> username;
  std::optional<QString> credential;
  bool operator==(const IceServer&) const = default;
};

}  // namespace vantora
