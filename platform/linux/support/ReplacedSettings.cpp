#include "platform/linux/support/ReplacedSettings.h"

#include <QRegularExpression>

#include "platform/linux/support/CommandPlan.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

QString settingFunctions(const ReplacedSettings& settings) {
  QString script = u"before() {\n  case $1=$2 in\n"_s;
  for (auto setting = settings.begin(); setting != settings.end(); ++setting) {
    if (setting->previous.isEmpty()) continue;
    script += u"    %1) next=%2 ;;\n"_s.arg(shellQuoted(setting.key() + u'=' + setting->replacement),
                                            shellQuoted(setting->previous));
  }
  // The ASCII record and unit separators: no tool prints them.
  return script +
         u"    *) return 1 ;;\n  esac\n}\nnote() {\n  printf '\\036%s\\037%s\\037%s\\036' \"$1\" \"$2\" \"$3\"\n}\n"_s;
}

ReplacedSettings takeReplacedSettings(QString& output) {
  static const QRegularExpression note(u"\\x1e([^\\x1e\\x1f]*)\\x1f([^\\x1e\\x1f]*)\\x1f([^\\x1e\\x1f]*)\\x1e"_s);
  ReplacedSettings settings;
  for (const QRegularExpressionMatch& match : note.globalMatch(output)) {
    settings.insert(match.captured(1), {.previous = match.captured(2), .replacement = match.captured(3)});
  }
  output.remove(note);
  return settings;
}

}  // namespace vantora
