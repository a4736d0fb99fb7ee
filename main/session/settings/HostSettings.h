// What the session reads from its environment when it starts.
//
// Pure: reads the configuration into values. Thread: any, in practice main. A number outside its range is set to the
// nearest bound where the range is the library's or the machine's; text that is not a number is ignored.
#pragma once

#include <QList>
#include <QString>
#include <optional>

#include "base/Environment.h"
#include "base/InfoDictionary.h"
#include "base/Random.h"
#include "main/rtc/IceServer.h"

namespace vantora {

// The highest bit rate that a setting accepts, in kbit/s: in bit/s it still fits the library's 32 bits.
inline constexpr int kHighestKbps = 2'000'000;

struct HostSettings {
  bool cursorDebug = false;
  // Never empty; six decimal digits unless `pinLockedByEnv`.
  QString controlPin;
  bool pinLockedByEnv = false;
  std::optional<QString> preferredCodecName;
  std::optional<QString> h264Profile;
  // All kbit/s, in [1, kHighestKbps].
  int lastMaxBitrateKbps = 3000;
  std::optional<int> xGoogleMinKbpsOverride;
  std::optional<int> xGoogleStartKbpsOverride;
  std::optional<int> xGoogleMaxKbpsOverride;
  // Sharing begins with the session.
  bool autoShare = false;
};

// Reads the settings once; logs the accepted codec and profile.
[[nodiscard]] HostSettings readHostSettings(const Environment& environment, const InfoDictionary& info,
                                            const RandomBelow& random);

// The ICE servers of one peer connection. The texts are the user's; whether the library accepts them as addresses is
// known only when the connection is made.
[[nodiscard]] QList<IceServer> readIceServers(const Environment& environment);

}  // namespace vantora
