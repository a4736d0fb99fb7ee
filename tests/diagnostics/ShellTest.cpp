#include <QTemporaryDir>
#include <limits>

#include "Diagnostics/Shell.h"
#include "tests/diagnostics/Printing.h"
#include "tests/fakes/Processes.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

// Time limit of commands that wait for nothing, for a machine that is busy with other things.
constexpr double kAmple = 30;
// Time limit of commands that reach it; what they do before that must fit into it.
constexpr double kShort = 3;

void writeFile(const QString& path, const QByteArray& content) {
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write(content);
}

// A home whose login profile is the given one.
struct Home {
  explicit Home(const QByteArray& profile) {
    writeFile(folder.filePath(u".bash_profile"_s), profile);
    Variables variables = ownVariables();
    variables.insert(u"HOME"_s, folder.path());
    limits.environment = entriesOf(variables);
  }
  QTemporaryDir folder;
  ShellLimits limits;
};

// The profile of the user who runs the tests may take long.
QString run(const QString& commandLine, double timeoutSeconds = kAmple) {
  return sh(commandLine, timeoutSeconds, Home({}).limits);
}

TEST(ShellTest, runsALoginShellAndTrimsItsOutput) {
  const Home home("export FROM_PROFILE=read\n");
  EXPECT_EQ(sh(u"shopt -q login_shell && printf '  \\n %s \\t\\n\\n' \"$BASH $FROM_PROFILE\""_s, kAmple, home.limits),
            u"/bin/bash read"_s);
}

TEST(ShellTest, readsNoProfileWhereThatIsNotWanted) {
  Home home("echo noise; export FROM_PROFILE=read; sleep 300\n");
  home.limits.login = false;
  EXPECT_EQ(sh(u"shopt -q login_shell || echo \"plain $FROM_PROFILE\""_s, kAmple, home.limits), u"plain"_s);
}

TEST(ShellTest, throwsStandardErrorAwayHoweverMuchThereIs) {
  EXPECT_EQ(run(u"head -c 3000000 /dev/zero >&2; echo done"_s), u"done"_s);
}

TEST(ShellTest, standardInputIsEmpty) { EXPECT_EQ(run(u"cat; echo end"_s), u"end"_s); }

TEST(ShellTest, outputThatIsNotUtf8IsNothing) {
  EXPECT_EQ(run(u"printf 'B\\303\\274ro'"_s), u"Büro"_s);
  EXPECT_EQ(run(u"printf 'good\\377'"_s), QString());
  EXPECT_EQ(run(u"printf 'half \\303'"_s), QString());
}

TEST(ShellTest, aCommandThatCannotRunGivesNothing) {
  EXPECT_EQ(run(u"no-such-command-anywhere"_s), QString());
  EXPECT_EQ(run(u"echo \"unfinished"_s), QString());
  EXPECT_EQ(run(QString()), QString());
}

TEST(ShellTest, theExitStatusDoesNotMatter) { EXPECT_EQ(run(u"echo text; exit 3"_s), u"text"_s); }

TEST(ShellTest, endsAtTheTimeLimitAndKeepsWhatWasPrinted) {
  const Home home({});
  const Stopwatch watch;
  EXPECT_EQ(sh(u"echo before; exec sleep 300"_s, kShort, home.limits), u"before"_s);
  EXPECT_GE(watch.seconds(), kShort - 0.1);
  EXPECT_LT(watch.seconds(), 20);
}

TEST(ShellTest, theUsualTimeLimitIsTwoAndAHalfSeconds) {
  const Stopwatch watch;
  EXPECT_EQ(sh(u"exec sleep 300"_s), QString());
  EXPECT_GE(watch.seconds(), 2.4);
  EXPECT_LT(watch.seconds(), 20);
}

TEST(ShellTest, grandchildrenEndWithTheCommand) {
  const Home home({});
  const qint64 pid = sh(u"(sleep 300 & echo $!; wait) | cat"_s, kShort, home.limits).toLongLong();
  ASSERT_GT(pid, 0);
  EXPECT_TRUE(becomesTrue([&] { return !isAlive(pid); }));
}

TEST(ShellTest, aBackgroundProcessThatHoldsTheOutputIsEndedAtTheTimeLimit) {
  const Home home({});
  const Stopwatch watch;
  const qint64 pid = sh(u"sleep 300 & echo $!"_s, kShort, home.limits).toLongLong();
  EXPECT_LT(watch.seconds(), 20);
  ASSERT_GT(pid, 0);
  EXPECT_TRUE(becomesTrue([&] { return !isAlive(pid); }));
}

TEST(ShellTest, aProcessThatLeftTheGroupIsNotWaitedFor) {
  const Home home({});
  const Stopwatch watch;
  const qint64 pid = sh(u"setsid sleep 300 & echo $!"_s, kShort, home.limits).toLongLong();
  EXPECT_LT(watch.seconds(), 20);
  ASSERT_GT(pid, 0);
  if (isAlive(pid)) kill(static_cast<pid_t>(pid), SIGKILL);
}

TEST(ShellTest, aCommandThatRefusesToEndIsKilled) {
  const Home home({});
  const Stopwatch watch;
  const qint64 pid = sh(u"trap '' TERM; echo $$; while :; do sleep 0.01; done"_s, kShort, home.limits).toLongLong();
  EXPECT_LT(watch.seconds(), 20);
  ASSERT_GT(pid, 0);
  EXPECT_TRUE(becomesTrue([&] { return !isAlive(pid); }));
}

