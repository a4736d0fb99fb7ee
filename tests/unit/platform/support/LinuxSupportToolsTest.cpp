#include "platform/linux/support/DesktopProbe.h"
#include "platform/linux/support/LinuxSupportTools.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/support/TestHome.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Real commands, on a simulated desktop: its own home, and programs that the test puts into PATH.
class LinuxSupportToolsTest : public testing::Test {
 protected:
  LinuxSupportToolsTest() {
    testloop::ensureApplication();
    home_.environment.insert(u"DISPLAY"_s, u":none"_s);
    home_.environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
  }
  ~LinuxSupportToolsTest() override {
    tools_.reset();
    killNow(home_.number(u"pid"_s));
  }
  void start(int maxCommands = 8) {
    tools_ = makeLinuxSupportTools(
        {.environment = home_.environment, .loginShell = u"/bin/sh"_s, .limits = {}, .maxCommands = maxCommands});
  }
  // Runs a command and records its outcome.
  void run(const QString& id) {
    tools_->run(id, [this](const CommandOutcome& outcome) { outcomes_.append(outcome); });
  }
  [[nodiscard]] bool waitForOutcomes(qsizetype count) {
    return testloop::waitFor([&] { return outcomes_.size() >= count; });
  }

  TestHome home_;
  std::unique_ptr<SupportTools> tools_;
  QList<CommandOutcome> outcomes_;
};

TEST_F(LinuxSupportToolsTest, runsTheCounterpartAndReportsTheOutcomeLater) {
  home_.program(u"kreadconfig5"_s, "echo BreezeDark");
  home_.program(u"plasma-apply-colorscheme"_s, "echo applied $1; echo warning >&2; exit 4");
  start();
  run(u"toggle-dark-mode"_s);
  EXPECT_TRUE(outcomes_.isEmpty());
  ASSERT_TRUE(waitForOutcomes(1));
  EXPECT_FALSE(outcomes_[0].ok);
  EXPECT_EQ(outcomes_[0].code, 4);
  EXPECT_EQ(outcomes_[0].standardOutput, u"applied BreezeLight\n"_s);
  EXPECT_EQ(outcomes_[0].standardError, u"warning\n"_s);
}

TEST_F(LinuxSupportToolsTest, saysWhatTheDesktopLacks) {
  start();
  run(u"toggle-dark-mode"_s);
  ASSERT_TRUE(waitForOutcomes(1));
  EXPECT_FALSE(outcomes_[0].ok);
  EXPECT_EQ(outcomes_[0].code, 127);
  EXPECT_EQ(outcomes_[0].standardOutput, QString());
  EXPECT_EQ(outcomes_[0].standardError, u"kreadconfig5 is not installed"_s);
}

TEST_F(LinuxSupportToolsTest, letsCommandsRunSideBySide) {
  // Each waits for the other.
  home_.program(u"konsole"_s, "touch terminal; until [ -e folder ]; do sleep 0.01; done; touch met1");
  home_.program(u"kreadconfig5"_s, "touch folder; until [ -e terminal ]; do sleep 0.01; done; touch met2");
  home_.program(u"plasma-apply-colorscheme"_s, "true");
  start();
  run(u"open-terminal"_s);
  run(u"toggle-dark-mode"_s);
  ASSERT_TRUE(waitForOutcomes(2));
  EXPECT_TRUE(outcomes_[0].ok && outcomes_[1].ok);
  EXPECT_TRUE(
      becomesTrue([&] { return QFile::exists(home_.path(u"met1"_s)) && QFile::exists(home_.path(u"met2"_s)); }));
}

TEST_F(LinuxSupportToolsTest, refusesMoreCommandsAtOnceThanItIsMadeFor) {
  home_.program(u"kreadconfig5"_s, "until [ -e go ]; do sleep 0.01; done");
  home_.program(u"plasma-apply-colorscheme"_s, "true");
  start(2);
  for (int i = 0; i < 3; ++i) run(u"toggle-dark-mode"_s);
  ASSERT_TRUE(waitForOutcomes(1));
  EXPECT_FALSE(outcomes_[0].ok);
  EXPECT_EQ(outcomes_[0].standardError, u"Failed to start: too many commands are running"_s);
  home_.write(u"go"_s, "");
  ASSERT_TRUE(waitForOutcomes(3));
  EXPECT_TRUE(outcomes_[1].ok && outcomes_[2].ok);
  run(u"toggle-dark-mode"_s);
  ASSERT_TRUE(waitForOutcomes(4));
  EXPECT_TRUE(outcomes_[3].ok);
}

