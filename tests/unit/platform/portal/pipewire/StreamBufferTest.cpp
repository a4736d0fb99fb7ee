#include <gtest/gtest.h>

#include <climits>

#include "platform/portal/pipewire/StreamBuffer.h"
#include "tests/unit/platform/portal/pipewire/FakeBuffer.h"

namespace vantora {
namespace {

// 10 by 4 pixels.
class StreamBufferTest : public testing::Test {
 protected:
  const StreamFormat format_{{10, 4}, PixelFormat::bgrx};
  FakeBuffer buffer_{160};
};

TEST_F(StreamBufferTest, readsAFrameThatFillsItsMemory) {
  const auto frame = readFrame(buffer_.get(), format_);
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->view.data, buffer_.pixels());
  EXPECT_EQ(frame->view.stride, 40);
  EXPECT_EQ(frame->view.size, QSize(10, 4));
  EXPECT_FALSE(frame->damage);
}

TEST_F(StreamBufferTest, readsNoFrameThatDoesNotFitItsMemory) {
  EXPECT_FALSE(readFrame(buffer_.get(), {{10, 5}, PixelFormat::bgrx}));
  EXPECT_FALSE(readFrame(buffer_.get(), {{kMaxStreamLength, kMaxStreamLength}, PixelFormat::bgrx}));
  for (const std::int32_t stride : {-40, 39, 41, INT_MIN, INT_MAX}) {
    buffer_.chunk.stride = stride;
    EXPECT_FALSE(readFrame(buffer_.get(), format_)) << stride;
  }
  buffer_.chunk.stride = 40;
  for (const std::uint32_t offset : {1u, 159u, UINT_MAX}) {
    buffer_.chunk.offset = offset;
    EXPECT_FALSE(readFrame(buffer_.get(), format_)) << offset;
  }
  buffer_.chunk.offset = 320;  // Counts modulo the size of the memory.
  EXPECT_TRUE(readFrame(buffer_.get(), format_));
}

TEST_F(StreamBufferTest, readsNoFrameWithoutMemory) {
  buffer_.data.type = SPA_DATA_DmaBuf;
  EXPECT_FALSE(readFrame(buffer_.get(), format_));
  buffer_.data.type = SPA_DATA_MemPtr;
  buffer_.data.maxsize = 0;
  EXPECT_FALSE(readFrame(buffer_.get(), format_));
  buffer_.data.maxsize = 160;
  buffer_.data.data = nullptr;
  EXPECT_FALSE(readFrame(buffer_.get(), format_));
  buffer_.data.chunk = nullptr;
  EXPECT_FALSE(readFrame(buffer_.get(), format_));
  spa_buffer empty{};
  EXPECT_FALSE(readFrame(empty, format_));
}

TEST_F(StreamBufferTest, takesACorruptedHeaderForNoPixels) {
  EXPECT_TRUE(carriesPixels(buffer_.get()));
  buffer_.add<spa_meta_header>(SPA_META_Header)->flags = SPA_META_HEADER_FLAG_CORRUPTED;
  EXPECT_FALSE(carriesPixels(buffer_.get()));
  EXPECT_FALSE(readFrame(buffer_.get(), format_));
}

TEST_F(StreamBufferTest, ignoresMetadataThatIsTooShort) {
  buffer_.add<spa_meta_header>(SPA_META_Header, 16);
  buffer_.add<spa_meta_region>(SPA_META_VideoCrop, 8);
  buffer_.add<spa_meta_region>(SPA_META_VideoDamage, 15);
  buffer_.add<spa_meta_videotransform>(SPA_META_VideoTransform, 2);
  EXPECT_TRUE(readFrame(buffer_.get(), format_));
  EXPECT_FALSE(sequenceOf(buffer_.get()));
}

TEST_F(StreamBufferTest, placesTheDamageInTheCroppedFrame) {
  buffer_.add<spa_meta_region>(SPA_META_VideoCrop)->region = {{2, 1}, {6, 100}};
  auto* const damage = buffer_.add<spa_meta_region>(SPA_META_VideoDamage, 3 * sizeof(spa_meta_region));
  damage[0].region = {{0, 0}, {4, 2}};
  damage[2].region = {{0, 0}, {10, 4}};  // After the end of the list.
  const auto frame = readFrame(buffer_.get(), format_);
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->view.data, buffer_.pixels() + 40 + 8);
  EXPECT_EQ(frame->view.size, QSize(6, 3));
  EXPECT_EQ(frame->origin, QPoint(2, 1));
  EXPECT_EQ(frame->damage, std::vector{QRect(0, 0, 2, 1)});
}

TEST_F(StreamBufferTest, showsATurnedFrameUpright) {
  auto* const transform = buffer_.add<spa_meta_videotransform>(SPA_META_VideoTransform);
  const auto turn = [&](std::uint32_t value) {
    transform->transform = value;
    const auto frame = readFrame(buffer_.get(), format_);
    return frame ? std::pair(frame->mirrored, frame->rotationDegrees) : std::pair(false, -1);
  };
  EXPECT_EQ(turn(SPA_META_TRANSFORMATION_None), std::pair(false, 0));
  EXPECT_EQ(turn(SPA_META_TRANSFORMATION_90), std::pair(false, 90));
  EXPECT_EQ(turn(SPA_META_TRANSFORMATION_270), std::pair(false, 270));
  EXPECT_EQ(turn(SPA_META_TRANSFORMATION_Flipped), std::pair(true, 0));
  EXPECT_EQ(turn(SPA_META_TRANSFORMATION_Flipped90), std::pair(true, 270));
  EXPECT_EQ(turn(SPA_META_TRANSFORMATION_Flipped180), std::pair(true, 180));
  EXPECT_EQ(turn(SPA_META_TRANSFORMATION_Flipped270), std::pair(true, 90));
  EXPECT_EQ(turn(8), std::pair(false, 0));
}

TEST_F(StreamBufferTest, keepsABoundedListOfDamage) {
  FrameDamage damage = std::vector<QRect>();
  for (int i = 0; i < 1000; ++i) addDamage(damage, std::vector{QRect(i, i, 1, 1)});
  ASSERT_TRUE(damage);
  EXPECT_LE(damage->size(), 129u);
  QRect around;
  for (const QRect& rect : *damage) around |= rect;
  EXPECT_EQ(around, QRect(0, 0, 1000, 1000));
  addDamage(damage, std::nullopt);
  EXPECT_FALSE(damage);
  addDamage(damage, std::vector{QRect(0, 0, 1, 1)});
  EXPECT_FALSE(damage);
}

}  // namespace
}  // namespace vantora
