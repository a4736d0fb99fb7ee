#include "platform/linux/support/LoginShell.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr auto kSystemShell = "/bin/sh"_L1;

}  // namespace

QString loginShellOfUser() {
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found || !found->pw_shell) {
    return kSystemShell;
  }
  const QString shell = QString::fromLocal8Bit(found->pw_shell);
  return shell.startsWith(u'/') ? shell : QString(kSystemShell);
}

// The script is passed as an argument: shells differ in their quoting, and /bin/sh runs it in every case.
QStringList throughLoginShell(const QString& shell, const QString& script) {
  constexpr std::array kAlike{"sh"_L1, "bash"_L1, "dash"_L1, "zsh"_L1, "ksh"_L1, "ksh93"_L1, "mksh"_L1, "yash"_L1};
  const QString name = shell.sliced(shell.lastIndexOf(u'/') + 1);
  if (name == "fish"_L1) return {shell, u"-lc"_s, u"exec /bin/sh -c $argv[1]"_s, script};
  const bool alike = std::ranges::any_of(kAlike, [&](QLatin1StringView known) { return known == name; });
  return {alike ? shell : QString(kSystemShell), u"-lc"_s, u"exec /bin/sh -c \"$1\""_s, u"sh"_s, script};
}

}  // namespace vantora
