#include <gtest/gtest.h>

#include <QAbstractTextDocumentLayout>
#include <QClipboard>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTextBlock>

#include "main/ui/Theme.h"
#include "main/ui/chat/Transcript.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/WidgetsApplication.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class TranscriptTest : public testui::UiTest {
 protected:
  TranscriptTest() { transcript_.resize(456, 500); }
  void say(const QString& text) {
    transcript_.appendLine(chatLine(u"a"_s, text, 0, QLocale::c()));
    transcript_.flush();
  }
  // A line that makes the transcript exactly `length` long.
  void fillTo(qsizetype length) {
    const qsizetype around = lengthOf(chatLine(u"a"_s, {}, 0, QLocale::c()));
    say(QString(length - transcript_.length() - around, u'x'));
    ASSERT_EQ(transcript_.length(), length);
  }
  QColor colourOf(const QString& word) {
    const QTextCursor found = transcript_.document()->find(word);
    return found.charFormat().foreground().color();
  }

  QList<QUrl> opened_;
  Transcript transcript_{[this](const QUrl& url) { opened_.append(url); }};
};

TEST_F(TranscriptTest, showsOneLineAfterTheOther) {
  say(u"one"_s);
  say(u"two"_s);
  const QString time = QLocale::c().toString(QDateTime::fromMSecsSinceEpoch(0).time(), QLocale::ShortFormat);
  EXPECT_EQ(transcript_.text(), u"A: one %1\nA: two %1\n"_s.arg(time));
  EXPECT_TRUE(transcript_.isReadOnly());
}

TEST_F(TranscriptTest, letsItsTextBeSelectedWithThePointerAndCopiedWithTheKeyboard) {
  say(u"some words"_s);
  transcript_.show();
  testloop::drain();
  QTextCursor from = transcript_.document()->find(u"some words"_s);
  QTextCursor to = from;
  from.setPosition(from.selectionStart());
  to.setPosition(to.selectionEnd());
  const QPointF start = transcript_.cursorRect(from).center();
  const QPointF end = transcript_.cursorRect(to).center();
  const auto mouse = [this](QEvent::Type type, const QPointF& place, Qt::MouseButton button, Qt::MouseButtons held) {
    QMouseEvent event(type, place, transcript_.viewport()->mapToGlobal(place), button, held, Qt::NoModifier);
    QApplication::sendEvent(transcript_.viewport(), &event);
  };
  mouse(QEvent::MouseButtonPress, start, Qt::LeftButton, Qt::LeftButton);
  mouse(QEvent::MouseMove, end, Qt::NoButton, Qt::LeftButton);
  mouse(QEvent::MouseButtonRelease, end, Qt::LeftButton, Qt::NoButton);
  EXPECT_EQ(transcript_.textCursor().selectedText(), u"some words"_s);

  const auto press = [this](Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::ControlModifier) {
    QKeyEvent event(QEvent::KeyPress, key, modifiers);
    QApplication::sendEvent(&transcript_, &event);
  };
  for (int i = 0; i < 3; ++i) press(Qt::Key_Left, Qt::ShiftModifier);
  EXPECT_EQ(transcript_.textCursor().selectedText(), u"some wo"_s);
  press(Qt::Key_C);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), u"some wo"_s);
  press(Qt::Key_A);
  press(Qt::Key_C);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), transcript_.text());
  // Selected text is not replaced by typing and cannot be cut.
  press(Qt::Key_X);
  QKeyEvent letter(QEvent::KeyPress, Qt::Key_Y, Qt::NoModifier, u"y"_s);
  QApplication::sendEvent(&transcript_, &letter);
  EXPECT_TRUE(transcript_.text().contains(u"some words"_s));
}

