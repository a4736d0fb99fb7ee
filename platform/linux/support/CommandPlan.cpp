#include "platform/linux/support/CommandPlan.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

}  // namespace

QString shellQuoted(const QString& word) {
  QString inside = word;
  return u'\'' + inside.replace(u'\'', uR"('"'"')"_s) + u'\'';
}

QString launchScript(const QStringList& command, bool serviceManager) {
  QStringList words;
  for (const QString& word : command) words.append(shellQuoted(word));
  const QString scope = u"systemd-run --user --scope --quiet --collect"_s;
  const QString chooseScope =
      serviceManager ? u"scope=; if %1 true >/dev/null 2>&1; then scope='%1 --'; fi\n"_s.arg(scope) : u"scope=\n"_s;
  return chooseScope + u"setsid $scope "_s + words.join(u' ') +
         u" >/dev/null 2>&1 &\n"
         "tries=0\n"
         "while [ $tries -lt 10 ] && kill -0 $! 2>/dev/null; do sleep 0.1; tries=$((tries + 1)); done\n"
         // On a machine that is overloaded it may not even have left the group of this script.
         "while read -r name 2>/dev/null </proc/$!/comm && { [ \"$name\" = sh ] || [ \"$name\" = setsid ]; }; do sleep "
         "0.1; done\n"
         "if kill -0 $! 2>/dev/null; then exit 0; fi\n"
         "wait $!\n"
         "status=$?\n"
         "if [ $status -ne 0 ]; then echo "_s +
         shellQuoted(command.value(0).section(u'/', -1)) +
         u" ended at once with status $status >&2; fi\n"
         "exit $status\n"_s;
}

}  // namespace vantora
