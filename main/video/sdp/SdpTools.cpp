#include "main/video/sdp/SdpTools.h"

#include <QHash>
#include <QStringList>
#include <algorithm>

#include "base/Log.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora::SdpTools {
namespace {

constexpr QLatin1StringView kRtpmap = "a=rtpmap:"_L1;
constexpr QLatin1StringView kFmtp = "a=fmtp:"_L1;
constexpr QLatin1StringView kProfile = "profile-level-id="_L1;
constexpr qsizetype kMediaLineHead = 3;  // media, port, protocol

// Payload type to lower-cased codec name.
using PayloadMap = QHash<QString, QString>;

PayloadMap payloadMap(const QStringList& lines) {
  PayloadMap map;
  for (const QString& line : lines) {
    if (!line.startsWith(kRtpmap)) continue;
    const QString text = line.sliced(kRtpmap.size());
    const qsizetype space = text.indexOf(u' ');
    if (space < 0) continue;
    map.insert(text.first(space), text.sliced(space + 1).section(u'/', 0, 0).toLower());
  }
  return map;
}

// The text with the payload types of `codec` (lower case) in front; `moved` receives them.
QString reorder(const QString& sdp, const QString& codec, QStringList& moved) {
  QStringList lines = sdp.split(u'\n');
  const auto media =
      std::find_if(lines.begin(), lines.end(), [](const QString& l) { return l.startsWith("m=video"_L1); });
  if (media == lines.end()) return sdp;
  const PayloadMap map = payloadMap(lines);
  const QStringList words = media->split(u' ', Qt::SkipEmptyParts);
  QStringList head = words.first(qMin(kMediaLineHead, words.size()));
  QStringList others;
  for (const QString& payload : words.sliced(head.size())) {
    const auto found = map.constFind(payload);
    (found != map.constEnd() && *found == codec ? moved : others).append(payload);
  }
  if (moved.isEmpty()) return sdp;
  *media = (head + moved + others).join(u' ');
  return lines.join(u'\n');
}

QString setHints(const QString& sdp, QLatin1StringView codec, int minKbps, int startKbps, int maxKbps) {
  QStringList lines = sdp.split(u'\n');
  const PayloadMap map = payloadMap(lines);
  for (QString& line : lines) {
    if (!line.startsWith(kFmtp)) continue;
    const qsizetype space = line.indexOf(u' ', kFmtp.size());
    if (space < 0) continue;
    const auto found = map.constFind(line.sliced(kFmtp.size(), space - kFmtp.size()));
    if (found == map.constEnd() || *found != codec) continue;
    line = line.first(space + 1) + rebuildFmtp(line.sliced(space + 1), minKbps, startKbps, maxKbps);
  }
  return lines.join(u'\n');
}

// Blanks and tabs only: a carriage return stays.
QString trimBlanks(const QString& text) {
  const auto isBlank = [](QChar c) { return c == u' ' || c == u'\t'; };
  qsizetype begin = 0;
  qsizetype end = text.size();
  while (begin < end && isBlank(text[begin])) ++begin;
  while (end > begin && isBlank(text[end - 1])) --end;
  return text.sliced(begin, end - begin);
}

}  // namespace

QString preferCodec(const QString& sdp, const QString& codecName) {
  const QString codec = codecName.toLower();
  QStringList moved;
  QString rewritten = reorder(sdp, codec, moved);
  if (!moved.isEmpty()) logLine(u"[sdp] prefer codec="_s + codec + u" payloads: "_s + moved.join(u','));
  return rewritten;
}

QString preferH264(const QString& sdp) {
  QStringList moved;
  QString rewritten = reorder(sdp, u"h264"_s, moved);
  if (!moved.isEmpty()) logLine(u"[sdp] prefer H.264 payloads: "_s + moved.join(u','));
  return rewritten;
}

QString rewriteH264Profile(const QString& sdp, const QString& profileHex) {
  const QString profile = kProfile + profileHex.toLower();
  QStringList lines = sdp.split(u'\n');
  for (QString& line : lines) {
    if (!line.startsWith(kFmtp)) continue;
    if (!line.contains("H264"_L1) && !line.contains("profile-level-id"_L1) && !line.contains("packetization-mode"_L1)) {
      continue;
    }
    if (!line.contains(kProfile)) {
      line += u';' + profile;
      continue;
    }
    // The whole piece is replaced, including a prefix or a carriage return in it.
    QStringList pieces = line.split(u';', Qt::SkipEmptyParts);
    for (QString& piece : pieces) {
      if (piece.contains(kProfile)) piece = profile;
    }
    line = pieces.join(u';');
  }
  return lines.join(u'\n');
}

QString setH264BitrateHints(const QString& sdp, int minKbps, int startKbps, int maxKbps) {
  return setHints(sdp, "h264"_L1, minKbps, startKbps, maxKbps);
}

QString setVP8BitrateHints(const QString& sdp, int minKbps, int startKbps, int maxKbps) {
  return setHints(sdp, "vp8"_L1, minKbps, startKbps, maxKbps);
}

QString rebuildFmtp(const QString& parameters, int minKbps, int startKbps, int maxKbps) {
  QStringList kept;
  for (const QString& piece : parameters.split(u';', Qt::SkipEmptyParts)) {
    const QString trimmed = trimBlanks(piece);
    if (!trimmed.startsWith("x-google-"_L1, Qt::CaseInsensitive)) kept.append(trimmed);
  }
  kept.append(u"x-google-min-bitrate="_s + QString::number(minKbps));
  kept.append(u"x-google-start-bitrate="_s + QString::number(startKbps));
  kept.append(u"x-google-max-bitrate="_s + QString::number(maxKbps));
  return kept.join(u';');
}

}  // namespace vantora::SdpTools
