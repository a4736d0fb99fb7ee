#include "main/video/sdp/SdpInspect.h"

#include <QStringTokenizer>

using namespace Qt::Literals::StringLiterals;

namespace vantora {

std::optional<QString> dtlsFingerprint(QStringView sdp) {
  constexpr QLatin1StringView kPrefix = "a=fingerprint:"_L1;
  for (const QStringView line : qTokenize(sdp, u'\n')) {
    if (!line.startsWith(kPrefix)) continue;
    const QString text = line.sliced(kPrefix.size()).toString().simplified();
    const qsizetype space = text.indexOf(u' ');
    if (space > 0) return text.first(space).toLower() + text.sliced(space).toUpper();
  }
  return std::nullopt;
}

std::optional<QString> iceUfrag(QStringView sdp) {
  constexpr QLatin1StringView kPrefix = "a=ice-ufrag:"_L1;
  for (const QStringView line : qTokenize(sdp, u'\n')) {
    if (line.startsWith(kPrefix)) return line.sliced(kPrefix.size()).trimmed().toString();
  }
  return std::nullopt;
}

}  // namespace vantora
