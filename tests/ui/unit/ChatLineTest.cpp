#include <gtest/gtest.h>

#include "main/ui/chat/ChatLine.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const QLocale kEnglish(QLocale::English, QLocale::UnitedStates);
const QLocale kGerman(QLocale::German, QLocale::Germany);

QString plain(const QList<ChatPiece>& pieces) {
  QString text;
  for (const ChatPiece& piece : pieces) text += piece.text;
  return text;
}

QStringList links(const QString& text) {
  QStringList urls;
  for (const ChatPiece& piece : linkified(text)) {
    if (piece.role == ChatRole::link) urls.append(piece.text + u" -> "_s + piece.url);
  }
  return urls;
}

qint64 at(int hour, int minute) { return QDateTime(QDate(2024, 3, 5), QTime(hour, minute, 59)).toMSecsSinceEpoch(); }

TEST(ChatLineTest, buildsNameTextTimeAndNewline) {
  const QList<ChatPiece> line = chatLine(u"viewer"_s, u"Hello"_s, at(15, 7), kGerman);
  EXPECT_EQ(line, (QList<ChatPiece>{{ChatRole::name, u"VIEWER: "_s, {}},
                                    {ChatRole::text, u"Hello"_s, {}},
                                    {ChatRole::time, u" 15:07"_s, {}},
                                    {ChatRole::text, u"\n"_s, {}}}));
}

TEST(ChatLineTest, callsTheHostYouInAnyCase) {
  for (const QString& host : {u"host"_s, u"HOST"_s, u"hOsT"_s}) {
    EXPECT_EQ(chatLine(host, u"x"_s, 0, kGerman).first().text, u"YOU: "_s);
  }
  EXPECT_EQ(chatLine(u"hosts"_s, u"x"_s, 0, kGerman).first().text, u"HOSTS: "_s);
  EXPECT_EQ(chatLine(u"jürgen"_s, u"x"_s, 0, kGerman).first().text, u"JÜRGEN: "_s);
}

TEST(ChatLineTest, writesTheTimeTheShortWayOfThePlace) {
  const QString text = plain(chatLine(u"a"_s, u"x"_s, at(15, 7), kEnglish));
  EXPECT_TRUE(text.contains(u"3:07"_s)) << text.toStdString();
  EXPECT_TRUE(text.contains(u"PM"_s)) << text.toStdString();
}

TEST(ChatLineTest, acceptsAnyTimeStamp) {
  for (const qint64 ts :
       {qint64{0}, qint64{-1}, std::numeric_limits<qint64>::max(), std::numeric_limits<qint64>::min()}) {
    EXPECT_TRUE(plain(chatLine(u"a"_s, u"x"_s, ts, kGerman)).startsWith(u"A: x "_s)) << ts;
  }
}

TEST(ChatLineTest, keepsANameFromImitatingAnotherMessage) {
  const QString name = chatLine(u"eve\nyou: hi"_s, u"x"_s, 0, kGerman).first().text;
  EXPECT_EQ(name, u"EVE YOU: HI: "_s);
}

TEST(ChatLineTest, findsWebLinks) {
  EXPECT_EQ(links(u"see https://example.com/a?b=c#d and HTTP://Example.org now"_s),
            (QStringList{u"https://example.com/a?b=c#d -> https://example.com/a?b=c#d"_s,
                         u"HTTP://Example.org -> http://example.org"_s}));
  EXPECT_EQ(links(u"www.example.com/x"_s), QStringList{u"www.example.com/x -> http://www.example.com/x"_s});
  EXPECT_EQ(links(u"https://example.com:8443/ä"_s),
            QStringList{u"https://example.com:8443/ä -> https://example.com:8443/%C3%A4"_s});
}

TEST(ChatLineTest, leavesThePunctuationOfTheSentenceOutside) {
  EXPECT_EQ(links(u"(https://a.example/b)."_s), QStringList{u"https://a.example/b -> https://a.example/b"_s});
  EXPECT_EQ(links(u"https://a.example/b_(c)!"_s), QStringList{u"https://a.example/b_(c) -> https://a.example/b_(c)"_s});
  EXPECT_EQ(links(u"“https://a.example”, <https://b.example>"_s),
            (QStringList{u"https://a.example -> https://a.example"_s, u"https://b.example -> https://b.example"_s}));
}

TEST(ChatLineTest, linksNothingButTheWeb) {
  for (const QString& text : {u"javascript:alert(1)"_s, u"file:///etc/passwd"_s, u"ftp://x.example"_s, u"vbscript:x"_s,
                              u"https://"_s, u"http:///x"_s, u"www."_s, u"www.x"_s, u"xhttps://a.example"_s,
                              u"data:text/html,x"_s, u"example"_s, u"https://a b"_s.left(8)}) {
    EXPECT_EQ(links(text), QStringList()) << text.toStdString();
  }
}

TEST(ChatLineTest, losesNothingOfTheText) {
  for (const QString& text : {u""_s, u"plain"_s, u"https://a.example"_s, u"a https://a.example, b www.b.example c"_s,
                              u"<b>x</b> &amp; <a href=https://x.example>y</a>"_s, u"\u202Ehttps://a.example\u0000z"_s,
                              QString(QChar(0xD800)) + u"www.example.com"_s}) {
    EXPECT_EQ(plain(linkified(text)), text);
  }
}

TEST(ChatLineTest, takesTimeLinearInTheLengthOfTheText) {
  // A text without a blank that starts a link at every position, and one endless link.
  const QString many = u"www.a,"_s.repeated(200000);
  const QString endless = u"https://"_s + QString(2000000, u'(');
  EXPECT_EQ(plain(linkified(many)), many);
  EXPECT_EQ(links(endless), QStringList());
}

TEST(ChatLineTest, trimsFromTwoHundredThousandAndOneDownToAHundredAndFiftyThousand) {
  EXPECT_EQ(transcriptExcess(0), 0);
  EXPECT_EQ(transcriptExcess(200000), 0);
  EXPECT_EQ(transcriptExcess(200001), 50001);
  EXPECT_EQ(transcriptExcess(1000000), 850000);
}

TEST(ChatLineTest, keepsTheLastUnitsOfALine) {
  const QList<ChatPiece> line{
      {ChatRole::name, u"abc"_s, {}}, {ChatRole::text, u"def"_s, {}}, {ChatRole::time, u"gh"_s, {}}};
  EXPECT_EQ(lastUnits(line, 8), line);
  EXPECT_EQ(lastUnits(line, 100), line);
  EXPECT_EQ(plain(lastUnits(line, 4)), u"efgh"_s);
  EXPECT_EQ(plain(lastUnits(line, 5)), u"defgh"_s);
  EXPECT_EQ(lastUnits(line, 2), (QList<ChatPiece>{line.last()}));
  EXPECT_EQ(lastUnits(line, 0), QList<ChatPiece>());
}

}  // namespace
}  // namespace vantora
