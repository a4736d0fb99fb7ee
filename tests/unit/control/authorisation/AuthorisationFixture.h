// ControlAuthorisation over a desktop that replies at once or, when it prompts the user, when the test does.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <optional>

#include "main/control/authorisation/ControlAuthorisation.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/RecordedLog.h"

namespace vantora {

class AuthorisationFixture : public testing::Test {
 protected:
  using Sent = fakes::FakeControlSender::Sent;

  ControlAuthorisation make(const QString& room = QStringLiteral("r"), bool locked = false) {
    return ControlAuthorisation({.controlPIN = QStringLiteral("000042"), .pinLockedByEnv = locked, .roomId = room},
                                sender_,
                                {.ensureAccessibility =
                                     [this](std::function<void(bool)> answer) {
                                       ++accessibilityChecks_;
                                       if (promptsUser_) {
                                         prompts_.push_back(std::move(answer));
                                       } else {
                                         answer(accessible_);
                                       }
                                     },
                                 .controlEnded = [this] { ++ended_; },
                                 .random = [](quint32 limit) { return limit == 1'000'000 ? 7U : 0U; }});
  }
  // Sends "auth" and returns the reply.
  JsonObject auth(ControlAuthorisation& authorisation, const JsonObject& fields) {
    authorisation.handleAuth(ControlChannel::control, fields);
    return onlyAnswer();
  }
  JsonObject control(ControlAuthorisation& authorisation, const JsonObject& fields) {
    lastPermitted_.reset();
    authorisation.handleControl(ControlChannel::control, fields,
                                [this](bool permitted) { lastPermitted_ = permitted; });
    return onlyAnswer();
  }
  JsonObject onlyAnswer() {
    const QList<Sent> sent = sender_.take();
    EXPECT_EQ(sent.size(), 1);
    return sent.isEmpty() ? JsonObject() : sent[0].message;
  }
  static JsonObject authed(bool ok) {
    return {{QStringLiteral("type"), QStringLiteral("auth")}, {QStringLiteral("ok"), ok}};
  }
  static JsonObject state(bool enabled) {
    return {{QStringLiteral("type"), QStringLiteral("control_state")}, {QStringLiteral("enabled"), enabled}};
  }

  fakes::RecordedLog log_;
  fakes::FakeControlSender sender_;
  bool accessible_ = true;
  std::optional<bool> lastPermitted_;
  bool promptsUser_ = false;
  std::deque<std::function<void(bool)>> prompts_;
  int accessibilityChecks_ = 0;
  int ended_ = 0;
};

inline const JsonObject kRightToken{{QStringLiteral("token"), QStringLiteral("000042")}};
inline const JsonObject kEnable{{QStringLiteral("enable"), true}};
inline const JsonObject kDisable{{QStringLiteral("enable"), false}};

}  // namespace vantora
