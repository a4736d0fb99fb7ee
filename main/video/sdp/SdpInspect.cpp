#include "main/video/sdp/SdpInspect.h"

#include <QStringTokenizer>

using namespace Qt::Literals::StringLiterals;

namespace vantora {

bool looksLikeSdp(QStringView sdp) {
  if (sdp.size() > kMaxSdpLength || sdp.contains(QChar::Null)) return false;
  return sdp.startsWith("v=0\r\n"_L1) || sdp.startsWith("v=0\n"_L1);
}

std::optional<QString> dtlsFingerprint(QStringView sdp) {
  constexpr QLatin1StringView kPrefix = "a=fingerprint:"_L1;
  for (QStringView line : qTokenize(sdp, u'\n')) {
    if (!line.startsWith(kPrefix)) continue;
    line = line.sliced(kPrefix.size()).trimmed();
    const qsizetype space = line.indexOf(u' ');
    if (space <= 0) continue;
    const QStringView value = line.sliced(space + 1).trimmed();
    return line.first(space).toString().toLower() + u' ' + value.toString().toUpper();
  }
  return std::nullopt;
}

}  // namespace vantora
