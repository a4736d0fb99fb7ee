// Support tools that record their commands; the test ends the commands.
#pragma once

#include <QList>
#include <QStringList>

#include "platform/SupportTools.h"

namespace vantora::fakes {

class FakeSupportTools final : public SupportTools {
 public:
  void run(const QString& id, Done done) override {
    started.append(id);
    running_.append(std::move(done));
  }
  void openSystemMonitor(std::optional<std::int64_t> focusPid) override { monitors.append(focusPid); }
  void endAll() override {
    ended = true;
    running_.clear();
  }

  // Ends the command that was started as number `index` among those that still run.
  void finish(const CommandOutcome& outcome, qsizetype index = 0) { running_.takeAt(index)(outcome); }
  qsizetype running() const { return running_.size(); }

  // Ids in the order they were started.
  QStringList started;
  QList<std::optional<std::int64_t>> monitors;
  bool ended = false;

 private:
  QList<Done> running_;
};

}  // namespace vantora::fakes
