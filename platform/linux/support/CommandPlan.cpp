#include "platform/linux/support/CommandPlan.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

}  // namespace

QString shellQuoted(const QString& word) {
  QString inside = word;
  return u'\'' + inside.replace(u'\'', uR"('"'"')"_s) + u'\'';
}

QString launchScript(const QStringList& command, const QString& serviceManager) {
  QStringList words;
  for (const QString& word : command) words.append(shellQuoted(word));
  // Without a scope the program only gets its own session.
  const QString scoped =
      uR"sh(scoped() { %1 --user --scope --quiet --collect -- "$@"; }
if scoped true >/dev/null 2>&1; then
  set -- %1 --user --scope --quiet --collect -- "$@"
fi
)sh"_s;
  const QString set = u"set -- "_s + words.join(u' ') + u'\n';
  return (serviceManager.isEmpty() ? set : set + QString(scoped).replace(u"%1"_s, shellQuoted(serviceManager))) +
         u"setsid \"$@\" >/dev/null 2>&1 &\n"
         "tries=0\n"
         "while [ $tries -lt 10 ] && kill -0 $! 2>/dev/null; do sleep 0.1; tries=$((tries + 1)); done\n"
         // On an overloaded machine the program may not yet have left the process group of this script.
         "while name=$(cat /proc/$!/comm 2>/dev/null); [ \"$name\" = sh ] || [ \"$name\" = setsid ]; do sleep 0.1; "
         "done\n"
         "if kill -0 $! 2>/dev/null; then exit 0; fi\n"
         "wait $!\n"
         "status=$?\n"
         "if [ $status -ne 0 ]; then echo "_s +
         shellQuoted(command.value(0).section(u'/', -1)) +
         u" ended at once with status $status >&2; fi\n"
         "exit $status\n"_s;
}

}  // namespace vantora
