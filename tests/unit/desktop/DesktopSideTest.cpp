#include <gtest/gtest.h>

#include "main/desktop/DesktopSide.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeScheduler.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// The double echoes every message, so what the desktop process was told comes back as an unknown message; here only
// its effects are looked at. DesktopProcessTest holds the process itself.
class DesktopSideTest : public testing::Test {
 protected:
  void SetUp() override { testing_loop::ensureApplication(); }

  fakes::FakeScheduler scheduler_;
  HostState state_;
  QList<FaceRequest> requests_;
  int asked_ = 0;
  DesktopSide side_{scheduler_, QStringLiteral(DESKTOP_DOUBLE)};
};

TEST_F(DesktopSideTest, makesTheClipboardUsableOnceTheProcessIsReady) {
  side_.start({.state =
                   [this] {
                     ++asked_;
                     return state_;
                   },
               .requested = [this](const FaceRequest& request) { requests_.append(request); },
               .sendChat = [](const QString&) {}});
  EXPECT_EQ(asked_, 1);
  int answers = 0;
  side_.clipboard().requestText([&](const QString&) { ++answers; });
  EXPECT_EQ(answers, 1);
  // Once ready, a request waits for the process instead of being answered at once.
  ASSERT_TRUE(testing_loop::waitFor([&] {
    bool answered = false;
    auto waits = std::make_shared<bool>(false);
    side_.clipboard().requestText([&answered, waits](const QString&) {
      if (!*waits) answered = true;
    });
    *waits = true;
    return !answered;
  }));
}

TEST_F(DesktopSideTest, asksForTheStateOnlyWhenThereIsASession) {
  side_.changed();
  side_.presentChat(u"a"_s, u"b"_s, 1);
  EXPECT_EQ(asked_, 0);
}

}  // namespace
}  // namespace vantora
