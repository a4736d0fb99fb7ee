#include <gtest/gtest.h>

#include "platform/linux/support/CommandPlan.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(CommandPlanTest, quotesAnyWord) {
  EXPECT_EQ(shellQuoted(u"plain"_s), u"'plain'"_s);
  EXPECT_EQ(shellQuoted(QString()), u"''"_s);
  EXPECT_EQ(shellQuoted(u"a b$(c)`d`\\"_s), u"'a b$(c)`d`\\'"_s);
  EXPECT_EQ(shellQuoted(u"it's"_s), uR"('it'"'"'s')"_s);
}

TEST(CommandPlanTest, startsProgramsInASessionOfTheirOwn) {
  const QString script = launchScript({u"/usr/bin/xterm"_s, u"-e"_s, u"a b"_s}, QString());
  EXPECT_TRUE(script.contains(u"set -- '/usr/bin/xterm' '-e' 'a b'\nsetsid \"$@\" >/dev/null 2>&1 &\n"_s))
      << script.toStdString();
  EXPECT_FALSE(script.contains(u"--scope"_s));
}

TEST(CommandPlanTest, takesTheServiceManagerOnlyWhereThereIsOne) {
  const QString script = launchScript({u"/usr/bin/xterm"_s}, u"/usr/bin/systemd-run"_s);
  EXPECT_TRUE(script.contains(u"set -- '/usr/bin/systemd-run' --user --scope --quiet --collect -- \"$@\"\n"_s))
      << script.toStdString();
}

}  // namespace
}  // namespace vantora
