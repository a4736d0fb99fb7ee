#include <gtest/gtest.h>

#include "platform/portal/CaptureConsent.h"

namespace vantora {
namespace {

class CaptureConsentTest : public testing::Test {
 protected:
  static CursorBitmap image(std::uint32_t pixel) { return {.size = QSize(1, 1), .hotSpot = {}, .pixels = {pixel}}; }

  int requests_ = 0;
  int ends_ = 0;
  int reports_ = 0;
  int decisions_ = 0;
  std::shared_ptr<CaptureConsent> consent_ = std::make_shared<CaptureConsent>(
      CaptureConsent::Events{.requested = [this](const std::weak_ptr<CaptureConsent>&) { ++requests_; },
                             .ended = [this] { ++ends_; },
                             .nudge = [](std::uint32_t) {},
                             .frameSize = [](std::uint32_t, QSize) {},
                             .cursorReported = [this](const std::weak_ptr<CaptureConsent>&) { ++reports_; }});
  StreamAccess::Reply request() {
    return consent_->request([this] { ++decisions_; });
  }
};

TEST_F(CaptureConsentTest, handsOutEachGrantOnce) {
  EXPECT_EQ(request().outcome, StreamAccess::Outcome::pending);
  EXPECT_EQ(request().outcome, StreamAccess::Outcome::pending);
  EXPECT_EQ(requests_, 1) << "the first one is still under way";
  consent_->grant({{.node = 5}}, FileDescriptor());
  EXPECT_EQ(decisions_, 1);
  const auto granted = request();
  EXPECT_EQ(granted.outcome, StreamAccess::Outcome::granted);
  EXPECT_EQ(granted.streams.size(), 1U);
  EXPECT_EQ(request().outcome, StreamAccess::Outcome::pending);
  EXPECT_EQ(requests_, 2);
}

TEST_F(CaptureConsentTest, aRefusalIsFinal) {
  (void)request();
  QString error = QStringLiteral("no");
  consent_->refuse(error);
  EXPECT_EQ(decisions_, 1);
  consent_->grant({{.node = 5}}, FileDescriptor());
  EXPECT_EQ(request().outcome, StreamAccess::Outcome::refused);
  EXPECT_EQ(request().error, error);
  EXPECT_EQ(requests_, 1);
}

TEST_F(CaptureConsentTest, hearsOfNoDecisionThatItDoesNotAwait) {
  (void)request();
  EXPECT_TRUE(consent_->isWaiting());
  consent_->cancel();
  EXPECT_FALSE(consent_->isWaiting());
  consent_->grant({{.node = 5}}, FileDescriptor());
  EXPECT_EQ(decisions_, 0);
}

TEST_F(CaptureConsentTest, tellsItsEnd) {
  consent_.reset();
  EXPECT_EQ(ends_, 1);
}

// The main thread may be busy while the pointer moves.
TEST_F(CaptureConsentTest, joinsReportsThatWait) {
  consent_->reportCursor({.node = 5, .visible = true, .position = {1, 1}, .bitmap = image(7)});
  consent_->reportCursor({.node = 5, .visible = true, .position = {2, 2}, .bitmap = image(8)});
  consent_->reportCursor({.node = 5, .visible = true, .position = {3, 3}});
  EXPECT_EQ(reports_, 1);
  const auto joined = consent_->takeCursor();
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->position, QPoint(3, 3));
  EXPECT_EQ(joined->bitmap, image(8));
  EXPECT_FALSE(consent_->takeCursor());
  consent_->reportCursor({.node = 5, .visible = true, .position = {4, 4}});
  EXPECT_EQ(reports_, 2);
  EXPECT_FALSE(consent_->takeCursor()->bitmap);
}

// An image belongs to its stream.
TEST_F(CaptureConsentTest, keepsTheImagesOfStreamsApart) {
  consent_->reportCursor({.node = 5, .visible = true, .position = {1, 1}, .bitmap = image(7)});
  consent_->reportCursor({.node = 6, .visible = false});
  EXPECT_FALSE(consent_->takeCursor()->bitmap);
}

}  // namespace
}  // namespace vantora
