#include <gtest/gtest.h>

#include "base/Characters.h"
#include "base/Json.h"
#include "main/control/clipboard/TextPieces.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Bytes that the JSON writer writes for `text`, without the quotes.
qint64 written(const QString& text) { return toJson({{u"t"_s, text}}).size() - toJson({{u"t"_s, QString()}}).size(); }

QStringList piecesOf(const QString& text, qint64 maximum) {
  QStringList pieces;
  qsizetype begin = 0;
  for (const qsizetype end : pieceEnds(text, maximum)) {
    pieces.append(text.sliced(begin, end - begin));
    begin = end;
  }
  EXPECT_EQ(begin, text.size());
  return pieces;
}

TEST(TextPiecesTest, countsWhatTheJsonWriterWrites) {
  for (char16_t unit = 0; unit < 0xd800; ++unit) {
    const QString text(3, QChar(unit));
    ASSERT_EQ(jsonLength(text), written(text)) << int{unit};
    ASSERT_EQ(utf8Length(text), text.toUtf8().size()) << int{unit};
  }
  EXPECT_EQ(jsonLength(u"a🙂\u0001\n\"ü表"_s), written(u"a🙂\u0001\n\"ü表"_s));
  EXPECT_EQ(utf8Length(u"a🙂\u0001\n\"ü表"_s), 13);
}

TEST(TextPiecesTest, countsHalvesOfPairsAsTheReplacementCharacter) {
  for (const QString& text : {QString(QChar(0xd83d)), QString(QChar(0xde42)), QString(QChar(0xde42)) + QChar(0xd83d),
                              QChar(0xd83d) + u"x"_s}) {
    EXPECT_EQ(
        utf8Length(text),
        QString(text).replace(QChar(0xd83d), QChar(0xfffd)).replace(QChar(0xde42), QChar(0xfffd)).toUtf8().size());
    EXPECT_GE(jsonLength(text), written(text));
  }
}

TEST(TextPiecesTest, cutsWhereThePieceIsFull) {
  EXPECT_EQ(piecesOf(u""_s, 4), QStringList());
  EXPECT_EQ(piecesOf(u"abcd"_s, 4), QStringList{u"abcd"_s});
  EXPECT_EQ(piecesOf(u"abcde"_s, 4), (QStringList{u"abcd"_s, u"e"_s}));
  EXPECT_EQ(piecesOf(u"a\nb\nc"_s, 4), (QStringList{u"a\nb"_s, u"\nc"_s}));
  EXPECT_EQ(piecesOf(QString(5, QChar(1)), 12),
            (QStringList{QString(2, QChar(1)), QString(2, QChar(1)), QString(1, QChar(1))}));
  EXPECT_EQ(piecesOf(u"🙂🙂a🙂"_s, 7), (QStringList{u"🙂"_s, u"🙂a"_s, u"🙂"_s}));
}

TEST(TextPiecesTest, takesACharacterThatIsLongerThanAPieceByItself) {
  EXPECT_EQ(piecesOf(u"a🙂b"_s, 1), (QStringList{u"a"_s, u"🙂"_s, u"b"_s}));
  EXPECT_EQ(piecesOf(u"a🙂"_s, -5), (QStringList{u"a"_s, u"🙂"_s}));
}

}  // namespace
}  // namespace vantora
