#include <gtest/gtest.h>

#include <QByteArray>
#include <QStringDecoder>
#include <random>

#include "base/process/Utf8Check.h"

namespace vantora {
namespace {

bool isUtf8(QByteArrayView bytes) {
  Utf8Check check;
  check.feed(bytes);
  return check.valid();
}

TEST(Utf8CheckTest, takesEveryCodePointAndNothingElse) {
  // Every sequence of one and two bytes, and the interesting ones of three and four.
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      for (const QByteArray& rest : {QByteArray(), QByteArray("\x80"), QByteArray("\xBF\xBF"), QByteArray("x")}) {
        const QByteArray bytes = QByteArray(1, static_cast<char>(first)) + static_cast<char>(second) + rest;
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString text = decoder(bytes);
        ASSERT_EQ(isUtf8(bytes), !decoder.hasError()) << bytes.toHex().toStdString();
      }
    }
  }
}

TEST(Utf8CheckTest, agreesWithTheDecoderOnAnyBytesHoweverTheyArrive) {
  std::mt19937 random(11);
  const QByteArray alphabet("a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80\xED\xA0\xF4\x90\xC0");
  for (int round = 0; round < 20'000; ++round) {
    QByteArray bytes;
    for (unsigned length = random() % 8; length > 0; --length) {
      bytes.append(alphabet[static_cast<qsizetype>(random() % static_cast<unsigned>(alphabet.size()))]);
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    Utf8Check check;
    for (const char byte : bytes) check.feed(QByteArrayView(&byte, 1));
    ASSERT_EQ(check.valid(), !decoder.hasError()) << bytes.toHex().toStdString();
    ASSERT_EQ(isUtf8(bytes), check.valid());
  }
}

TEST(Utf8CheckTest, aHalfCharacterIsTakenOffAtTheEndOnly) {
  EXPECT_EQ(withoutHalfCharacter(""), QByteArrayView(""));
  EXPECT_EQ(withoutHalfCharacter("abc"), QByteArrayView("abc"));
  EXPECT_EQ(withoutHalfCharacter("a\xC3"), QByteArrayView("a"));
  EXPECT_EQ(withoutHalfCharacter("a\xC3\xBC"), QByteArrayView("a\xC3\xBC"));
  EXPECT_EQ(withoutHalfCharacter("\xF0\x9F\x98"), QByteArrayView(""));
}

}  // namespace
}  // namespace vantora
