// What the session reads from its environment when it starts, and what sharing reads at every start.
//
// Purpose: pure reading of configuration into values. Thread: any, in practice main. Owner: none,
// there is no state. A number outside its range is brought to the nearest bound where the range is
// the library's or the machine's, and ignored where it is not a number at all.
#pragma once

#include <QList>
#include <QString>
#include <functional>
#include <optional>

#include "main/base/Environment.h"
#include "main/base/InfoDictionary.h"
#include "main/rtc/IceServer.h"

namespace vantora {

// The highest bit rate a setting can name, in kbit/s: in bit/s it still fits the library's 32 bits.
inline constexpr int kHighestKbps = 2'000'000;

// A uniformly distributed integer in [0, limit).
using RandomBelow = std::function<quint32(quint32 limit)>;
// The system's random generator.
[[nodiscard]] RandomBelow systemRandom();
// A random PIN: six decimal digits with leading zeros.
[[nodiscard]] QString makePin(const RandomBelow& random);

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

// The ICE servers of one peer connection. The texts are the user's: whether they are addresses the
// library accepts is found out when the connection is made.
[[nodiscard]] QList<IceServer> readIceServers(const Environment& environment);

struct VideoEnvironment {
  int fps = 60;          // [1, 240]
  int width = 1280;      // [16, 16384]
  int height = 720;      // [16, 16384]
  int displayIndex = 0;  // not negative
  // None: the variable is absent and the mapping in force stays.
  std::optional<bool> inputUsesPoints;
  std::optional<bool> inputOriginTop;
  bool shareIdleVideo = false;
  QString contentHint;  // "detail" or "motion"
};

// Reads the variables anew at every call.
[[nodiscard]] VideoEnvironment readVideoEnvironment(const Environment& environment);

}  // namespace vantora
