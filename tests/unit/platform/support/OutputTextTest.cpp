#include <gtest/gtest.h>

#include <QByteArrayList>

#include "platform/linux/support/OutputText.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const QString kMark = u"\n…(truncated)…"_s;

QString textOf(const QList<QByteArray>& pieces, qsizetype kept = 65536, qsizetype characters = 8192) {
  OutputText output(kept);
  for (const QByteArray& piece : pieces) output.append(piece);
  return output.text(characters);
}

TEST(OutputTextTest, leavesUpTo8192CharactersAlone) {
  EXPECT_EQ(textOf({}), QString());
  EXPECT_EQ(textOf({"a\n", "b"}), u"a\nb"_s);
  EXPECT_EQ(textOf({QByteArray(8192, 'x')}), QString(8192, u'x'));
}

TEST(OutputTextTest, cutsLongerOutputAndSaysSo) {
  EXPECT_EQ(textOf({QByteArray(8193, 'x')}), QString(8192, u'x') + kMark);
  EXPECT_EQ(textOf({QByteArray(10'000, 'x')}), QString(8192, u'x') + kMark);
  EXPECT_EQ(textOf({QByteArray(10'000'000, 'x')}), QString(8192, u'x') + kMark);
}

TEST(OutputTextTest, countsCharactersAsAPersonDoes) {
  const QString umlaut = u"u\u0308"_s;  // Two code points.
  const QString family = u"👨‍👩‍👧"_s;
  EXPECT_EQ(truncatedText(umlaut.repeated(3), 3), umlaut.repeated(3));
  EXPECT_EQ(truncatedText(umlaut.repeated(4), 3), umlaut.repeated(3) + kMark);
  EXPECT_EQ(truncatedText(family.repeated(3), 2), family.repeated(2) + kMark);
  EXPECT_EQ(truncatedText(u"😀"_s.repeated(8193), 8192), u"😀"_s.repeated(8192) + kMark);
  EXPECT_EQ(truncatedText(u"😀"_s.repeated(8192), 8192), u"😀"_s.repeated(8192));
}

TEST(OutputTextTest, isEmptyWhenTheOutputIsNotUtf8) {
  EXPECT_EQ(textOf({"B\xC3\xBCro"}), u"Büro"_s);
  EXPECT_EQ(textOf({"B\xC3", "\xBCro"}), u"Büro"_s);
  EXPECT_EQ(textOf({"good\xFF"}), QString());
  EXPECT_EQ(textOf({"half \xC3"}), QString());
  // Also when the invalid byte is beyond the kept part.
  EXPECT_EQ(textOf({QByteArray(100, 'x'), "\xFF", "x"}, 10), QString());
}

TEST(OutputTextTest, keepsWholeCharactersOfWhatFits) {
  const QByteArray text =
      "aaa\xF0\x9F\x98\x80"
      "bbb";
  for (const qsizetype kept : {3, 4, 5, 6}) EXPECT_EQ(textOf({text}, kept), u"aaa"_s + kMark) << kept;
  EXPECT_EQ(textOf({text}, 7), u"aaa😀"_s + kMark);
  EXPECT_EQ(textOf({text}, 10), u"aaa😀bbb"_s);
  EXPECT_EQ(textOf({text, "c"}, 10), u"aaa😀bbb"_s + kMark);
}

}  // namespace
}  // namespace vantora
