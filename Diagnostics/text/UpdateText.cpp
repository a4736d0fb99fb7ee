#include "Diagnostics/text/UpdateText.h"

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

namespace {

QString releaseValue(const QString& osRelease, QLatin1StringView key) {
  for (const QString& line : trimmedLines(osRelease)) {
    if (!line.startsWith(key + u'=')) continue;
    QString value = line.mid(key.size() + 1);
    const bool wrapped = value.size() >= 2 && value[0] == value.back() && (value[0] == u'"' || value[0] == u'\'');
    if (wrapped) value = value.mid(1, value.size() - 2);
    return unescaped(value);
  }
  return {};
}

}  // namespace

QString osVersion(const QString& osRelease) {
  QString pretty = releaseValue(osRelease, "PRETTY_NAME"_L1);
  if (!pretty.isEmpty()) return pretty;
  return QString(releaseValue(osRelease, "NAME"_L1) + u' ' + releaseValue(osRelease, "VERSION_ID"_L1)).trimmed();
}

QStringList parseApt(const QString& text) {
  QStringList result;
  for (const QString& line : trimmedLines(text)) {
    if (line.contains(u'/') && line.contains("[upgradable from: "_L1)) result.append(line);
  }
  return result.mid(0, kListedUpdates);
}

QStringList parseDnf(const QString& text) {
  QStringList result;
  for (const QString& line : trimmedLines(text)) {
    // "name.arch  version  repository"; replaced packages are listed below a heading of their own.
    const QStringList fields = words(line);
    if (line.startsWith("Obsoleting"_L1)) break;
    const bool hasVersion = fields.size() == 3 && fields[1].contains(u'-');
    if (hasVersion && fields[0].contains(u'.')) result.append(fields.join(u' '));
  }
  return result.mid(0, kListedUpdates);
}

QStringList parsePackageKit(const QString& text) {
  static const QStringList kSeverities = {u"Available"_s, u"Low"_s,       u"Enhancement"_s, u"Normal"_s,
                                          u"Bug"_s,       u"Important"_s, u"Security"_s,    u"Critical"_s};
  QStringList result;
  for (const QString& line : trimmedLines(text)) {
    const QStringList fields = words(line);
    // "Bug fix" is the one severity of two words.
    const qsizetype package = fields.value(0) == "Bug"_L1 && fields.value(1) == "fix"_L1 ? 2 : 1;
    const bool isPackage = kSeverities.contains(fields.value(0)) && fields.value(package).contains(u'-');
    if (isPackage) result.append(fields.mid(package).join(u' '));
  }
  return result.mid(0, kListedUpdates);
}

}  // namespace vantora::Diagnostics
