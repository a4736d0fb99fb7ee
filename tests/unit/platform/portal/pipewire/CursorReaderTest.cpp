#include <gtest/gtest.h>
#include <spa/param/video/raw.h>

#include <climits>

#include "platform/portal/pipewire/CursorReader.h"
#include "platform/portal/pipewire/StreamParams.h"
#include "tests/unit/platform/portal/pipewire/FakeBuffer.h"

namespace vantora {
namespace {

constexpr std::size_t kHead = sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap);

// A cursor at (30, 20) whose image is 2 by 1 pixels.
class CursorReaderTest : public testing::Test {
 protected:
  CursorReaderTest() { make({2, 1}, kHead + 8); }
  void make(spa_rectangle size, std::size_t bytes) {
    buffer_ = std::make_unique<FakeBuffer>();
    cursor_ = buffer_->add<spa_meta_cursor>(SPA_META_Cursor, bytes);
    cursor_->id = 1;
    cursor_->position = {30, 20};
    cursor_->hotspot = {1, 0};
    cursor_->bitmap_offset = sizeof(spa_meta_cursor);
    bitmap_ = reinterpret_cast<spa_meta_bitmap*>(cursor_ + 1);
    bitmap_->format = SPA_VIDEO_FORMAT_RGBA;
    bitmap_->size = size;
    bitmap_->offset = sizeof(spa_meta_bitmap);
  }
  void setPixels(const std::vector<std::uint8_t>& bytes) {
    std::ranges::copy(bytes, reinterpret_cast<std::uint8_t*>(bitmap_ + 1));
  }
  std::optional<StreamCursor> read() { return reader_.read(buffer_->get()); }

