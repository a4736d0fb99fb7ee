#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

#include "base/Environment.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(ParseDecimal, takesAnOptionalSignAndDigits) {
  EXPECT_EQ(parseDecimal(u"0"), 0);
  EXPECT_EQ(parseDecimal(u"007"), 7);
  EXPECT_EQ(parseDecimal(u"+5"), 5);
  EXPECT_EQ(parseDecimal(u"-5"), -5);
  EXPECT_EQ(parseDecimal(u"-0"), 0);
}

TEST(ParseDecimal, takesTheWholeRangeOf64BitsAndNoMore) {
  EXPECT_EQ(parseDecimal(u"9223372036854775807"), std::numeric_limits<qint64>::max());
  EXPECT_EQ(parseDecimal(u"-9223372036854775808"), std::numeric_limits<qint64>::min());
  EXPECT_EQ(parseDecimal(u"9223372036854775808"), std::nullopt);
  EXPECT_EQ(parseDecimal(u"-9223372036854775809"), std::nullopt);
}

TEST(ParseDecimal, refusesEverythingElse) {
  for (const QString& text : {QString(), u" 1"_s, u"1 "_s, u"1.0"_s, u"1e3"_s, u"0x1"_s, u"+"_s, u"-"_s, u"--1"_s,
                              u"+-1"_s, u"1,000"_s, u"x"_s, u"\u0661"_s, u"1\0"_s}) {
    EXPECT_EQ(parseDecimal(text), std::nullopt) << text.toStdString();
  }
}

TEST(Environment, tellsAbsentFromEmpty) {
  const Environment environment = Environment::of({{"EMPTY", ""}, {"FULL", "x"}});
  EXPECT_EQ(environment.value("ABSENT"), std::nullopt);
  EXPECT_EQ(environment.value("EMPTY"), QString(u""_s));
  EXPECT_EQ(environment.value("FULL"), u"x"_s);
  EXPECT_EQ(environment.nonEmpty("ABSENT"), std::nullopt);
  EXPECT_EQ(environment.nonEmpty("EMPTY"), std::nullopt);
  EXPECT_EQ(environment.nonEmpty("FULL"), u"x"_s);
}

TEST(Environment, comparesTheWholeText) {
  const Environment environment = Environment::of({{"A", "1"}, {"B", "11"}, {"C", " 1"}});
  EXPECT_TRUE(environment.equals("A", "1"_L1));
  EXPECT_FALSE(environment.equals("B", "1"_L1));
  EXPECT_FALSE(environment.equals("C", "1"_L1));
  EXPECT_FALSE(environment.equals("D", ""_L1));
}

TEST(Environment, readsIntegers) {
  const Environment environment = Environment::of({{"A", "42"}, {"B", "x"}});
  EXPECT_EQ(environment.integer("A"), 42);
  EXPECT_EQ(environment.integer("B"), std::nullopt);
  EXPECT_EQ(environment.integer("C"), std::nullopt);
}

TEST(Environment, ofTheProcessIsReadAtEveryCallAndAsUtf8) {
  const Environment environment = Environment::ofProcess();
  constexpr const char* kName = "VANTORA_TEST_VARIABLE";
  ASSERT_EQ(::unsetenv(kName), 0);
  EXPECT_EQ(environment.value(kName), std::nullopt);
  ASSERT_EQ(::setenv(kName, "\xC3\xA4", 1), 0);
  EXPECT_EQ(environment.value(kName), u"ä"_s);
  ASSERT_EQ(::unsetenv(kName), 0);
}

}  // namespace
}  // namespace vantora
