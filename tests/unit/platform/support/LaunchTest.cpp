#include "platform/linux/support/CommandPlan.h"
#include "platform/linux/support/CommandRunner.h"
#include "platform/linux/support/LoginShell.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/support/TestHome.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Starting detached programs.
class LaunchTest : public testing::Test {
 protected:
  ~LaunchTest() override { killNow(home_.number(u"pid"_s)); }
  CommandOutcome launch(const QString& program, const QString& serviceManager = QString()) {
    return runCommand({.command = throughLoginShell(
                           u"/bin/sh"_s, launchScript({home_.path(u"bin/"_s + program), u"a b"_s}, serviceManager)),
                       .environment = home_.environment.toStringList(),
                       .folder = home_.path()},
                      {}, {});
  }
  TestHome home_;
};

TEST_F(LaunchTest, isWellWhenTheProgramRunsAndLetsItLive) {
  home_.program(u"window"_s, "echo \"$1\" > argument; echo $$ > pid; yes >&2 & exec sleep 300");
  const Stopwatch watch;
  const CommandOutcome outcome = launch(u"window"_s);
  EXPECT_TRUE(outcome.ok) << outcome.standardError.toStdString();
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.standardOutput + outcome.standardError, QString());
  EXPECT_LT(watch.seconds(), 15);
  ASSERT_TRUE(becomesTrue([&] { return home_.number(u"pid"_s) > 0; }));
  EXPECT_EQ(home_.read(u"argument"_s), u"a b\n"_s);
  const qint64 pid = home_.number(u"pid"_s);
  EXPECT_TRUE(isAlive(pid));
  EXPECT_EQ(getsid(static_cast<pid_t>(pid)), static_cast<pid_t>(pid)) << "out of reach of the watchdog";
  (void)kill(static_cast<pid_t>(-pid), SIGKILL);
}

TEST_F(LaunchTest, isWellWhenTheProgramHandsOverAndEnds) {
  home_.program(u"window"_s, "exit 0");
  const CommandOutcome outcome = launch(u"window"_s);
  EXPECT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.standardError, QString());
}

TEST_F(LaunchTest, failsWithTheStatusOfAProgramThatEndsAtOnce) {
  home_.program(u"window"_s, "echo no display >&2; exit 3");
  // A program that runs for a second counts as started: on a busy machine it may be slow to end.
  CommandOutcome outcome = launch(u"window"_s);
  for (int again = 0; outcome.ok && again < 4; ++again) outcome = launch(u"window"_s);
  EXPECT_FALSE(outcome.ok);
  EXPECT_EQ(outcome.code, 3);
  EXPECT_EQ(outcome.standardError, u"window ended at once with status 3\n"_s);
  EXPECT_FALSE(launch(u"no-such-program"_s).ok);
}

TEST_F(LaunchTest, putsTheProgramUnderTheServiceManagerWhenThatAnswers) {
  home_.program(u"window"_s, "echo $$ > pid; exec sleep 300");
  home_.program(u"systemd-run"_s,
                "echo \"$@\" >> asked; while [ \"$1\" != -- ]; do shift; done\n"
                "shift\nexec \"$@\"");
  EXPECT_TRUE(launch(u"window"_s, home_.path(u"bin/systemd-run"_s)).ok);
  const QString asked = u"--user --scope --quiet --collect -- true\n--user --scope --quiet --collect -- "_s +
                        home_.path(u"bin/window"_s) + u" a b\n"_s;
  EXPECT_TRUE(becomesTrue([&] { return home_.read(u"asked"_s) == asked; })) << home_.read(u"asked"_s).toStdString();
  EXPECT_TRUE(becomesTrue([&] { return isAlive(home_.number(u"pid"_s)); }));
}

TEST_F(LaunchTest, startsTheProgramAllTheSameWhenTheServiceManagerRefuses) {
  home_.program(u"window"_s, "echo $$ > pid; exec sleep 300");
  home_.program(u"systemd-run"_s, "exit 1");
  EXPECT_TRUE(launch(u"window"_s, home_.path(u"bin/systemd-run"_s)).ok);
  EXPECT_TRUE(becomesTrue([&] { return isAlive(home_.number(u"pid"_s)); }));
}

}  // namespace
}  // namespace vantora
