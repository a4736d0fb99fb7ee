// The pixels of a stream and where they change.
#include <atomic>
#include <climits>
#include <thread>

#include "tests/wayland/pipewire/CaptureFixture.h"

namespace vantora {
namespace {

class PipeWireFramesTest : public CaptureFixture {
 protected:
  // Sends what must not be shown, with a cursor that must.
  void ignores(Frame hostile) {
    stream_->paint(kRed);
    const QPoint position(++cursor_, 0);
    hostile.cursor = testpipewire::TestCursor{.position = position};
    ASSERT_TRUE(stream_->send(hostile));
    ASSERT_TRUE(becomes([&] { return !access_->cursors().empty() && access_->cursors().back().position == position; }));
    EXPECT_EQ(capture_->poll(frame_), Poll::unchanged);
    EXPECT_TRUE(cornersAre(kBlue));
  }

 private:
  int cursor_ = 0;
};

class PipeWireFormatsTest : public PipeWireFramesTest, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(PipeWireFormatsTest, showsTheColoursOfTheFormat) {
  openBlue({.format = GetParam()});
  EXPECT_TRUE(cornersAre(kBlue));
}

INSTANTIATE_TEST_SUITE_P(All, PipeWireFormatsTest,
                         testing::Values(SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA, SPA_VIDEO_FORMAT_RGBx,
                                         SPA_VIDEO_FORMAT_RGBA));

TEST_F(PipeWireFramesTest, showsTheWholeScreenAtFirst) {
  openBlue();
  EXPECT_EQ(frame_.size, QSize(320, 200));
  EXPECT_EQ(frame_.damage, wholeFrame());
  EXPECT_EQ(access_->sizes(), (std::vector{std::pair(stream_->node(), QSize(320, 200))}));
}

TEST_F(PipeWireFramesTest, isNotReadyBeforeTheFirstFrame) {
  openStream();
  EXPECT_EQ(capture_->poll(frame_), Poll::notReady);
}

TEST_F(PipeWireFramesTest, readsRowsWithPaddingBehindAHeader) {
  openBlue({.padding = 36, .start = 128});
  EXPECT_TRUE(cornersAre(kBlue));
}

TEST_F(PipeWireFramesTest, takesAStrideOfZeroForRowsWithoutPadding) {
  openStream();
  stream_->paint(kBlue);
  ASSERT_TRUE(show(*stream_, {.stride = 0}));
  EXPECT_TRUE(cornersAre(kBlue));
}

TEST_F(PipeWireFramesTest, saysInTilesWhatHasChanged) {
  openBlue();
  stream_->paint(kRed, {70, 40, 3, 2});
  ASSERT_TRUE(stream_->send());
  ASSERT_EQ(pollNext(), Poll::changed);
  EXPECT_EQ(frame_.damage, std::vector{QRect(64, 32, 64, 32)});
  EXPECT_EQ(colourAt(70, 40), kRed);
  EXPECT_EQ(colourAt(73, 42), kBlue);
}

TEST_F(PipeWireFramesTest, isUnchangedAfterAFrameThatShowsTheSame) {
  openBlue();
  ASSERT_TRUE(stream_->send());
  EXPECT_EQ(pollNext(), Poll::unchanged);
}

TEST_F(PipeWireFramesTest, looksOnlyWhereTheCompositorSaysThatSomethingChanged) {
  openBlue({.damage = true});
  stream_->paint(kRed);
  ASSERT_TRUE(stream_->send({.damage = {QRect(10, 10, 20, 20), QRect(300, 190, 900, 900)}}));
  ASSERT_EQ(pollNext(), Poll::changed);
  EXPECT_EQ(frame_.damage, (std::vector{QRect(0, 0, 64, 32), QRect(256, 160, 64, 40)}));
  EXPECT_EQ(colourAt(10, 10), kRed);
  EXPECT_EQ(colourAt(319, 199), kRed);
  EXPECT_EQ(colourAt(100, 100), kBlue);
}

TEST_F(PipeWireFramesTest, keepsTheDamageOfFramesThatWereNotRead) {
  openBlue({.damage = true});
  for (const int x : {0, 100, 200}) {
    stream_->paint(kRed);
    ASSERT_TRUE(
        stream_->send({.damage = {QRect(x, 100, 10, 10)}, .cursor = testpipewire::TestCursor{.position = {x, 0}}}));
    ASSERT_TRUE(
        becomes([&] { return access_->cursors().back().position.x() == x && access_->cursors().back().visible; }));
  }
  ASSERT_EQ(pollNext(), Poll::changed);
  for (const int x : {0, 100, 200}) EXPECT_EQ(colourAt(x, 100), kRed);
  EXPECT_EQ(colourAt(50, 100), kBlue);
}

TEST_F(PipeWireFramesTest, looksEverywhereAfterBuffersThatWereLost) {
  openBlue({.damage = true});
  stream_->paint(kRed);
  ASSERT_TRUE(stream_->send({.lost = 1, .damage = {QRect(0, 0, 10, 10)}}));
  ASSERT_EQ(pollNext(), Poll::changed);
  EXPECT_TRUE(cornersAre(kRed));
}

TEST_F(PipeWireFramesTest, looksEverywhereAfterAFrameThatCouldNotBeRead) {
  openBlue({.damage = true});
  stream_->paint(kRed, {0, 0, 10, 10});
  ASSERT_TRUE(stream_->send({.stride = -1280, .damage = {QRect(0, 0, 10, 10)}}));
  ASSERT_TRUE(stream_->send({.damage = {QRect(300, 100, 10, 10)}}));
  ASSERT_EQ(pollNext(), Poll::changed);
  EXPECT_EQ(colourAt(0, 0), kRed);
}

TEST_F(PipeWireFramesTest, showsAnotherSizeAsAWholeFrame) {
  openBlue();
  stream_->resize({400, 120});
  stream_->paint(kRed);
  ASSERT_TRUE(becomes([&] { return access_->sizes().size() == 2; }));
  EXPECT_EQ(access_->sizes().back(), std::pair(stream_->node(), QSize(400, 120)));
  ASSERT_TRUE(show(*stream_));
  EXPECT_EQ(frame_.size, QSize(400, 120));
  EXPECT_EQ(frame_.damage, wholeFrame());
  EXPECT_TRUE(cornersAre(kRed));
}

TEST_F(PipeWireFramesTest, showsOnlyTheCroppedPart) {
  openStream();
  stream_->paint(kRed);
  stream_->paint(kBlue, {50, 60, 100, 80});
  ASSERT_TRUE(show(*stream_, {.crop = QRect(50, 60, 100, 80)}));
  EXPECT_EQ(frame_.size, QSize(100, 80));
  EXPECT_TRUE(cornersAre(kBlue));
  EXPECT_EQ(access_->sizes().back().second, QSize(100, 80));
}

TEST_F(PipeWireFramesTest, passesOnTheTimeAndTheTurnOfAFrame) {
  openStream();
  stream_->paint(kBlue);
  ASSERT_TRUE(show(*stream_, {.pts = 123456789, .transform = SPA_META_TRANSFORMATION_Flipped90}));
  EXPECT_EQ(frame_.timestamp, std::chrono::nanoseconds(123456789));
  EXPECT_TRUE(frame_.mirrored);
  EXPECT_EQ(frame_.rotationDegrees, 270);
}

TEST_F(PipeWireFramesTest, showsAScreenThatWasTurnedAsAWholeFrame) {
  openBlue();
  ASSERT_TRUE(stream_->send({.transform = SPA_META_TRANSFORMATION_90}));
  ASSERT_EQ(pollNext(), Poll::changed);
  EXPECT_EQ(frame_.damage, wholeFrame());
  EXPECT_EQ(frame_.rotationDegrees, 90);
}

TEST_F(PipeWireFramesTest, showsThePlaceOfTheCursorInTheFrame) {
  openBlue();
  stream_->paint(kRed);
  ASSERT_TRUE(stream_->send({.cursor = testpipewire::TestCursor{
                                 .position = {30, 20}, .hotSpot = {1, 0}, .size = {2, 1}, .pixels = {0xff102030, 0}}}));
  ASSERT_EQ(pollNext(), Poll::changed);
  EXPECT_EQ(frame_.cursor, (FrameCursor{{30, 20}, true}));
  const StreamCursor cursor = access_->cursors().back();
  EXPECT_EQ(cursor.node, stream_->node());
  EXPECT_EQ(cursor.bitmap, (CursorBitmap{{2, 1}, {1, 0}, {0xff102030, 0}}));
}

TEST_F(PipeWireFramesTest, ignoresThePixelsOfACorruptedBuffer) {
  openBlue();
  ignores({.flags = SPA_CHUNK_FLAG_CORRUPTED});
  ignores({.size = 0});
}

TEST_F(PipeWireFramesTest, ignoresValuesThatDoNotFitTheBuffer) {
  openBlue();
  ignores({.stride = -1280});
  ignores({.stride = 1276});
  ignores({.stride = 1284});
  ignores({.stride = INT_MAX});
  ignores({.stride = INT_MIN});
  ignores({.offset = 4});
  ignores({.offset = UINT_MAX});
  ignores({.crop = QRect(400, 0, 100, 100)});
  ignores({.crop = QRect(INT_MIN, INT_MIN, 1, 1)});
}

// Memory of buffers goes away while it is read.
TEST_F(PipeWireFramesTest, survivesManyChangesOfSize) {
  openBlue();
  std::atomic<bool> done{false};
  std::thread compositor([&] {
    for (int round = 0; round < 20; ++round) {
      stream_->resize({1000 + round, 700});
      EXPECT_TRUE(becomes([&] { return access_->sizes().back().second.width() == 1000 + round; }));
      for (int i = 0; i < 20; ++i) (void)stream_->trySend();
    }
    done.store(true);
    capture_->wake();
  });
  while (!done.load()) {
    EXPECT_NE(capture_->poll(frame_), Poll::lost);
    (void)capture_->wait(std::chrono::milliseconds(1), WakeOn::changeOrCall);
  }
  compositor.join();
  stream_->paint(kRed);
  ASSERT_TRUE(becomes([&] {
    (void)stream_->trySend();
    return capture_->poll(frame_) == Poll::changed && cornersAre(kRed);
  }));
  EXPECT_EQ(frame_.size, QSize(1019, 700));
}

TEST_F(PipeWireFramesTest, clipsTheDamageToTheFrame) {
  openBlue({.damage = true});
  stream_->paint(kRed);
  ASSERT_TRUE(stream_->send({.damage = {QRect(INT_MIN, INT_MIN, INT_MAX, INT_MAX), QRect(-5, -5, INT_MAX, 10)}}));
  ASSERT_EQ(pollNext(), Poll::changed);
  EXPECT_EQ(frame_.damage, std::vector{QRect(0, 0, 320, 32)});
  EXPECT_EQ(colourAt(319, 4), kRed);
  EXPECT_EQ(colourAt(319, 5), kBlue);
}

TEST_F(PipeWireFramesTest, readsNoMemoryThatIsShorterThanItsBuffer) {
  openStream({.missing = 8192});
  ASSERT_TRUE(deliver(*stream_));
  EXPECT_EQ(capture_->poll(frame_), Poll::notReady);
}

}  // namespace
}  // namespace vantora
