#include "platform/linux/support/LinuxSupportTools.h"

#include <pthread.h>

#include <map>
#include <thread>

#include "base/Lifetime.h"
#include "base/ThreadAffinity.h"
#include "platform/linux/support/CommandRunner.h"
#include "platform/linux/support/DesktopProbe.h"
#include "platform/linux/support/LinuxCommandPlans.h"
#include "platform/linux/support/LoginShell.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// The exit code of a shell that does not find a command.
constexpr int kNotFound = 127;

using Planner = std::function<CommandPlan(const DesktopFacts&)>;

CommandOutcome failure(const QString& why) {
  return {.ok = false, .code = kNotFound, .standardOutput = QString(), .standardError = why};
}

// A copy for use on another thread: ordinary copies share data that is modified by reading, because values are
// converted on first access, without a lock.
QProcessEnvironment separateCopy(const QProcessEnvironment& environment) {
  QProcessEnvironment copy;
  copy.insert(environment);
  return copy;
}

struct Result {
  CommandOutcome outcome;
  ReplacedSettings replaced;
};

// The work of one thread; settings and planner are its own copies.
Result carryOut(const LinuxSupportSettings& settings, const Planner& planner, const ReplacedSettings& replaced,
                const std::stop_token& stop) {
  (void)pthread_setname_np(pthread_self(), "support");
  DesktopFacts facts = probeDesktop(settings.environment);
  facts.replaced = replaced;
  const CommandPlan plan = planner(facts);
  if (!plan.missing.isEmpty()) return {.outcome = failure(plan.missing), .replaced = {}};
  const QString shell = settings.loginShell.isEmpty() ? loginShellOfUser() : settings.loginShell;
  Result result{.outcome = runCommand({.command = throughLoginShell(shell, plan.script),
                                       .environment = settings.environment.toStringList(),
                                       .folder = facts.home},
                                      settings.limits, stop),
                .replaced = {}};
  result.replaced = takeReplacedSettings(result.outcome.standardOutput);
  return result;
}

class LinuxSupportTools final : public SupportTools {
 public:
  explicit LinuxSupportTools(LinuxSupportSettings settings) : settings_(std::move(settings)) {}
  ~LinuxSupportTools() override { endAll(); }
  LinuxSupportTools(const LinuxSupportTools&) = delete;
  LinuxSupportTools& operator=(const LinuxSupportTools&) = delete;

  void run(const QString& id, Done done) override {
    start([id](const DesktopFacts& facts) { return commandPlanFor(id, facts); }, std::move(done));
  }

  void openSystemMonitor(std::optional<std::int64_t> focusPid) override {
    start([focusPid](const DesktopFacts& facts) { return systemMonitorPlan(facts, focusPid); },
          [](const CommandOutcome&) {});
  }

  void endAll() override {
    affinity_.check("LinuxSupportTools::endAll");
    // Outcomes that are already posted find their command no more.
    RunningCommands commands = std::exchange(running_, {});
    for (auto& [number, command] : commands) command.thread.request_stop();
    for (auto& [number, command] : commands) {
      if (command.thread.joinable()) command.thread.join();
    }
  }

 private:
  struct RunningCommand {
    std::jthread thread;
    Done done;
  };
  using RunningCommands = std::map<int, RunningCommand>;

  void start(Planner planner, Done done) {
    affinity_.check("LinuxSupportTools::start");
    const int number = ++lastNumber_;
    const auto report = life_.onMain([this, number](const Result& result) { finish(number, result); });
    RunningCommand& command = running_[number];
    command.done = std::move(done);
    if (static_cast<int>(running_.size()) > settings_.maxCommands) {
      return report(Result{.outcome = failure(u"Failed to start: too many commands are running"_s), .replaced = {}});
    }
    LinuxSupportSettings settings = settings_;
    settings.environment = separateCopy(settings_.environment);
    command.thread =
        std::jthread([settings = std::move(settings), planner = std::move(planner), replaced = replaced_,
                      report](const std::stop_token& stop) { report(carryOut(settings, planner, replaced, stop)); });
  }

  void finish(int number, const Result& result) {
    replaced_.insert(result.replaced);
    // The thread has posted its result and is about to end: joining it does not block.
    auto command = running_.extract(number);
    if (command) command.mapped().done(result.outcome);
  }

  const ThreadAffinity affinity_;
  const LinuxSupportSettings settings_;
  RunningCommands running_;
  // Settings that commands have replaced since construction; the host keeps no files.
  ReplacedSettings replaced_;
  int lastNumber_ = 0;
  Lifetime life_;
};

}  // namespace

std::unique_ptr<SupportTools> makeLinuxSupportTools(LinuxSupportSettings settings) {
  return std::make_unique<LinuxSupportTools>(std::move(settings));
}

}  // namespace vantora
