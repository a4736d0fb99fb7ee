#include "platform/linux/support/ReplacedSettings.h"

#include <QRegularExpression>

#include "platform/linux/support/CommandPlan.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

QString settingFunctions(const ReplacedSettings& looks) {
  QString script = u"before() {\n  case $1=$2 in\n"_s;
  for (auto look = looks.begin(); look != looks.end(); ++look) {
    if (look->left.isEmpty()) continue;
    script += u"    %1) next=%2 ;;\n"_s.arg(shellQuoted(look.key() + u'=' + look->taken), shellQuoted(look->left));
  }
  // Characters that separate records and their units: no tool prints them.
  return script +
         u"    *) return 1 ;;\n  esac\n}\nnote() {\n  printf '\\036%s\\037%s\\037%s\\036' \"$1\" \"$2\" \"$3\"\n}\n"_s;
}

ReplacedSettings takeReplacedSettings(QString& output) {
  static const QRegularExpression note(u"\\x1e([^\\x1e\\x1f]*)\\x1f([^\\x1e\\x1f]*)\\x1f([^\\x1e\\x1f]*)\\x1e"_s);
  ReplacedSettings looks;
  for (const QRegularExpressionMatch& match : note.globalMatch(output)) {
    looks.insert(match.captured(1), {.left = match.captured(2), .taken = match.captured(3)});
  }
  output.remove(note);
  return looks;
}

}  // namespace vantora
