#include "main/session/settings/HostSettings.h"

#include <algorithm>

#include "base/Log.h"
#include "main/control/authorisation/Pin.h"
#include "main/video/sdp/CodecNames.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

constexpr QLatin1StringView kPublicStunServer = "stun:stun.l.google.com:19302"_L1;

std::optional<int> bitRate(const Environment& environment, const char* name) {
  const auto kbps = environment.integer(name);
  if (!kbps || *kbps < 1) return std::nullopt;
  return static_cast<int>(std::min<qint64>(*kbps, kHighestKbps));
}

void readCodec(const Environment& environment, HostSettings& settings) {
  const auto text = environment.nonEmpty("PREFERRED_CODEC");
  const auto choice = text ? parsePreferredCodec(*text) : std::nullopt;
  if (!choice) return;
  settings.preferredCodecName = choice->name;
  logLine(u"[sdp] env preferred codec="_s + choice->name.value_or(u"auto"_s));
}

void readProfile(const Environment& environment, HostSettings& settings) {
  const auto text = environment.nonEmpty("H264_PROFILE");
  if (!text) return;
  settings.h264Profile = h264ProfileFor(*text);
  logLine(u"[sdp] env h264 profile="_s + *settings.h264Profile);
}

}  // namespace

HostSettings readHostSettings(const Environment& environment, const InfoDictionary& info, const RandomBelow& random) {
  HostSettings settings;
  settings.cursorDebug = environment.equals("CURSOR_DEBUG", "1"_L1);
  if (const auto token = environment.nonEmpty("CONTROL_TOKEN")) {
    settings.controlPin = *token;
    settings.pinLockedByEnv = true;
  } else {
    settings.controlPin = makePin(random);
  }
  readCodec(environment, settings);
  readProfile(environment, settings);
  settings.lastMaxBitrateKbps = bitRate(environment, "MAX_KBPS").value_or(settings.lastMaxBitrateKbps);
  settings.xGoogleMinKbpsOverride = bitRate(environment, "X_GOOGLE_MIN_KBPS");
  settings.xGoogleStartKbpsOverride = bitRate(environment, "X_GOOGLE_START_KBPS");
  settings.xGoogleMaxKbpsOverride = bitRate(environment, "X_GOOGLE_MAX_KBPS");
  settings.autoShare = info.value("VANTORA_SHARE_AUTO") == u"1"_s || environment.equals("SHARE_AUTO", "1"_L1);
  return settings;
}

QList<IceServer> readIceServers(const Environment& environment) {
  QList<IceServer> servers;
  if (const auto urls = environment.value("ICE_URLS")) {
    const auto username = environment.value("ICE_USERNAME");
    const auto credential = environment.value("ICE_CREDENTIAL");
    for (const QString& piece : urls->split(u',', Qt::SkipEmptyParts)) {
      const QString url = piece.trimmed();
      if (!url.isEmpty()) servers.append({url, username, credential});
    }
    return servers;  // Also when empty: the user asked for no server at all.
  }
  servers.append({kPublicStunServer, std::nullopt, std::nullopt});
  const auto username = environment.value("TURN_USERNAME");
  const auto credential = environment.value("TURN_CREDENTIAL");
  const auto url = environment.value("TURN_URL");
  if (username && credential && url) servers.append({*url, username, credential});
  return servers;
}

}  // namespace vantora
