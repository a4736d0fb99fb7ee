#include "main/session/settings/HostSettings.h"

#include <QRandomGenerator>
#include <algorithm>
#include <limits>

#include "main/base/Log.h"
#include "main/video/sdp/CodecNames.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

constexpr quint32 kPinLimit = 1'000'000;
constexpr QLatin1StringView kPublicStunServer = "stun:stun.l.google.com:19302"_L1;

std::optional<int> bitRate(const Environment& environment, const char* name) {
  const auto kbps = environment.integer(name);
  if (!kbps || *kbps < 1) return std::nullopt;
  return static_cast<int>(std::min<qint64>(*kbps, kHighestKbps));
}

int bounded(const Environment& environment, const char* name, qint64 fallback, qint64 lowest, qint64 highest) {
  return static_cast<int>(std::clamp(environment.integer(name).value_or(fallback), lowest, highest));
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

RandomBelow systemRandom() {
  return [](quint32 limit) { return QRandomGenerator::system()->bounded(limit); };
}

QString makePin(const RandomBelow& random) { return QString::number(random(kPinLimit)).rightJustified(6, u'0'); }

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

VideoEnvironment readVideoEnvironment(const Environment& environment) {
  VideoEnvironment video;
  video.fps = bounded(environment, "FPS", video.fps, 1, 240);
  video.width = bounded(environment, "WIDTH", video.width, 16, 16384);
  video.height = bounded(environment, "HEIGHT", video.height, 16, 16384);
  video.displayIndex = bounded(environment, "DISPLAY_INDEX", 0, 0, std::numeric_limits<int>::max());
  if (const auto map = environment.value("INPUT_MAP")) video.inputUsesPoints = map->toLower() != "pixels"_L1;
  if (const auto origin = environment.value("INPUT_ORIGIN")) video.inputOriginTop = origin->toLower() != "bottom"_L1;
  video.shareIdleVideo = environment.equals("SHARE_IDLE_VIDEO", "1"_L1);
  const auto hint = environment.value("CONTENT_HINT");
  video.contentHint = hint && hint->toLower() == "detail"_L1 ? u"detail"_s : u"motion"_s;
  return video;
}

}  // namespace vantora
