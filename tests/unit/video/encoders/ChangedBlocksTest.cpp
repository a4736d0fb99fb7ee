#include <gtest/gtest.h>

#include "main/video/encoders/ChangedBlocks.h"

namespace vantora {
namespace {

TEST(ChangedBlocks, takesTheFirstPictureAndANewSizeAsAllNew) {
  ChangedBlocks changes;
  const std::vector<uint8_t> picture(64 * 64, 7);
  EXPECT_EQ(changes.compare(picture.data(), 64, 64, 64), 1);
  EXPECT_EQ(changes.compare(picture.data(), 64, 64, 64), 0);
  EXPECT_EQ(changes.compare(picture.data(), 64, 48, 64), 1);
}

TEST(ChangedBlocks, countsTheBlocksThatDiffer) {
  ChangedBlocks changes;
  std::vector<uint8_t> picture(64 * 64, 7);
  changes.compare(picture.data(), 64, 64, 64);
  picture[0] = 8;             // Block (0, 0),
  picture[15 * 64 + 15] = 8;  // the same one again,
  picture[63 * 64 + 63] = 9;  // and the last of 16.
  EXPECT_DOUBLE_EQ(changes.compare(picture.data(), 64, 64, 64), 2.0 / 16);
  EXPECT_DOUBLE_EQ(changes.compare(picture.data(), 64, 64, 64), 0);
}

TEST(ChangedBlocks, looksAtTheRestThatIsNoWholeBlockAndNotBeyondTheRow) {
  ChangedBlocks changes;
  std::vector<uint8_t> picture(64 * 20, 7);
  changes.compare(picture.data(), 64, 20, 20);  // Two by two blocks, 44 bytes of each row belong to nobody.
  picture[30] = 8;
  EXPECT_DOUBLE_EQ(changes.compare(picture.data(), 64, 20, 20), 0);
  picture[19 * 64 + 19] = 8;
  EXPECT_DOUBLE_EQ(changes.compare(picture.data(), 64, 20, 20), 1.0 / 4);
}

}  // namespace
}  // namespace vantora
