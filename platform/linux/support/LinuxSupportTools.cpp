#include "platform/linux/support/LinuxSupportTools.h"

#include <pthread.h>

#include <map>
#include <thread>

#include "base/MainThread.h"
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
    // Outcomes that are already posted belong to the old jobs and are dropped with them.
    const auto jobs = std::exchange(jobs_, std::make_shared<Jobs>());
    for (auto& [number, job] : *jobs) job.thread.request_stop();
    for (auto& [number, job] : *jobs) {
      if (job.thread.joinable()) job.thread.join();
    }
  }

 private:
  struct BackgroundTask {
    std::jthread thread;
    Done done;
  };
  using Jobs = std::map<int, BackgroundTask>;

  void start(Planner planner, Done done) {
    affinity_.check("LinuxSupportTools::start");
    const int number = ++lastNumber_;
    const std::weak_ptr<Jobs> jobs = jobs_;
    const auto report = [jobs, number, memory = std::weak_ptr(replaced_)](const Result& result) {
      postToMain([jobs, number, memory, result] {
        if (const auto replaced = memory.lock()) replaced->insert(result.replaced);
        finish(jobs, number, result.outcome);
      });
    };
    BackgroundTask& job = (*jobs_)[number];
    job.done = std::move(done);
    if (static_cast<int>(jobs_->size()) > settings_.maxCommands) {
      return report({.outcome = failure(u"Failed to start: too many commands are running"_s), .replaced = {}});
    }
    LinuxSupportSettings settings = settings_;
    settings.environment = separateCopy(settings_.environment);
    job.thread =
        std::jthread([settings = std::move(settings), planner = std::move(planner), replaced = *replaced_,
                      report](const std::stop_token& stop) { report(carryOut(settings, planner, replaced, stop)); });
  }

  static void finish(const std::weak_ptr<Jobs>& weak, int number, const CommandOutcome& outcome) {
    const auto jobs = weak.lock();
    if (!jobs) return;
    // The thread has posted its result and is about to end: joining it does not block.
    auto job = jobs->extract(number);
    if (job) job.mapped().done(outcome);
  }

  const ThreadAffinity affinity_;
  const LinuxSupportSettings settings_;
  std::shared_ptr<Jobs> jobs_ = std::make_shared<Jobs>();
  // Settings that commands have replaced since construction; the host keeps no files.
  const std::shared_ptr<ReplacedSettings> replaced_ = std::make_shared<ReplacedSettings>();
  int lastNumber_ = 0;
};

}  // namespace

std::unique_ptr<SupportTools> makeLinuxSupportTools(LinuxSupportSettings settings) {
  return std::make_unique<LinuxSupportTools>(std::move(settings));
}

}  // namespace vantora
