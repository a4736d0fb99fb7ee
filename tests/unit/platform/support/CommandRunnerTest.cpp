#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/support/CommandRunner.h"
#include "platform/linux/support/LoginShell.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/support/TestHome.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const QString kMark = u"\n…(truncated)…"_s;

class CommandRunnerTest : public testing::Test {
 protected:
  // Through /bin/sh: the profile of the user who runs the tests may be slow.
  CommandOutcome run(const QString& script, const std::stop_token& stop = {}) {
    return runCommand({.command = throughLoginShell(u"/bin/sh"_s, script),
                       .environment = home_.environment.toStringList(),
                       .folder = home_.path()},
                      limits_, stop);
  }
  // As run, with a short watchdog that still leaves a busy machine time for the steps before it.
  CommandOutcome runShortly(const QString& script, std::chrono::milliseconds grace = 10s) {
    limits_.watchdog = 3s;
    limits_.grace = grace;
    return run(script);
  }

  TestHome home_;
  CommandLimits limits_;
};

TEST_F(CommandRunnerTest, reportsBothOutputsAndTheStatus) {
  const CommandOutcome good = run(u"echo out; echo err >&2"_s);
  EXPECT_TRUE(good.ok);
  EXPECT_EQ(good.code, 0);
  EXPECT_EQ(good.standardOutput, u"out\n"_s);
  EXPECT_EQ(good.standardError, u"err\n"_s);
  for (const int code : {1, 3, 126, 255}) {
    const CommandOutcome bad = run(u"exit %1"_s.arg(code));
    EXPECT_FALSE(bad.ok);
    EXPECT_EQ(bad.code, code);
  }
}

TEST_F(CommandRunnerTest, reportsTheSignalThatEndedACommandAsAShellDoes) {
  const CommandOutcome outcome = run(u"kill -KILL $$"_s);
  EXPECT_FALSE(outcome.ok);
  EXPECT_EQ(outcome.code, 128 + SIGKILL);
}

TEST_F(CommandRunnerTest, saysWhyACommandCannotStart) {
  const CommandOutcome outcome = runCommand(
      {.command = {u"/no/such/shell"_s, u"-lc"_s, u"true"_s}, .environment = {}, .folder = home_.path()}, limits_, {});
  EXPECT_FALSE(outcome.ok);
  EXPECT_EQ(outcome.code, 127);
  EXPECT_EQ(outcome.standardOutput, QString());
  EXPECT_EQ(outcome.standardError, u"Failed to start: No such file or directory"_s);
}

TEST_F(CommandRunnerTest, readsTheProfileOfTheUser) {
  home_.write(u".profile"_s, "export FROM_PROFILE=read\n");
  EXPECT_EQ(run(u"echo $FROM_PROFILE"_s).standardOutput, u"read\n"_s);
}

TEST_F(CommandRunnerTest, runsInTheHomeOfTheUserWithTheEnvironmentGiven) {
  home_.environment.insert(u"GIVEN"_s, u"a b"_s);
  EXPECT_EQ(run(u"pwd; echo \"$GIVEN\""_s).standardOutput, home_.path() + u"\na b\n"_s);
  const CommandOutcome outcome =
      runCommand({.command = {u"/bin/pwd"_s}, .environment = {}, .folder = u"/no/such"_s}, limits_, {});
  EXPECT_EQ(outcome.standardOutput, u"/\n"_s) << "a home that is gone is no reason to fail";
}

TEST_F(CommandRunnerTest, hasASessionOfItsOwnEmptyInputAndNoneOfOurFiles) {
  const int secret = ::open("/dev/null", O_RDONLY);  // NOLINT: without O_CLOEXEC on purpose
  ASSERT_GE(secret, 0);
  EXPECT_EQ(run(u"cat; test \"$(ps -o sid= -p $$ | tr -d ' ')\" = $$ && echo leader"_s).standardOutput, u"leader\n"_s);
  // No pipe: the shell would briefly have its ends open.
  EXPECT_EQ(run(u"ls /proc/$$/fd; true"_s).standardOutput, u"0\n1\n2\n"_s);
  ::close(secret);
}

TEST_F(CommandRunnerTest, cutsLongOutputAndSaysSo) {
  const CommandOutcome outcome =
      run(u"head -c 10000 /dev/zero | tr '\\0' x; head -c 8192 /dev/zero | tr '\\0' y >&2"_s);
  EXPECT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.standardOutput, QString(8192, u'x') + kMark);
  EXPECT_EQ(outcome.standardError, QString(8192, u'y'));
}

TEST_F(CommandRunnerTest, outputThatIsNotUtf8IsEmpty) {
  const CommandOutcome outcome = run(u"printf 'good\\377'; printf 'B\\303\\274ro' >&2"_s);
  EXPECT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.standardOutput, QString());
  EXPECT_EQ(outcome.standardError, u"Büro"_s);
}

TEST_F(CommandRunnerTest, letsACommandThatFloodsBothOutputsEnd) {
  const CommandOutcome outcome =
      run(u"head -c 5000000 /dev/zero | tr '\\0' x & head -c 5000000 /dev/zero | tr '\\0' y >&2 & wait; exit 5"_s);
  EXPECT_EQ(outcome.code, 5);
  EXPECT_EQ(outcome.standardOutput, QString(8192, u'x') + kMark);
  EXPECT_EQ(outcome.standardError, QString(8192, u'y') + kMark);
}