  std::unique_ptr<FakeBuffer> buffer_;
  spa_meta_cursor* cursor_ = nullptr;
  spa_meta_bitmap* bitmap_ = nullptr;
  CursorReader reader_{7};
};

TEST_F(CursorReaderTest, readsAPlaceAndAnImage) {
  setPixels({0x10, 0x20, 0x30, 0xff, 0, 0, 0, 0});
  const auto cursor = read();
  ASSERT_TRUE(cursor && cursor->bitmap);
  EXPECT_EQ(cursor->node, 7u);
  EXPECT_TRUE(cursor->visible);
  EXPECT_EQ(cursor->position, QPoint(30, 20));
  EXPECT_EQ(cursor->bitmap->size, QSize(2, 1));
  EXPECT_EQ(cursor->bitmap->hotSpot, QPoint(1, 0));
  EXPECT_EQ(cursor->bitmap->pixels, (std::vector<std::uint32_t>{0xff102030, 0}));
}

TEST_F(CursorReaderTest, readsEachOrderOfBytes) {
  const std::pair<spa_video_format, std::vector<std::uint8_t>> orders[] = {
      {SPA_VIDEO_FORMAT_BGRA, {0x30, 0x20, 0x10, 0x80}},
      {SPA_VIDEO_FORMAT_ARGB, {0x80, 0x10, 0x20, 0x30}},
      {SPA_VIDEO_FORMAT_ABGR, {0x80, 0x30, 0x20, 0x10}}};
  for (const auto& [format, bytes] : orders) {
    CursorReader reader(0);
    bitmap_->format = format;
    setPixels(bytes);
    const auto cursor = reader.read(buffer_->get());
    ASSERT_TRUE(cursor && cursor->bitmap);
    EXPECT_EQ(cursor->bitmap->pixels.front(), 0x80102030u);
  }
}

TEST_F(CursorReaderTest, boundsColoursByAlpha) {
  setPixels({0xff, 0x10, 0xff, 0x20});
  EXPECT_EQ(read()->bitmap->pixels.front(), 0x20201020u);
}

TEST_F(CursorReaderTest, reportsOnlyWhatDiffers) {
  EXPECT_TRUE(read());
  EXPECT_FALSE(read());
  cursor_->position.x = 31;
  const auto moved = read();
  ASSERT_TRUE(moved);
  EXPECT_EQ(moved->position, QPoint(31, 20));
  EXPECT_FALSE(moved->bitmap);
  cursor_->bitmap_offset = 0;  // The same image as before.
  EXPECT_FALSE(read());
  cursor_->bitmap_offset = sizeof(spa_meta_cursor);
  setPixels({1, 1, 1, 1});
  const auto changed = read();
  ASSERT_TRUE(changed);
  EXPECT_TRUE(changed->bitmap);
}

TEST_F(CursorReaderTest, isInvisibleWithoutAnId) {
  (void)read();
  cursor_->id = 0;
  cursor_->position = {-1, -1};
  const auto left = read();
  ASSERT_TRUE(left);
  EXPECT_FALSE(left->visible);
  EXPECT_FALSE(left->bitmap);
  EXPECT_FALSE(read());
  EXPECT_FALSE(reader_.visible());
}

TEST_F(CursorReaderTest, reportsAnInvisibleImageAsAnEmptyOne) {
  (void)read();
  *bitmap_ = {};
  const auto cursor = read();
  ASSERT_TRUE(cursor && cursor->bitmap);
  EXPECT_TRUE(cursor->visible);
  EXPECT_TRUE(cursor->bitmap->size.isEmpty());
  EXPECT_FALSE(read());
}

TEST_F(CursorReaderTest, ignoresAnImageThatDoesNotFitItsMetadata) {
  const auto ignores = [&](auto&& spoil) {
    make({2, 1}, kHead + 8);
    spoil();
    CursorReader reader(0);
    const auto cursor = reader.read(buffer_->get());
    return cursor && cursor->visible && !cursor->bitmap;
  };
  EXPECT_TRUE(ignores([&] { bitmap_->size = {3, 1}; }));
  EXPECT_TRUE(ignores([&] { bitmap_->size = {2, 2}; }));
  EXPECT_TRUE(ignores([&] { bitmap_->size = {1025, 1}; }));
  EXPECT_TRUE(ignores([&] { bitmap_->size = {UINT_MAX, UINT_MAX}; }));
  EXPECT_TRUE(ignores([&] { bitmap_->stride = 7; }));
  EXPECT_TRUE(ignores([&] { bitmap_->stride = INT_MIN; }));
  EXPECT_TRUE(ignores([&] { bitmap_->offset = 1; }));
  EXPECT_TRUE(ignores([&] { bitmap_->offset = sizeof(spa_meta_bitmap) + 1; }));
  EXPECT_TRUE(ignores([&] { bitmap_->offset = UINT_MAX; }));
  EXPECT_TRUE(ignores([&] { bitmap_->format = SPA_VIDEO_FORMAT_NV12; }));
  EXPECT_TRUE(ignores([&] { bitmap_->format = SPA_VIDEO_FORMAT_UNKNOWN; }));
  EXPECT_TRUE(ignores([&] { cursor_->bitmap_offset = 4; }));
  EXPECT_TRUE(ignores([&] { cursor_->bitmap_offset = kHead + 8; }));
  EXPECT_TRUE(ignores([&] { cursor_->bitmap_offset = UINT_MAX; }));
}

TEST_F(CursorReaderTest, keepsTheHotSpotInTheImageAndThePlaceInBounds) {
  cursor_->hotspot = {INT_MIN, INT_MAX};
  cursor_->position = {INT_MIN, INT_MAX};
  const auto cursor = read();
  ASSERT_TRUE(cursor && cursor->bitmap);
  EXPECT_EQ(cursor->bitmap->hotSpot, QPoint(0, 0));
  EXPECT_EQ(cursor->position, QPoint(-kMaxStreamLength, kMaxStreamLength));
}

TEST_F(CursorReaderTest, reducesALargeImage) {
  make({300, 600}, kHead + std::size_t{300} * 600 * 4);
  cursor_->hotspot = {150, 300};
  const auto cursor = read();
  ASSERT_TRUE(cursor && cursor->bitmap);
  EXPECT_EQ(cursor->bitmap->size, QSize(100, 200));
  EXPECT_EQ(cursor->bitmap->hotSpot, QPoint(50, 100));
  EXPECT_EQ(cursor->bitmap->pixels.size(), 20000u);
}

TEST_F(CursorReaderTest, readsNothingFromABufferWithoutACursor) {
  FakeBuffer without;
  EXPECT_FALSE(reader_.read(without.get()));
  without.add<spa_meta_cursor>(SPA_META_Cursor, 8);
  EXPECT_FALSE(reader_.read(without.get()));
}

}  // namespace
}  // namespace vantora
