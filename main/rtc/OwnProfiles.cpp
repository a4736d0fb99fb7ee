#include "main/rtc/OwnProfiles.h"

#include <QStringList>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

QString withOwnProfiles(const QString& offered, const QString& rewritten) {
  const QStringList own = offered.split(u'\n');
  QStringList lines = rewritten.split(u'\n');
  if (own.size() != lines.size()) return rewritten;
  for (qsizetype i = 0; i < lines.size(); ++i) {
    if (own[i].startsWith("a=fmtp:"_L1) && own[i].contains("profile-level-id="_L1)) lines[i] = own[i];
  }
  return lines.join(u'\n');
}

}  // namespace vantora