TEST_F(LinuxSupportToolsTest, endsCommandsWithoutAnOutcome) {
  home_.program(u"kreadconfig5"_s, "trap '' TERM; echo $$ > pid; while :; do sleep 0.01; done");
  home_.program(u"plasma-apply-colorscheme"_s, "true");
  start();
  run(u"toggle-dark-mode"_s);
  ASSERT_TRUE(becomesTrue([&] { return home_.number(u"pid"_s) > 0; }));
  const Stopwatch watch;
  tools_->endAll();
  EXPECT_LT(watch.seconds(), 10);
  EXPECT_TRUE(becomesTrue([&] { return !isAlive(home_.number(u"pid"_s)); }));
  testloop::drain();
  EXPECT_TRUE(outcomes_.isEmpty());
  // The object remains usable.
  home_.program(u"kreadconfig5"_s, "true");
  run(u"toggle-dark-mode"_s);
  ASSERT_TRUE(waitForOutcomes(1));
  EXPECT_TRUE(outcomes_[0].ok);
}

TEST_F(LinuxSupportToolsTest, restoresThePreviousTheme) {
  home_.program(u"kreadconfig5"_s, "cat scheme");
  home_.program(u"plasma-apply-colorscheme"_s, "echo $1 > scheme; echo -n applied");
  home_.write(u"scheme"_s, "OwnPaper\n");
  start();
  for (const QString& scheme : {u"BreezeDark"_s, u"OwnPaper"_s, u"BreezeDark"_s}) {
    outcomes_.clear();
    run(u"toggle-dark-mode"_s);
    ASSERT_TRUE(waitForOutcomes(1));
    EXPECT_TRUE(outcomes_[0].ok);
    EXPECT_EQ(outcomes_[0].standardOutput, u"applied"_s) << "what is remembered is no output";
    EXPECT_EQ(home_.read(u"scheme"_s), scheme + u'\n');
  }
  tools_->endAll();
  outcomes_.clear();
  run(u"toggle-dark-mode"_s);
  ASSERT_TRUE(waitForOutcomes(1));
  EXPECT_EQ(home_.read(u"scheme"_s), u"OwnPaper\n"_s);
  EXPECT_FALSE(QFile::exists(home_.path(u".local"_s)));
}

TEST_F(LinuxSupportToolsTest, whatWasOpenedOutlivesTheTools) {
  home_.program(u"konsole"_s, "pwd > where; echo $$ > pid; exec sleep 300");
  start();
  run(u"open-terminal"_s);
  ASSERT_TRUE(waitForOutcomes(1));
  EXPECT_TRUE(outcomes_[0].ok);
  ASSERT_TRUE(becomesTrue([&] { return home_.number(u"pid"_s) > 0; }));
  tools_.reset();
  EXPECT_TRUE(isAlive(home_.number(u"pid"_s)));
  EXPECT_EQ(home_.read(u"where"_s), home_.path() + u'\n');
}

TEST_F(LinuxSupportToolsTest, bringsUpTheSystemMonitorWithoutWaiting) {
  home_.environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"TWM"_s);
  home_.environment.insert(u"PATH"_s, home_.path(u"bin"_s) + u":/bin"_s);
  home_.program(u"gnome-system-monitor"_s, "echo $1 > shown; echo $$ > pid; exec sleep 300");
  start();
  const Stopwatch watch;
  tools_->openSystemMonitor(1);
  EXPECT_LT(watch.seconds(), 1);
  EXPECT_TRUE(becomesTrue([&] { return home_.number(u"pid"_s) > 0; }));
  EXPECT_EQ(home_.read(u"shown"_s), u"--show-processes-tab\n"_s);
}

TEST_F(LinuxSupportToolsTest, asksForAdministratorRightsAndPassesOnWhyTheyWereRefused) {
  // A system whose host names dnsmasq caches; the probe recognises it by its name and its arguments.
  ASSERT_TRUE(QFile::copy(u"/bin/sh"_s, home_.path(u"bin/dnsmasq"_s)));
  home_.program(u"begin"_s, "dnsmasq -c 'while :; do sleep 1; done' -x /run/dnsmasq/dnsmasq.pid & echo $! > pid");
  ASSERT_EQ(system(QStringLiteral("cd '%1' && PATH='%1/bin':$PATH begin").arg(home_.path()).toUtf8().constData()), 0);
  ASSERT_GT(home_.number(u"pid"_s), 0);
  // At first it has the name of its parent.
  ASSERT_TRUE(becomesTrue([&] { return probeDesktop(home_.environment).dnsmasq.contains(home_.number(u"pid"_s)); }));
  home_.program(
      u"pkexec"_s,
      "echo \"$1 $2 $3\" > asked; echo 'Error executing command as another user: Request dismissed' >&2; exit 126");
  home_.program(u"resolvectl"_s, "true");
  start();
  run(u"dns-flush"_s);
  ASSERT_TRUE(waitForOutcomes(1));
  EXPECT_EQ(home_.read(u"asked"_s), u"--disable-internal-agent /bin/sh -c\n"_s);
  EXPECT_FALSE(outcomes_[0].ok);
  EXPECT_EQ(outcomes_[0].code, 126);
  EXPECT_EQ(outcomes_[0].standardError, u"Error executing command as another user: Request dismissed\n"_s);
}

}  // namespace
}  // namespace vantora
