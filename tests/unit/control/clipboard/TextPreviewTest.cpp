#include <gtest/gtest.h>

#include <chrono>

#include "main/control/clipboard/TextPreview.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(TextPreviewTest, showsAShortTextWhole) {
  EXPECT_EQ(textPreview(u""_s), u""_s);
  EXPECT_EQ(textPreview(u"a"_s), u"a"_s);
  EXPECT_EQ(textPreview(u"12345678901234567890"_s), u"12345678901234567890"_s);
}

TEST(TextPreviewTest, showsTwentyCharactersOfALongText) {
  EXPECT_EQ(textPreview(u"123456789012345678901"_s), u"12345678901234567890..."_s);
  EXPECT_EQ(textPreview(u"abcdefghijklmnopqrstuvwxy"_s), u"abcdefghijklmnopqrst..."_s);
}

TEST(TextPreviewTest, countsCharactersAsAPersonDoes) {
  for (const QString& one : {u"é"_s, u"e\u0301"_s, u"👩‍👩‍👧"_s, u"🇩🇪"_s, u"한"_s, u"\r\n"_s}) {
    EXPECT_EQ(textPreview(one.repeated(20)), one.repeated(20)) << one.toStdString();
    EXPECT_EQ(textPreview(one.repeated(21)), one.repeated(20) + u"..."_s) << one.toStdString();
  }
}

TEST(TextPreviewTest, countsLongCharactersWhole) {
  const QString one = u"e"_s + QString(5000, u'\u0301');
  EXPECT_EQ(textPreview(one.repeated(20)), one.repeated(20));
  EXPECT_EQ(textPreview(one.repeated(20) + u"x"_s), one.repeated(20) + u"..."_s);
}

TEST(TextPreviewTest, neverCutsThroughACharacterWhereItStopsReading) {
  // A character lies across every length at which the prefix could be cut.
  for (int before = 200; before < 300; ++before) {
    const QString text = u"e"_s + QString(before, u'\u0301') + QString(30, u'x');
    EXPECT_EQ(textPreview(text), text.first(before + 20) + u"..."_s) << before;
  }
}

TEST(TextPreviewTest, takesHalvesOfCharacters) {
  EXPECT_EQ(textPreview(QString(QChar(0xD800)).repeated(30)), QString(QChar(0xD800)).repeated(20) + u"..."_s);
}

TEST(TextPreviewTest, takesNoLongerForALongText) {
  const QString text(10'000'000, u'x');
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(textPreview(text).size(), 23);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
}  // namespace vantora