TEST_F(TranscriptTest, keepsItsTextOffTheEdges) {
  transcript_.show();
  say(u"word "_s.repeated(200));
  say(u"last"_s);
  testloop::drain();
  const QTextBlock first = transcript_.document()->begin();
  const auto* layout = transcript_.document()->documentLayout();
  // Horizontally 6 for the text and 2 for its lines, vertically 6.
  const QRectF place = layout->blockBoundingRect(first);
  EXPECT_EQ(place.topLeft(), QPointF(8, 6));
  EXPECT_EQ(place.width(), transcript_.viewport()->width() - 2 * 8);
  EXPECT_GT(first.layout()->lineCount(), 2);
  QTextCursor start(first);
  EXPECT_EQ(transcript_.cursorRect(start).left(), 8);
  const QTextBlock last = transcript_.document()->lastBlock();
  EXPECT_EQ(layout->documentSize().height() - layout->blockBoundingRect(last).bottom(), 6);
}

TEST_F(TranscriptTest, setsNameTextAndTimeApart) {
  say(u"word"_s);
  const auto format = [this](const QString& word) { return transcript_.document()->find(word).charFormat(); };
  const QString time = QLocale::c().toString(QDateTime::fromMSecsSinceEpoch(0).time(), QLocale::ShortFormat);
  EXPECT_TRUE(format(u"A:"_s).font().bold());
  EXPECT_EQ(format(u"A:"_s).font().pixelSize(), 13);
  EXPECT_FALSE(format(u"word"_s).font().bold());
  EXPECT_EQ(format(u"word"_s).font().pixelSize(), 13);
  EXPECT_EQ(format(time).font().pixelSize(), 11);
  EXPECT_EQ(format(time).foreground().color(), theme::secondaryText(transcript_.palette()));
}

TEST_F(TranscriptTest, keepsTwoHundredThousandUnitsAndOfOneMoreTheLastHundredAndFiftyThousand) {
  fillTo(100000);
  fillTo(200000);
  EXPECT_EQ(transcript_.length(), 200000);
  const QString before = transcript_.text();
  const QList<ChatPiece> last{{ChatRole::text, u"z"_s, {}}};
  transcript_.appendLine(last);
  EXPECT_EQ(transcript_.length(), 150000);
  EXPECT_EQ(transcript_.text(), (before + u'z').last(150000));
}

TEST_F(TranscriptTest, combinesABurstWithTheSameResultAsOneByOne) {
  // Lengths that exceed the cap before, at and after the ends of lines.
  const QList<int> lengths{199990, 9, 1, 1, 70000, 300000, 3, 40000, 20000, 5, 149990, 9, 1, 1, 150000, 50000, 1, 7};
  Transcript together{{}};
  QString expected;
  for (const int length : lengths) {
    const QList<ChatPiece> line{{ChatRole::name, QString(length / 2, QChar(u'a' + length % 26)), {}},
                                {ChatRole::text, QString(length - length / 2, u'b'), {}}};
    for (const ChatPiece& piece : line) expected += piece.text;
    if (expected.size() > 200000) expected = expected.last(150000);
    transcript_.appendLine(line);
    transcript_.flush();
    ASSERT_EQ(transcript_.text(), expected) << length;
    together.appendLine(line);
    EXPECT_EQ(together.length(), expected.size());
  }
  EXPECT_EQ(together.text(), expected);
}

TEST_F(TranscriptTest, showsALineWithoutBeingAskedTo) {
  transcript_.appendLine({{ChatRole::text, u"one"_s, {}}});
  transcript_.appendLine({{ChatRole::text, u"two"_s, {}}});
  EXPECT_TRUE(testloop::waitFor([this] { return transcript_.toPlainText() == u"onetwo"_s; }));
}

TEST_F(TranscriptTest, countsInUtf16Units) {
  // Each emoji is two units.
  transcript_.appendLine({{ChatRole::text, u"\U0001F680"_s.repeated(100000), {}}});
  EXPECT_EQ(transcript_.length(), 200000);
  transcript_.appendLine({{ChatRole::text, u"z"_s, {}}});
  EXPECT_EQ(transcript_.length(), 150000);
}

TEST_F(TranscriptTest, keepsTheEndOfALineThatIsLongerThanAllOfIt) {
  say(u"before"_s);
  const QString huge = u"abcdefghij"_s.repeated(100000);
  transcript_.appendLine({{ChatRole::text, huge, {}}});
  EXPECT_EQ(transcript_.length(), 150000);
  EXPECT_EQ(transcript_.text(), huge.last(150000));
  say(u"after"_s);
  EXPECT_TRUE(transcript_.text().contains(u"after"_s));
}

