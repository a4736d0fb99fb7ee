// What the sender knows about its connection at one moment.
#pragma once

#include <QString>
#include <cstdint>
#include <optional>

namespace vantora {

struct LinkSample {
  // The congestion control's estimate of the rate that the link carries, in bit/s.
  std::optional<double> estimateBps = {};
  // Since the connection began: encoded frames, and the seconds that encoding them took.
  std::optional<std::uint64_t> framesEncoded = {};
  std::optional<double> encodeSeconds = {};
  // The codec that is sent, as its media type names it: "H264", "AV1"; empty: none is known.
  QString codec = {};
  // The address of this machine, as text, that the pair in use sends from; empty: there is none, or a relay hides it.
  QString localAddress = {};
};

}  // namespace vantora
