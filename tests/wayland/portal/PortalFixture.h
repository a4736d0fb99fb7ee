// A desktop session on a portal of the test.
#pragma once

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <map>
#include <memory>
#include <optional>

#include "platform/portal/PortalDesktop.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/fakes/FakeScreenCapture.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/SessionBus.h"
#include "tests/wayland/portal/FakePortal.h"

namespace vantora {

class PortalFixture : public testing::Test {
 protected:
  using Outcome = StreamAccess::Outcome;

  PortalFixture() {
    testloop::ensureApplication();
    portal_ = std::make_unique<testportal::FakePortal>(bus_.connect());
    start();
  }

  // The program starts, again if it ran before.
  void start() {
    desktop_.reset();
    const std::map<QString, QString> values{{QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address()},
                                            {QStringLiteral("XDG_STATE_HOME"), state_.path()},
                                            {QStringLiteral("VANTORA_KEEP_CONSENT"), keepConsent_}};
    desktop_ = makePortalDesktop(Environment([values](const char* name) -> std::optional<QString> {
                                   const auto found = values.find(QString::fromUtf8(name));
                                   return found == values.end() ? std::nullopt : std::optional(found->second);
                                 }),
                                 clipboard_, [this](std::shared_ptr<StreamAccess> access) {
                                   access_ = std::move(access);
                                   return fakes::FakeScreen::make({})->factory()();
                                 });
    desktop_->setStatusHandler([this](const DesktopStatus& status) { states_.push_back(status.state); });
    states_.clear();
  }
  QString address() const {
    return busAddress_ ? *busAddress_ : QString::fromStdString(bus_.variable()).section(u'=', 1);
  }

  // A capture asks for its streams, as the local user's start of the sharing makes it.
  void share() {
    access_.reset();
    (void)desktop_->makeScreenCapture();
    request();
  }
  void request() {
    decisions_ = 0;
    const auto reply = access_->request([this] { ++decisions_; });
    EXPECT_EQ(reply.outcome, Outcome::pending);
  }
  // What came of it.
  StreamAccess::Reply outcome() {
    EXPECT_TRUE(testloop::waitFor([this] { return decisions_ > 0; }));
    EXPECT_EQ(decisions_, 1);
    return access_->request([] {});
  }
  void stopSharing() {
    access_.reset();
    testloop::drain();
  }
  [[nodiscard]] bool becomes(DesktopState state) {
    return testloop::waitFor([&] { return desktop_->status().state == state; });
  }
  // The user is being asked, for the n-th time.
  [[nodiscard]] bool becomesAsked(int count = 1) {
    return becomes(DesktopState::awaitingConsent) && testloop::waitFor([&] { return portal_->questions == count; });
  }
  void shareAndGrant() {
    share();
    ASSERT_EQ(outcome().outcome, Outcome::granted);
  }
  std::optional<InputPermission> permission_;
  void askForControl() {
    permission_.reset();
    desktop_->input().requestPermission([this](const InputPermission& permission) { permission_ = permission; });
  }

  testui::SessionBus bus_;
  QTemporaryDir state_;
  fakes::FakeClipboard clipboard_;
  std::unique_ptr<testportal::FakePortal> portal_;
  QString keepConsent_;
  std::optional<QString> busAddress_;
  std::shared_ptr<StreamAccess> access_;
  int decisions_ = 0;
  std::vector<DesktopState> states_;
  std::unique_ptr<DesktopSession> desktop_;
};

}  // namespace vantora