TEST_F(TranscriptTest, scrollsToTheEndOfEveryNewLine) {
  transcript_.show();
  for (int i = 0; i < 100; ++i) say(u"line %1"_s.arg(i));
  QScrollBar* bar = transcript_.verticalScrollBar();
  EXPECT_TRUE(testloop::waitFor([&] { return bar->maximum() > 0 && bar->value() == bar->maximum(); }));
  bar->setValue(0);
  say(u"one more"_s);
  EXPECT_TRUE(testloop::waitFor([&] { return bar->value() == bar->maximum(); }));
}

TEST_F(TranscriptTest, showsMarkupAsTheTextItIs) {
  const QString sly = u"<b>bold</b><img src=\"http://x.example/y.png\"><a href=\"https://x.example\">safe</a> &amp;"_s;
  say(sly);
  EXPECT_TRUE(transcript_.text().contains(sly));
  EXPECT_FALSE(transcript_.document()->find(u"bold"_s).charFormat().font().bold());
  EXPECT_FALSE(transcript_.document()->find(u"safe"_s).charFormat().isAnchor());
  EXPECT_FALSE(transcript_.document()->find(QString(QChar::ObjectReplacementCharacter)).charFormat().isImageFormat());
}

TEST_F(TranscriptTest, survivesEveryKindOfCharacter) {
  QString odd;
  for (char16_t unit = 0; unit < 0xFFFF; ++unit) odd += QChar(unit);
  say(odd);
  transcript_.show();
  testloop::drain();
  say(QString(QChar(0xFDD0)) + QChar(0xFDD1) + QChar::ObjectReplacementCharacter + QChar(0xD800) + u"\u202E"_s);
  say(u"end"_s);
  testloop::drain();
  EXPECT_FALSE(transcript_.grab().isNull());
  EXPECT_TRUE(transcript_.text().contains(u"A: end"_s));
}

TEST_F(TranscriptTest, passesOnTheAddressOfALink) {
  say(u"look: https://x.example/y."_s);
  const QTextCursor link = transcript_.document()->find(u"x.example"_s);
  EXPECT_TRUE(link.charFormat().isAnchor());
  EXPECT_EQ(link.charFormat().anchorHref(), u"https://x.example/y"_s);
  Q_EMIT transcript_.anchorClicked(QUrl(link.charFormat().anchorHref()));
  EXPECT_EQ(opened_, QList<QUrl>{QUrl(u"https://x.example/y"_s)});
  // The click does not navigate away.
  EXPECT_TRUE(transcript_.text().contains(u"look"_s));
}

TEST_F(TranscriptTest, readsFromTheRightWhereTheMessageDoes) {
  say(u"hello"_s);
  say(u"שלום לכולם"_s);
  const QTextBlock first = transcript_.document()->begin();
  EXPECT_EQ(first.textDirection(), Qt::LeftToRight);
  EXPECT_EQ(first.next().textDirection(), Qt::RightToLeft);
}

TEST_F(TranscriptTest, followsWhenTheDesktopTurnsDark) {
  say(u"word https://x.example"_s);
  const QString time = QLocale::c().toString(QDateTime::fromMSecsSinceEpoch(0).time(), QLocale::ShortFormat);
  transcript_.setPalette(theme::darkPalette());
  EXPECT_EQ(colourOf(time), theme::secondaryText(theme::darkPalette()));
  EXPECT_EQ(colourOf(u"x.example"_s), theme::link(theme::darkPalette()));
  // The text itself has no colour of its own: it takes the palette's.
  EXPECT_FALSE(transcript_.document()->find(u"word"_s).charFormat().hasProperty(QTextFormat::ForegroundBrush));
  say(u"later"_s);
  EXPECT_EQ(colourOf(time), theme::secondaryText(theme::darkPalette()));
}

}  // namespace
}  // namespace vantora