TEST(ShellTest, aCommandThatClosesItsOutputIsStillBoundByTheTimeLimit) {
  const Home home({});
  const Stopwatch watch;
  EXPECT_EQ(sh(u"echo said; exec >&-; sleep 300"_s, kShort, home.limits), u"said"_s);
  EXPECT_GE(watch.seconds(), kShort - 0.1);
  EXPECT_LT(watch.seconds(), 20);
}

TEST(ShellTest, aProfileThatHangsCostsTheTimeLimitOnly) {
  const Home home("sleep 300\n");
  const Stopwatch watch;
  EXPECT_EQ(sh(u"echo never"_s, 0.5, home.limits), QString());
  EXPECT_LT(watch.seconds(), 20);
}

TEST(ShellTest, keepsTheFirstMebibyteOfALongOutputAndLetsTheCommandEnd) {
  QTemporaryDir folder;
  const Home home({});
  ShellLimits limits = home.limits;
  limits.environment.append(u"MARK="_s + folder.filePath(u"ended"_s));
  const QString output = sh(u"head -c 100000000 /dev/zero | tr '\\0' x; touch \"$MARK\""_s, kAmple, limits);
  EXPECT_EQ(output.size(), 1 << 20);
  EXPECT_EQ(output.count(u'x'), output.size());
  EXPECT_TRUE(QFile::exists(folder.filePath(u"ended"_s)));
}

TEST(ShellTest, anEndlessOutputEndsAtTheTimeLimit) {
  const Home home({});
  const Stopwatch watch;
  EXPECT_EQ(sh(u"yes x"_s, kShort, home.limits).size(), (1 << 20) - 1) << "two bytes a line, the last one trimmed";
  EXPECT_LT(watch.seconds(), 20);
}

TEST(ShellTest, aCutInsideACharacterDropsThatCharacter) {
  ShellLimits limits = Home({}).limits;
  for (const qsizetype kept : {3, 4, 5, 6}) {
    limits.keptBytes = kept;
    EXPECT_EQ(sh(u"printf 'aaa\\360\\237\\230\\200bbb'"_s, kAmple, limits), u"aaa"_s) << kept;
  }
  limits.keptBytes = 7;
  EXPECT_EQ(sh(u"printf 'aaa\\360\\237\\230\\200bbb'"_s, kAmple, limits), u"aaa\U0001F600"_s);
  limits.keptBytes = 0;
  EXPECT_EQ(sh(u"echo text"_s, kAmple, limits), QString());
}

TEST(ShellTest, aTimeOutInsideACharacterKeepsTheTextBeforeIt) {
  const Home home({});
  EXPECT_EQ(sh(u"printf 'text \\303'; exec sleep 300"_s, kShort, home.limits), u"text"_s);
}

TEST(ShellTest, withoutTimeNothingIsStarted) {
  QTemporaryDir folder;
  const Home home({});
  ShellLimits limits = home.limits;
  limits.environment.append(u"MARK="_s + folder.filePath(u"started"_s));
  const QString command = u"touch \"$MARK\"; echo text"_s;
  for (const double timeout : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(sh(command, timeout, limits), QString());
  }
  limits.deadline = std::chrono::steady_clock::now();
  EXPECT_EQ(sh(command, kAmple, limits), QString());
  EXPECT_FALSE(QFile::exists(folder.filePath(u"started"_s)));
}

TEST(ShellTest, endsAtTheDeadlineOfTheWhole) {
  Home home({});
  home.limits.deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(700);
  const Stopwatch watch;
  EXPECT_EQ(sh(u"exec sleep 300"_s, 300, home.limits), QString());
  EXPECT_LT(watch.seconds(), 20);
}

TEST(ShellTest, stoppingKillsTheCommand) {
  Home home({});
  std::stop_source source;
  home.limits.stop = source.get_token();
  const QString mark = home.folder.filePath(u"pid"_s);
  home.limits.environment.append(u"MARK="_s + mark);
  std::jthread stopper([&] {
    EXPECT_TRUE(becomesTrue([&] { return QFile(mark).size() > 1; }));
    source.request_stop();
  });
  const Stopwatch watch;
  EXPECT_EQ(sh(u"echo printed; echo $$ > \"$MARK\"; exec sleep 300"_s, 300, home.limits), u"printed"_s);
  EXPECT_LT(watch.seconds(), 30);
  QFile file(mark);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const qint64 pid = file.readAll().trimmed().toLongLong();
  EXPECT_TRUE(becomesTrue([&] { return !isAlive(pid); }));
}

TEST(ShellTest, commandsStepBackBehindTheSession) {
  const Home home({});
  EXPECT_EQ(sh(u"until [ \"$(nice)\" -ge 10 ]; do :; done; nice; (nice)"_s, kAmple, home.limits), u"10\n10"_s);
  EXPECT_EQ(sh(u"until ionice | grep -q 'prio 7'; do :; done; ionice"_s, kAmple, home.limits),
            u"best-effort: prio 7"_s);
}

TEST(ShellTest, leavesNoDescriptorsAndNoProcessesBehind) {
  expectNothingLeftBehindBy([] { (void)run(u"echo x"_s); });
}

}  // namespace
}  // namespace vantora::Diagnostics
