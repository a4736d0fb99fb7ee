#include "main/rtc/NativeH264Profiles.h"

#include <QStringList>
#include <optional>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

namespace {

// The profile-level-id of a line; empty if there is none.
std::optional<QString> profileOf(const QString& line) {
  constexpr QLatin1StringView kName = "profile-level-id="_L1;
  const qsizetype at = line.indexOf(kName);
  if (at < 0) return std::nullopt;
  return line.mid(at + kName.size()).section(u';', 0, 0).trimmed();
}

}  // namespace

QString withNativeH264Profiles(const QString& offered, const QString& rewritten) {
  const QStringList own = offered.split(u'\n');
  QStringList lines = rewritten.split(u'\n');
  if (own.size() != lines.size()) return rewritten;
  for (qsizetype i = 0; i < lines.size(); ++i) {
    if (!own[i].startsWith("a=fmtp:"_L1) || !profileOf(own[i])) continue;
    const bool sameFormat = lines[i].startsWith(own[i].section(u' ', 0, 0) + u' ');
    if (!sameFormat || profileOf(own[i]) != profileOf(lines[i])) lines[i] = own[i];
  }
  return lines.join(u'\n');
}

}  // namespace vantora
