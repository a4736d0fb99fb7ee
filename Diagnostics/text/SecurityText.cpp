#include "Diagnostics/text/SecurityText.h"

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

namespace {

bool isYes(const QString& value) {
  const QString word = value.toLower();
  return word == "1"_L1 || word == "yes"_L1 || word == "true"_L1 || word == "on"_L1 || word == "enable"_L1 ||
         word == "with"_L1;
}

// The last value of "key = value" in an INI file.
QString iniValue(const QString& text, const QString& key) {
  QString result;
  for (const QString& line : trimmedLines(text)) {
    const qsizetype equals = line.indexOf(u'=');
    if (equals > 0 && line.left(equals).trimmed() == key) result = line.mid(equals + 1).trimmed();
  }
  return result;
}

bool opensApt(const QString& configuration) {
  for (const QString& line : trimmedLines(configuration)) {
    if (line.startsWith("//"_L1) || line.startsWith(u'#')) continue;
    const bool namesIt = line.contains("AllowUnauthenticated"_L1, Qt::CaseInsensitive) ||
                         line.contains("AllowInsecureRepositories"_L1, Qt::CaseInsensitive);
    QString value = words(line).value(1);
    if (namesIt && isYes(value.remove(u'"').remove(u';'))) return true;
  }
  return false;
}

bool trustsSource(const QString& list) {
  for (const QString& line : trimmedLines(list)) {
    if (line.startsWith(u'#')) continue;
    const QString low = line.toLower();
    // "deb [trusted=yes] ..." on one line, "Trusted: yes" in a paragraph.
    if (low.startsWith("deb"_L1) && low.section(u'[', 1).section(u']', 0, 0).contains("trusted=yes"_L1)) return true;
    if (low.startsWith("trusted:"_L1) && isYes(low.mid(8).trimmed())) return true;
  }
  return false;
}

}  // namespace

QString firewallState(const QString& text) { return toInteger(text).value_or(0) > 0 ? u"On"_s : u"Off"_s; }

bool isSecureBootOn(const QByteArray& efiVariable) { return efiVariable.size() == 5 && efiVariable[4] == 1; }

bool aptChecksSignatures(const QStringList& configurations, const QStringList& sourceLists) {
  for (const QString& configuration : configurations) {
    if (opensApt(configuration)) return false;
  }
  for (const QString& list : sourceLists) {
    if (trustsSource(list)) return false;
  }
  return true;
}

bool rpmChecksSignatures(const QString& mainConfiguration, const QStringList& repositories, bool byDefault) {
  const QString main = iniValue(mainConfiguration, u"gpgcheck"_s);
  const bool checksByDefault = main.isEmpty() ? byDefault : isYes(main);
  bool any = false;
  for (const QString& repository : repositories) {
    // A file may hold several repositories; one that is disabled is ignored.
    for (const QString& section : QString(u'\n' + repository).split(u"\n["_s).mid(1)) {
      const QString enabled = iniValue(section, u"enabled"_s);
      if (!enabled.isEmpty() && !isYes(enabled)) continue;
      any = true;
      const QString check = iniValue(section, u"gpgcheck"_s);
      if (!(check.isEmpty() ? checksByDefault : isYes(check))) return false;
    }
  }
  // Without any repository, the default applies to packages that are installed by hand.
  return any || checksByDefault;
}

bool isUfwOn(const QString& ufwConf) { return iniValue(ufwConf, u"ENABLED"_s).toLower() == "yes"_L1; }

bool isAnyUnitActive(const QString& text) { return trimmedLines(text).contains(u"active"_s); }

bool filtersInput(const QString& ruleset) {
  bool inInput = false;
  for (const QString& line : trimmedLines(ruleset)) {
    if (line.contains("hook "_L1)) {
      inInput = line.contains("hook input"_L1);
      if (inInput && line.contains("policy drop"_L1)) return true;
      continue;
    }
    if (line.startsWith(u'}')) inInput = false;
    const QStringList fields = words(line);
    if (inInput && (fields.contains(u"drop"_s) || fields.contains(u"reject"_s))) return true;
  }
  return false;
}

}  // namespace vantora::Diagnostics
