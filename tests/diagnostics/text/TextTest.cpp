#include "Diagnostics/text/FieldsText.h"
#include "Diagnostics/text/Text.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

TEST(TextTest, linesAreTrimmedAndEmptyOnesLeftOut) {
  EXPECT_EQ(trimmedLines(u" a b \r\n\n\tc\n   \n"_s), QStringList({u"a b"_s, u"c"_s}));
  EXPECT_TRUE(trimmedLines(QString()).isEmpty());
}

TEST(TextTest, takesTheLastPathComponent) {
  EXPECT_EQ(lastPathComponent(u"/usr/bin/a b"_s), u"a b"_s);
  EXPECT_EQ(lastPathComponent(u"plain"_s), u"plain"_s);
}

TEST(TextTest, numbersAreWholeAndFinite) {
  EXPECT_EQ(toInteger(u" -42 "_s), -42);
  EXPECT_FALSE(toInteger(u"42x"_s));
  EXPECT_FALSE(toInteger(u"99999999999999999999"_s));
  EXPECT_EQ(toNumber(u"1.5"_s), 1.5);
  for (const QString& text : {u"nan"_s, u"inf"_s, u"-inf"_s, u"1,5"_s, u""_s, u"1e999"_s}) {
    EXPECT_FALSE(toNumber(text)) << text.toStdString();
  }
}

TEST(TextTest, readsTheDigitsAtTheStart) {
  EXPECT_EQ(leadingInteger(u" 87% of new"_s), 87);
  EXPECT_EQ(leadingInteger(u"-3 C"_s), -3);
  EXPECT_FALSE(leadingInteger(u"about 87"_s));
}

TEST(TextTest, undoesEscapedBytesAndCharacters) {
  EXPECT_EQ(unescaped(uR"(B\xc3\xbcro)"_s), u"Büro"_s);
  EXPECT_EQ(unescaped(uR"(a\x2eb\"c\\)"_s), uR"(a.b"c\)"_s);
  EXPECT_EQ(unescaped(uR"(end\x4)"_s), u"endx4"_s);
  EXPECT_EQ(unescaped(u"end\\"_s), u"end\\"_s);
}

TEST(TextTest, roundsToTenthsAwayFromZero) {
  EXPECT_DOUBLE_EQ(roundedToTenth(30.25), 30.3);
  EXPECT_DOUBLE_EQ(roundedToTenth(-30.25), -30.3);
}

TEST(TextTest, fieldsMayHoldEscapedSeparators) {
  EXPECT_EQ(nmcliFields(uR"(*:Cafe\: up\\stairs:70::)"_s),
            QStringList({u"*"_s, uR"(Cafe: up\stairs)"_s, u"70"_s, QString(), QString()}));
  EXPECT_EQ(nmcliFields(QString()), QStringList(QString{}));
}

}  // namespace
}  // namespace vantora::Diagnostics