TEST_F(CommandRunnerTest, anEndlessFloodEndsAtTheWatchdogInBoundedMemory) {
  const auto memory = [] {
    QFile status(u"/proc/self/status"_s);
    EXPECT_TRUE(status.open(QIODevice::ReadOnly));
    const QByteArray text = status.readAll();
    return text.mid(text.indexOf("VmHWM:") + 6).trimmed().split(' ').first().toLongLong();
  };
  const qint64 before = memory();
  const Stopwatch watch;
  const CommandOutcome outcome = runShortly(u"yes out & yes err >&2 & wait"_s);
  EXPECT_FALSE(outcome.ok);
  EXPECT_LT(watch.seconds(), 15);
  EXPECT_EQ(outcome.standardOutput.size(), 8192 + kMark.size());
  EXPECT_EQ(outcome.standardError.size(), 8192 + kMark.size());
  EXPECT_LT(memory(), before + 16 * 1024) << "KiB";
}

TEST_F(CommandRunnerTest, endsACommandAtTheWatchdogAndReportsWhatThatProduced) {
  const Stopwatch watch;
  const CommandOutcome outcome = runShortly(u"echo before; exec sleep 300"_s);
  EXPECT_GE(watch.seconds(), 3);
  EXPECT_LT(watch.seconds(), 15);
  EXPECT_FALSE(outcome.ok);
  EXPECT_EQ(outcome.code, 128 + SIGTERM);
  EXPECT_EQ(outcome.standardOutput, u"before\n"_s);
  EXPECT_EQ(runShortly(u"trap 'echo asked; exit 7' TERM; while :; do sleep 0.01; done"_s).code, 7);
}

TEST_F(CommandRunnerTest, twentySecondsIsTheUsualWatchdog) {
  const Stopwatch watch;
  EXPECT_EQ(run(u"exec sleep 300"_s).code, 128 + SIGTERM);
  EXPECT_GE(watch.seconds(), 20);
  EXPECT_LT(watch.seconds(), 40);
}

TEST_F(CommandRunnerTest, theWatchdogEndsTheWholeGroup) {
  (void)runShortly(u"(sleep 300 & echo $! > child; wait) | cat"_s);
  const qint64 pid = home_.number(u"child"_s);
  ASSERT_GT(pid, 0);
  EXPECT_TRUE(becomesTrue([&] { return !isAlive(pid); }));
}

TEST_F(CommandRunnerTest, killsACommandThatIgnoresTheRequestToEnd) {
  const Stopwatch watch;
  const CommandOutcome outcome = runShortly(
      u"trap '' TERM; (trap '' TERM; echo $$ > child; while :; do sleep 0.01; done) & while :; do sleep 0.01; done"_s,
      1s);
  EXPECT_LT(watch.seconds(), 15);
  EXPECT_EQ(outcome.code, 128 + SIGKILL);
  EXPECT_TRUE(becomesTrue([&] { return !isAlive(home_.number(u"child"_s)); }));
}

TEST_F(CommandRunnerTest, aChildInTheBackgroundDoesNotHoldTheResultBack) {
  const Stopwatch watch;
  const CommandOutcome outcome = run(u"sleep 300 & echo $! > child; echo done"_s);
  EXPECT_LT(watch.seconds(), 10);
  EXPECT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.standardOutput, u"done\n"_s);
  EXPECT_TRUE(becomesTrue([&] { return !isAlive(home_.number(u"child"_s)); })) << "it ends with its command";
}

TEST_F(CommandRunnerTest, neitherDoesAChildThatFloodsOrOneThatLeftTheGroup) {
  const Stopwatch watch;
  EXPECT_TRUE(run(u"yes & echo done >&2"_s).ok);
  const CommandOutcome outcome =
      run(u"setsid sh -c 'echo $$ > child; exec sleep 300' & until [ -s child ]; do :; done; echo done"_s);
  EXPECT_LT(watch.seconds(), 15);
  EXPECT_EQ(outcome.standardOutput, u"done\n"_s);
  EXPECT_TRUE(isAlive(home_.number(u"child"_s)));
  killNow(home_.number(u"child"_s));
}

TEST_F(CommandRunnerTest, aCommandThatClosesItsOutputsIsStillBoundByTheWatchdog) {
  const CommandOutcome outcome = runShortly(u"echo said; exec >&- 2>&-; exec sleep 300"_s);
  EXPECT_EQ(outcome.code, 128 + SIGTERM);
  EXPECT_EQ(outcome.standardOutput, u"said\n"_s);
}

TEST_F(CommandRunnerTest, stoppingEndsTheCommand) {
  std::stop_source source;
  std::jthread stopper([&] {
    EXPECT_TRUE(becomesTrue([&] { return home_.number(u"pid"_s) > 0; }));
    source.request_stop();
  });
  const Stopwatch watch;
  EXPECT_EQ(run(u"echo $$ > pid; exec sleep 300"_s, source.get_token()).code, 128 + SIGTERM);
  EXPECT_LT(watch.seconds(), 15);
}

TEST_F(CommandRunnerTest, leavesNoDescriptorsAndNoProcessesBehind) {
  expectNothingLeftBehindBy([this] { (void)run(u"echo x"_s); });
}

}  // namespace
}  // namespace vantora
