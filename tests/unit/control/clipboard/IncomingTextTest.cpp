#include <gtest/gtest.h>

#include "main/control/clipboard/IncomingText.h"
#include "platform/Clipboard.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using enum IncomingText::Outcome;

constexpr qint64 kMaxBytes = Clipboard::kMaxTextBytes;

class IncomingTextTest : public testing::Test {
 protected:
  IncomingText::Outcome take(qint64 id, qint64 part, qint64 parts, qint64 length, const QString& text) {
    return incoming_.take({.id = id, .part = part, .parts = parts, .length = length, .text = text});
  }
  // The three pieces of "abü" + "🙂" + "c".
  IncomingText::Outcome firstPiece(qint64 id = 1) { return take(id, 0, 3, 9, u"abü"_s); }
  IncomingText::Outcome secondPiece(qint64 id = 1) { return take(id, 1, 3, 9, u"🙂"_s); }
  IncomingText::Outcome thirdPiece(qint64 id = 1) { return take(id, 2, 3, 9, u"c"_s); }

  IncomingText incoming_;
};

TEST_F(IncomingTextTest, putsPiecesTogether) {
  EXPECT_EQ(firstPiece(), taken);
  EXPECT_EQ(secondPiece(), taken);
  EXPECT_EQ(thirdPiece(), complete);
  EXPECT_EQ(incoming_.takeText(), u"abü🙂c"_s);
  EXPECT_EQ(thirdPiece(), ignored);
  EXPECT_EQ(take(2, 0, 1, 1, u"x"_s), complete);
  EXPECT_EQ(incoming_.takeText(), u"x"_s);
}

TEST_F(IncomingTextTest, endsATextWhosePieceIsRepeatedOrMissing) {
  firstPiece();
  secondPiece();
  EXPECT_EQ(secondPiece(), ignored);
  EXPECT_EQ(thirdPiece(), ignored);
  firstPiece();
  EXPECT_EQ(thirdPiece(), ignored);
  EXPECT_EQ(secondPiece(), ignored);
}

TEST_F(IncomingTextTest, endsATextWhosePiecesDisagree) {
  firstPiece();
  EXPECT_EQ(take(1, 1, 4, 9, u"🙂"_s), ignored);
  EXPECT_EQ(secondPiece(), ignored);
  firstPiece();
  EXPECT_EQ(take(1, 1, 3, 10, u"🙂"_s), ignored);
  EXPECT_EQ(secondPiece(), ignored);
  firstPiece();
  EXPECT_EQ(take(1, 1, 3, 9, u""_s), ignored);
  EXPECT_EQ(secondPiece(), ignored);
}

TEST_F(IncomingTextTest, endsATextThatIsLongerOrShorterThanAnnounced) {
  firstPiece();
  EXPECT_EQ(take(1, 1, 3, 9, u"wxyzw"_s), ignored) << "nothing is left for the third";
  EXPECT_EQ(thirdPiece(), ignored);
  firstPiece();
  secondPiece();
  EXPECT_EQ(take(1, 2, 3, 9, u"cd"_s), ignored);
  firstPiece();
  secondPiece();
  EXPECT_EQ(take(1, 2, 3, 9, u""_s), ignored);
  EXPECT_EQ(take(1, 0, 1, 5, u"four"_s), ignored);
}

TEST_F(IncomingTextTest, beginsANewTextInPlaceOfAnUnfinishedOne) {
  firstPiece(1);
  EXPECT_EQ(firstPiece(2), taken);
  EXPECT_EQ(secondPiece(1), ignored) << "of the text that was replaced";
  EXPECT_EQ(secondPiece(2), taken);
  EXPECT_EQ(thirdPiece(1), ignored);
  EXPECT_EQ(thirdPiece(2), complete);
  EXPECT_EQ(incoming_.takeText(), u"abü🙂c"_s);
}

TEST_F(IncomingTextTest, ignoresPiecesWithoutABeginning) {
  EXPECT_EQ(secondPiece(), ignored);
  EXPECT_EQ(take(0, 1, 3, 9, u"x"_s), ignored);
  EXPECT_EQ(take(1, -1, 3, 9, u"x"_s), ignored);
  firstPiece();
  incoming_.drop();
  EXPECT_EQ(secondPiece(), ignored);
}

TEST_F(IncomingTextTest, ignoresCountsThatCannotBe) {
  EXPECT_EQ(take(1, 0, 0, 9, u"x"_s), ignored);
  EXPECT_EQ(take(1, 0, -1, 9, u"x"_s), ignored);
  EXPECT_EQ(take(1, 0, 10, 9, u"x"_s), ignored);
  EXPECT_EQ(take(1, 0, std::numeric_limits<qint64>::max(), kMaxBytes, u"x"_s), ignored);
  EXPECT_EQ(take(1, 0, 1, 0, u""_s), ignored);
  EXPECT_EQ(take(1, 0, 1, -9, u"x"_s), ignored);
  EXPECT_EQ(take(1, 1, 2, 9, u"x"_s), ignored);
}

TEST_F(IncomingTextTest, refusesATextThatIsTooLongWithItsFirstPiece) {
  EXPECT_EQ(take(1, 0, 2, kMaxBytes + 1, QString(kMaxBytes, u'x')), tooLong);
  EXPECT_EQ(take(1, 1, 2, kMaxBytes + 1, u"x"_s), ignored);
  EXPECT_EQ(take(2, 0, 2, kMaxBytes, QString(kMaxBytes - 1, u'x')), taken);
  EXPECT_EQ(take(2, 1, 2, kMaxBytes, u"x"_s), complete);
  EXPECT_EQ(incoming_.takeText().size(), kMaxBytes);
}

TEST_F(IncomingTextTest, readsOnlyMessagesThatHaveEverything) {
  const JsonObject whole{{u"id"_s, 7}, {u"part"_s, 0}, {u"parts"_s, 2}, {u"length"_s, 5}, {u"text"_s, u"ab"_s}};
  const auto piece = textPieceOf(whole);
  ASSERT_TRUE(piece);
  EXPECT_EQ(piece->id, 7);
  EXPECT_EQ(piece->parts, 2);
  EXPECT_EQ(piece->length, 5);
  EXPECT_EQ(piece->text, u"ab"_s);
  for (const QString& key : whole.keys()) {
    for (const QJsonValue& wrong : {QJsonValue(QJsonValue::Undefined), QJsonValue(1.5), QJsonValue(true)}) {
      JsonObject message = whole;
      message.insert(key, wrong);
      EXPECT_FALSE(textPieceOf(message)) << key.toStdString();
    }
  }
}

}  // namespace
}  // namespace vantora
