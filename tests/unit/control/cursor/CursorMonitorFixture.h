// A cursor monitor with a fake desktop, viewer and clock.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "main/control/cursor/CursorMonitor.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/FakeSystemCursor.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"

namespace vantora {

class CursorMonitorFixture : public testing::Test {
 protected:
  void make(bool cursorDebug = false) {
    monitor_.reset();
    monitor_ = std::make_unique<CursorMonitor>(
        Environment([this](const char* name) -> std::optional<QString> {
          const auto found = variables_.find(name);
          return found == variables_.end() ? std::nullopt : std::optional(found->second);
        }),
        scheduler_, CursorMonitor::Desktop{cursor_, accessibility_}, sender_, cursorDebug);
  }
  // Starts monitoring and discards the first shape.
  void start(bool cursorDebug = false) {
    make(cursorDebug);
    monitor_->startCursorMonitoring();
    scheduler_.advance(std::chrono::milliseconds(100));
    sender_.take();
    log_.clear();
  }
  // The shapes sent since the last call, on any channel.
  QStringList shapes() {
    QStringList list;
    for (const auto& sent : sender_.take()) {
      EXPECT_EQ(sent.message.value(QStringLiteral("type")).toString(), QStringLiteral("cursor_shape"));
      list.append(sent.message.value(QStringLiteral("shape")).toString());
    }
    return list;
  }
  void pointAt(const QString& role) { accessibility_.pointed = {.elements = {{.role = role}}}; }

  std::map<std::string, QString> variables_;
  fakes::RecordedLog log_;
  fakes::FakeScheduler scheduler_;
  fakes::FakeSystemCursor cursor_;
  fakes::FakeAccessibility accessibility_;
  fakes::FakeControlSender sender_;
  std::unique_ptr<CursorMonitor> monitor_;
};

}  // namespace vantora
