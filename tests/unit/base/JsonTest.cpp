#include <gtest/gtest.h>

#include <QJsonArray>
#include <limits>

#include "base/Json.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

JsonObject parsed(const QByteArray& text) {
  const auto object = parseJsonObject(text);
  EXPECT_TRUE(object) << text.constData();
  return object.value_or(JsonObject());
}

TEST(ParseJsonObject, takesObjectsOnly) {
  EXPECT_EQ(parseJsonObject("{\"a\": 1}"), (JsonObject{{u"a"_s, 1}}));
  EXPECT_EQ(parseJsonObject(" \r\n\t{} \n"), JsonObject());
  for (const char* text : {"", " ", "[]", "[{}]", "1", "\"a\"", "null", "true"}) {
    EXPECT_EQ(parseJsonObject(text), std::nullopt) << text;
  }
}

TEST(ParseJsonObject, refusesWhatIsNotJson) {
  for (const char* text : {"{", "}", "{}}", "{}{}", "{a:1}", "{'a':1}", "{\"a\":}", "{\"a\":1,}", "{\"a\":01}",
                           "{\"a\":NaN}", "{\"a\":\"\\u12\"}", "{\"a\" 1}", "// c\n{}"}) {
    EXPECT_EQ(parseJsonObject(text), std::nullopt) << text;
  }
}

TEST(ParseJsonObject, refusesInvalidUtf8) {
  for (const char* bytes : {"\xff", "\xc3", "\xc0\xaf", "\xed\xa0\x80", "\xf5\x80\x80\x80"}) {
    EXPECT_EQ(parseJsonObject(QByteArray("{\"a\":\"") + bytes + "\"}"), std::nullopt);
  }
}

TEST(ParseJsonObject, survivesDeepNesting) {
  for (const int depth : {1'000, 100'000, 1'000'000}) {
    for (const char* piece : {"[", "{\"a\":"}) {
      const QByteArray open = QByteArray("{\"a\":") + QByteArray(piece).repeated(depth);
      EXPECT_EQ(parseJsonObject(open), std::nullopt);
    }
    const QByteArray closed = "{\"a\":" + QByteArray(depth, '[') + QByteArray(depth, ']') + "}";
    const auto object = parseJsonObject(closed);
    EXPECT_EQ(object.has_value(), depth == 1'000);
  }
}

TEST(ParseJsonObject, keepsTheLastOfTwoEqualKeys) {
  EXPECT_EQ(parsed("{\"a\":1,\"a\":2}").value(u"a"_s), QJsonValue(2));
}

TEST(ToJson, isCompactUtf8) { EXPECT_EQ(toJson({{u"ä"_s, QJsonArray{1, true}}}), "{\"\xc3\xa4\":[1,true]}"); }

TEST(ToJson, isReadBackAsItWas) {
  const JsonObject object{{u"text"_s, u"a\"\\\n\u0001\U0001F680"_s},
                          {u"number"_s, -0.125},
                          {u"big"_s, qint64{9'007'199'254'740'993}},
                          {u"none"_s, QJsonValue()},
                          {u"inner"_s, JsonObject{{u"x"_s, false}}}};
  EXPECT_EQ(parseJsonObject(toJson(object)), object);
}

TEST(StringField, isTheTextOnly) {
  const JsonObject object = parsed(R"({"a":"x","b":"","c":1,"d":null,"e":true})");
  EXPECT_EQ(stringField(object, "a"_L1), u"x"_s);
  EXPECT_EQ(stringField(object, "b"_L1), QString(u""_s));
  for (const auto key : {"c"_L1, "d"_L1, "e"_L1, "missing"_L1}) EXPECT_EQ(stringField(object, key), std::nullopt);
}

TEST(BoolField, isTrueOrFalseOnly) {
  const JsonObject object = parsed(R"({"a":true,"b":false,"c":1,"d":"true"})");
  EXPECT_EQ(boolField(object, "a"_L1), true);
  EXPECT_EQ(boolField(object, "b"_L1), false);
  for (const auto key : {"c"_L1, "d"_L1, "missing"_L1}) EXPECT_EQ(boolField(object, key), std::nullopt);
}

TEST(NumberField, isAFiniteNumberOnly) {
  const JsonObject object = parsed(R"({"a":1.5,"b":-2,"c":"3","d":true,"e":null,"f":[1]})");
  EXPECT_EQ(numberField(object, "a"_L1), 1.5);
  EXPECT_EQ(numberField(object, "b"_L1), -2.0);
  for (const auto key : {"c"_L1, "d"_L1, "e"_L1, "f"_L1, "missing"_L1}) {
    EXPECT_EQ(numberField(object, key), std::nullopt);
  }
  EXPECT_EQ(parseJsonObject(R"({"a":1e999})"), std::nullopt);
  EXPECT_EQ(numberField({{u"a"_s, std::numeric_limits<double>::infinity()}}, "a"_L1), std::nullopt);
  EXPECT_EQ(numberField({{u"a"_s, std::numeric_limits<double>::quiet_NaN()}}, "a"_L1), std::nullopt);
}

TEST(IntegerField, takesWholeNumbersHoweverTheyAreWritten) {
  for (const char* text : {"30", "30.0", "3e1", "3.0E+1", "300e-1"}) {
    EXPECT_EQ(integerField(parsed(QByteArray("{\"a\":") + text + "}"), "a"_L1), 30) << text;
  }
  EXPECT_EQ(integerField(parsed(R"({"a":0})"), "a"_L1), 0);
  EXPECT_EQ(integerField(parsed(R"({"a":-0.0})"), "a"_L1), 0);
  EXPECT_EQ(integerField(parsed(R"({"a":1})"), "a"_L1), 1);
  EXPECT_EQ(integerField(parsed(R"({"a":-7})"), "a"_L1), -7);
}

TEST(IntegerField, takesTheWholeRangeOf64Bits) {
  EXPECT_EQ(integerField(parsed(R"({"a":9223372036854775807})"), "a"_L1), std::numeric_limits<qint64>::max());
  EXPECT_EQ(integerField(parsed(R"({"a":-9223372036854775808})"), "a"_L1), std::numeric_limits<qint64>::min());
}

TEST(IntegerField, refusesEverythingElse) {
  for (const char* text : {"1.5", "true", "false", "null", "\"30\"", "[30]", "{}", "1e30", "-1e30", "1e-3",
                           "9223372036854775808", "99999999999999999999999999", "0.1"}) {
    EXPECT_EQ(integerField(parsed(QByteArray("{\"a\":") + text + "}"), "a"_L1), std::nullopt) << text;
  }
  EXPECT_EQ(integerField({}, "a"_L1), std::nullopt);
}

TEST(ObjectField, isAnObjectOnly) {
  const JsonObject object = parsed(R"({"a":{"b":1},"c":[{}],"d":null,"e":{}})");
  EXPECT_EQ(objectField(object, "a"_L1), (JsonObject{{u"b"_s, 1}}));
  EXPECT_EQ(objectField(object, "e"_L1), JsonObject());
  for (const auto key : {"c"_L1, "d"_L1, "missing"_L1}) EXPECT_EQ(objectField(object, key), std::nullopt);
}

}  // namespace
}  // namespace vantora
