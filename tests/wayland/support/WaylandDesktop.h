// A whole Wayland desktop for one test: compositor, PipeWire, portals and a scripted user (tests/wayland/desktop.py).
#pragma once

#include <QJsonArray>
#include <QJsonValue>
#include <QStringList>
#include <map>
#include <optional>

#include "tests/fakes/Places.h"
#include "tests/wayland/support/LineProcess.h"

namespace vantora::testwayland {

class WaylandDesktop {
 public:
  // `options`: of desktop.py.
  explicit WaylandDesktop(const QStringList& options)
      : process_(testplaces::source(QStringLiteral("tests/wayland/desktop.py")), options, {},
                 [this](const QJsonObject& report) { take(report); }) {
    (void)testloop::waitFor([this] { return running() || !process_.running(); });
  }

  bool running() const { return !environment_.empty() && process_.running(); }
  // For programs on it.
  const std::map<QString, QString>& environment() const { return environment_; }
  QString variable(const QString& name) const {
    const auto found = environment_.find(name);
    return found == environment_.end() ? QString() : found->second;
  }

  // Carries out a command of desktop.py; its answer, or nullopt when it failed.
  std::optional<QJsonValue> run(const QString& command) {
    answer_.reset();
    failed_ = false;
    process_.send(command);
    if (!testloop::waitFor([this] { return answer_ || failed_ || !process_.running(); })) return std::nullopt;
    return answer_;
  }
  // How often its user has been asked.
  int questions() {
    return run(QStringLiteral("questions")).value_or(QJsonValue()).toObject().value(QStringLiteral("asked")).toInt();
  }

  // Ends all of it.
  void end() { process_.end(); }

 private:
  void take(const QJsonObject& report) {
    if (report.contains(QStringLiteral("ready"))) {
      const QJsonObject environment = report.value(QStringLiteral("env")).toObject();
      for (auto entry = environment.begin(); entry != environment.end(); ++entry)
        environment_.emplace(entry.key(), entry.value().toString());
    }
    if (report.contains(QStringLiteral("answer"))) answer_ = report.value(QStringLiteral("answer"));
    if (report.contains(QStringLiteral("error"))) failed_ = !report.contains(QStringLiteral("event"));
  }

  std::map<QString, QString> environment_;
  std::optional<QJsonValue> answer_;
  bool failed_ = false;
  LineProcess process_;  // Last: its reports fill the others.
};

}  // namespace vantora::testwayland
