// The user interface on a bus of the test, over a fake session.
#pragma once

#include "main/ui/UserInterface.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeSessionControl.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/ui/support/FakePanel.h"
#include "tests/ui/support/SessionBus.h"
#include "tests/ui/support/WidgetsApplication.h"

namespace vantora {

class BusFixture : public testui::UiTest {
 protected:
  void start() { interface_ = std::make_unique<UserInterface>(session_, InfoDictionary(info_), bus_.connect()); }
  HostStatusBar& bar() { return interface_->statusBar(); }
  [[nodiscard]] static bool waitFor(const std::function<bool()>& condition) { return testloop::waitFor(condition); }
  // Waits until messages under way to and from the interface have arrived, by a round trip through the daemon.
  void settle() {
    for (int round = 0; round < 3; ++round) {
      std::optional<bool> answered;
      callDBus(other_, dbusDaemonCall(QStringLiteral("GetId"), {}), &context_,
               [&answered](const QDBusMessage&) { answered = true; });
      ASSERT_TRUE(waitFor([&answered] { return answered.has_value(); }));
      testloop::drain();
    }
  }

  testui::SessionBus bus_;
  QDBusConnection other_ = bus_.connect();
  fakes::RecordedLog log_;
  fakes::FakeSessionControl session_;
  QMap<QString, QString> info_;
  QObject context_;
  std::unique_ptr<UserInterface> interface_;
};

}  // namespace vantora
