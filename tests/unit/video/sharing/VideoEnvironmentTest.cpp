#include <gtest/gtest.h>

#include <limits>

#include "main/video/sharing/VideoEnvironment.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

VideoEnvironment read(std::initializer_list<std::pair<const char*, const char*>> values) {
  return readVideoEnvironment(Environment::of(values));
}

TEST(VideoEnvironment, hasItsDefaults) {
  const VideoEnvironment video = read({});
  EXPECT_EQ(video.fps, 60);
  EXPECT_EQ(video.width, 1280);
  EXPECT_EQ(video.height, 720);
  EXPECT_EQ(video.displayIndex, 0);
  EXPECT_EQ(video.inputUsesPoints, std::nullopt);
  EXPECT_EQ(video.inputOriginTop, std::nullopt);
  EXPECT_FALSE(video.shareIdleVideo);
  EXPECT_EQ(video.contentHint, u"motion"_s);
}

TEST(VideoEnvironment, takesDecimalIntegers) {
  const VideoEnvironment video = read({{"FPS", "15"}, {"WIDTH", "1920"}, {"HEIGHT", "1080"}, {"DISPLAY_INDEX", "2"}});
  EXPECT_EQ(video.fps, 15);
  EXPECT_EQ(video.width, 1920);
  EXPECT_EQ(video.height, 1080);
  EXPECT_EQ(video.displayIndex, 2);
}

TEST(VideoEnvironment, fallsBackToTheDefaultsForTextsThatAreNoNumbers) {
  for (const char* text : {"", "many", "30.0", "1e2", "0x20", "99999999999999999999"}) {
    const VideoEnvironment video = read({{"FPS", text}, {"WIDTH", text}, {"HEIGHT", text}, {"DISPLAY_INDEX", text}});
    EXPECT_EQ(video.fps, 60) << text;
    EXPECT_EQ(video.width, 1280) << text;
    EXPECT_EQ(video.height, 720) << text;
    EXPECT_EQ(video.displayIndex, 0) << text;
  }
}

TEST(VideoEnvironment, bringsNumbersIntoASafeRange) {
  const VideoEnvironment low = read({{"FPS", "0"}, {"WIDTH", "-1"}, {"HEIGHT", "15"}, {"DISPLAY_INDEX", "-3"}});
  EXPECT_EQ(low.fps, 1);
  EXPECT_EQ(low.width, 16);
  EXPECT_EQ(low.height, 16);
  EXPECT_EQ(low.displayIndex, 0);
  const VideoEnvironment high =
      read({{"FPS", "100000"}, {"WIDTH", "4294967297"}, {"HEIGHT", "16385"}, {"DISPLAY_INDEX", "4294967296"}});
  EXPECT_EQ(high.fps, 240);
  EXPECT_EQ(high.width, 16384);
  EXPECT_EQ(high.height, 16384);
  EXPECT_EQ(high.displayIndex, std::numeric_limits<int>::max());
}

TEST(VideoEnvironment, mapsInputToPixelsOnlyWhenAskedTo) {
  EXPECT_EQ(read({{"INPUT_MAP", "PIXELS"}}).inputUsesPoints, false);
  EXPECT_EQ(read({{"INPUT_MAP", "points"}}).inputUsesPoints, true);
  EXPECT_EQ(read({{"INPUT_MAP", ""}}).inputUsesPoints, true);
  EXPECT_EQ(read({{"INPUT_MAP", "pixels"}}).inputOriginTop, std::nullopt);
}

TEST(VideoEnvironment, putsTheOriginToTheBottomOnlyWhenAskedTo) {
  EXPECT_EQ(read({{"INPUT_ORIGIN", "Bottom"}}).inputOriginTop, false);
  EXPECT_EQ(read({{"INPUT_ORIGIN", "left"}}).inputOriginTop, true);
  EXPECT_EQ(read({{"INPUT_ORIGIN", "bottom"}}).inputUsesPoints, std::nullopt);
}

TEST(VideoEnvironment, sharesTheIdlePatternForExactlyOne) {
  EXPECT_TRUE(read({{"SHARE_IDLE_VIDEO", "1"}}).shareIdleVideo);
  for (const char* text : {"true", "", "0", "1 "}) EXPECT_FALSE(read({{"SHARE_IDLE_VIDEO", text}}).shareIdleVideo);
}

TEST(VideoEnvironment, hintsAtDetailOnlyWhenAskedTo) {
  EXPECT_EQ(read({{"CONTENT_HINT", "Detail"}}).contentHint, u"detail"_s);
  EXPECT_EQ(read({{"CONTENT_HINT", "text"}}).contentHint, u"motion"_s);
}

TEST(VideoEnvironment, isReadAgainAtEveryCall) {
  QString fps = u"10"_s;
  const Environment environment([&fps](const char* name) -> std::optional<QString> {
    if (QLatin1StringView(name) == "FPS"_L1) return fps;
    return std::nullopt;
  });
  EXPECT_EQ(readVideoEnvironment(environment).fps, 10);
  fps = u"20"_s;
  EXPECT_EQ(readVideoEnvironment(environment).fps, 20);
}

}  // namespace
}  // namespace vantora
