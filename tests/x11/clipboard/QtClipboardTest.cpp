#include <gtest/gtest.h>

#include "main/control/clipboard/ClipboardSync.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/x11/clipboard/ClipboardOwner.h"
#include "tests/x11/clipboard/QtClipboardFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testx11::ClipboardOwner;
using testx11::Manners;

QString longText(qsizetype bytes) {
  // Every piece differs from its neighbours, so that a wrong order is detected.
  QString text;
  text.reserve(bytes);
  for (int i = 0; text.size() < bytes; ++i) text += QString::number(i) + u' ';
  text.truncate(bytes);
  return text;
}

TEST_F(QtClipboardTest, readsWhatAnotherProgramCopied) {
  for (const std::string& program : {std::string("xclip"), std::string("xsel")}) {
    copyWith(program, "plain " + QByteArray::fromStdString(program));
    EXPECT_EQ(read(), u"plain "_s + QString::fromStdString(program));
    copyWith(program, "grün 表 👩‍👩‍👧\n\tzweite Zeile");
    EXPECT_EQ(read(), u"grün 表 👩‍👩‍👧\n\tzweite Zeile"_s) << program;
  }
}

TEST_F(QtClipboardTest, detectsAChangeWithoutReading) {
  ClipboardOwner other(server().display());
  for (int i = 1; i <= 5; ++i) {
    const qint64 before = clipboard_->changeCount();
    other.copy("x");
    ASSERT_TRUE(waitFor([&] { return changes_ == i; }));
    EXPECT_GT(clipboard_->changeCount(), before);
  }
  EXPECT_EQ(other.requests(), 0);
}

TEST_F(QtClipboardTest, givesItsTextToOtherPrograms) {
  write(u"grün 表 👩‍👩‍👧\nzweite Zeile"_s);
  EXPECT_EQ(output({"xclip", "-selection", "clipboard", "-o"}), "grün 表 👩‍👩‍👧\nzweite Zeile");
  EXPECT_EQ(output({"xsel", "-b", "-o"}), "grün 表 👩‍👩‍👧\nzweite Zeile");
  write(u""_s);
  EXPECT_EQ(output({"xclip", "-selection", "clipboard", "-o"}), "");
}

TEST_F(QtClipboardTest, countsItsOwnTextWithoutANotification) {
  const qint64 before = clipboard_->changeCount();
  EXPECT_EQ(write(u"one"_s), before + 1);
  EXPECT_EQ(clipboard_->changeCount(), before + 1);
  EXPECT_EQ(output({"xclip", "-selection", "clipboard", "-o"}), "one");  // All its events have arrived by now.
  EXPECT_EQ(changes_, 0);
  EXPECT_EQ(clipboard_->changeCount(), before + 1);
  EXPECT_EQ(read(), u"one"_s);
}

TEST_F(QtClipboardTest, setsItsTextRightAfterAnotherProgramCopied) {
  ClipboardOwner other(server().display());
  for (int i = 0; i < 200; ++i) {
    other.copy("other");
    const int before = other.requests();
    write(u"ours "_s + QString::number(i));
    ASSERT_EQ(read(), u"ours "_s + QString::number(i));
    ASSERT_EQ(other.requests(), before);
  }
  EXPECT_EQ(output({"xclip", "-selection", "clipboard", "-o"}), "ours 199");
  EXPECT_TRUE(waitFor([&] { return changes_ == 200; }));
}

TEST_F(QtClipboardTest, reportsWhatAnotherPartOfTheProgramCopies) {
  write(u"of the viewer"_s);
  QGuiApplication::clipboard()->setText(u"a room id"_s);
  ASSERT_TRUE(waitFor([&] { return changes_ == 1; }));
  EXPECT_EQ(read(), u"a room id"_s);
  EXPECT_EQ(changes_, 1);
}

TEST_F(QtClipboardTest, carriesTenMegabytesBothWays) {
  const QString big = longText(10'000'000);
  copyWith("xclip", big.toUtf8());
  EXPECT_TRUE(read() == big);
  copyWith("xsel", big.toUtf8());
  EXPECT_TRUE(read() == big);
  write(big + u"!"_s);
  EXPECT_TRUE(output({"xclip", "-selection", "clipboard", "-o"}) == (big + u"!"_s).toUtf8());
}

TEST_F(QtClipboardTest, readsNothingFromAnEmptyClipboard) {
  { ClipboardOwner(server().display()).copy("gone"); }
  EXPECT_EQ(read(), u""_s);
}

TEST_F(QtClipboardTest, readsNothingWhereThereIsNoText) {
  ClipboardOwner other(server().display(), Manners::refuses);
  other.copy("not a text");
  ASSERT_TRUE(waitFor([&] { return changes_ > 0; }));
  std::optional<ClipboardReading> reading;
  clipboard_->requestText([&](const ClipboardReading& got) { reading = got; });
  ASSERT_TRUE(waitFor([&] { return reading.has_value(); }));
  EXPECT_EQ(reading->text, u""_s);
  EXPECT_TRUE(reading->otherContent);
  EXPECT_GE(other.requests(), 1);
}

TEST_F(QtClipboardTest, neverBlocksOnAnOwnerThatDoesNotAnswer) {
  ClipboardOwner silent(server().display(), Manners::silent);
  silent.copy("never seen");
  ASSERT_TRUE(waitFor([&] { return changes_ > 0; }));
  std::optional<QString> text;
  const auto start = std::chrono::steady_clock::now();
  auto last = start;
  std::chrono::steady_clock::duration longest{};
  clipboard_->requestText([&](const ClipboardReading& got) { text = got.text.value_or(u"(failed)"_s); });
  EXPECT_TRUE(waitFor([&] {
    const auto now = std::chrono::steady_clock::now();
    longest = std::max(longest, now - last);
    last = now;
    return text.has_value();
  }));
  EXPECT_EQ(text, u"(failed)"_s);
  EXPECT_GE(silent.requests(), 1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, X11ClipboardReader::Options().timeout + 20s);
  EXPECT_LT(longest, X11ClipboardReader::Options().timeout * 3 / 4) << "the program stood still";
  // The next text is read nevertheless.
  copyWith("xclip", "answered");
  EXPECT_EQ(read(), u"answered"_s);
}

TEST_F(QtClipboardTest, readsATextThatComesInPieces) {
  ClipboardOwner other(server().display(), Manners::inPieces);
  const QByteArray text = longText(10 * ClipboardOwner::kPieceBytes + 7).toUtf8();
  other.copy(text);
  ASSERT_TRUE(waitFor([&] { return changes_ > 0; }));
  EXPECT_EQ(read().toUtf8(), text);
  EXPECT_TRUE(waitFor([&] { return other.taken() == 12; }));
}

TEST_F(QtClipboardTest, failsToReadWhenPiecesArePromisedAndDoNotCome) {
  limit({.timeout = 200ms});
  for (const Manners manners : {Manners::promises, Manners::onePieceOnly}) {
    ClipboardOwner other(server().display(), manners);
    const int before = changes_;
    other.copy(longText(2 * ClipboardOwner::kPieceBytes).toUtf8());
    ASSERT_TRUE(waitFor([&] { return changes_ > before; }));
    EXPECT_EQ(read(), u"(failed)"_s);
    EXPECT_TRUE(waitFor([&] { return other.requests() == 1; }));
  }
}

TEST_F(QtClipboardTest, failsToReadWhenTheOwnerGoesInTheMiddle) {
  limit({.timeout = 2s});
  auto other = std::make_unique<ClipboardOwner>(server().display(), Manners::onePieceOnly);
  other->copy(longText(2 * ClipboardOwner::kPieceBytes).toUtf8());
  ASSERT_TRUE(waitFor([&] { return changes_ > 0; }));
  QStringList got;
  const auto note = [&](const ClipboardReading& text) { got.append(text.text.value_or(u"(failed)"_s)); };
  clipboard_->requestText(note);
  ASSERT_TRUE(waitFor([&] { return other->taken() == 1; }));
  other.reset();
  clipboard_->requestText(note);
  ASSERT_TRUE(waitFor([&] { return got.size() == 2; }));
  EXPECT_EQ(got, (QStringList{u"(failed)"_s, u""_s}));
  copyWith("xclip", "whole");
  EXPECT_EQ(read(), u"whole"_s);
}

TEST_F(QtClipboardTest, neverTakesALateAnswerForThatOfTheNextRequest) {
  limit({.timeout = 3s});
  ClipboardOwner other(server().display(), Manners::silent);
  other.copy("x");
  ASSERT_TRUE(waitFor([&] { return changes_ > 0; }));
  EXPECT_EQ(read(), u"(failed)"_s);
  std::optional<QString> text;
  clipboard_->requestText([&](const ClipboardReading& got) { text = got.text.value_or(u"(failed)"_s); });
  ASSERT_TRUE(waitFor([&] { return other.requests() == 2; }));
  other.answerOldest("late");
  ASSERT_TRUE(waitFor([&] { return other.taken() == 1; }));
  EXPECT_FALSE(text);
  other.answerOldest("in time");
  ASSERT_TRUE(waitFor([&] { return text.has_value(); }));
  EXPECT_EQ(text, u"in time"_s);
}

TEST_F(QtClipboardTest, tellsATextThatIsTooLongFromOneThatCannotBeRead) {
  limit({.timeout = 60s, .bytes = 1000});
  for (const Manners manners : {Manners::answers, Manners::inPieces}) {
    ClipboardOwner other(server().display(), manners);
    for (const qsizetype bytes : {1000, 1001}) {
      const int before = changes_;
      other.copy(longText(bytes).toUtf8());
      ASSERT_TRUE(waitFor([&] { return changes_ > before; }));
      EXPECT_EQ(read(), bytes == 1000 ? longText(bytes) : u"(1001)"_s);
    }
    // The owner can send the rest.
    EXPECT_TRUE(waitFor([&] { return manners == Manners::answers || other.taken() == 10; }));
  }
}

// Password managers do so after a while.
TEST_F(QtClipboardTest, detectsThatTheClipboardWasCleared) {
  fakes::RecordedLog log;
  fakes::FakeScheduler scheduler;
  fakes::FakeControlSender sender;
  ClipboardSync sync(*clipboard_, sender, scheduler);
  sync.setClipboardSyncEnabled(true);
  const auto nextSync = [&]() -> QJsonValue {
    const bool came = waitFor([&] {
      scheduler.advance(50ms);
      return !sender.sent.isEmpty();
    });
    return came ? sender.take()[0].message.value(u"text") : QJsonValue();
  };
  ClipboardOwner other(server().display());
  other.copy("password");
  EXPECT_EQ(nextSync(), QJsonValue(u"password"_s));
  EXPECT_EQ(output({"xsel", "-b", "-c"}), "");
  EXPECT_EQ(nextSync(), QJsonValue(u""_s));
  // Also where the text was the viewer's.
  sync.setClipboardContent(u"of the viewer"_s);
  EXPECT_EQ(output({"xclip", "-selection", "clipboard", "-o"}), "of the viewer");
  EXPECT_EQ(output({"xsel", "-b", "-c"}), "");
  EXPECT_EQ(nextSync(), QJsonValue(u""_s));
}

TEST_F(QtClipboardTest, answersEveryRequestInTurn) {
  ClipboardOwner other(server().display());
  other.copy("same");
  ASSERT_TRUE(waitFor([&] { return changes_ > 0; }));
  QStringList got;
  for (int i = 0; i < 20; ++i) {
    clipboard_->requestText([&got, i](const ClipboardReading& text) {
      got.append(text.text.value_or(u"(failed)"_s) + QString::number(i));
    });
  }
  ASSERT_TRUE(waitFor([&] { return got.size() == 20; }));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(got[i], u"same"_s + QString::number(i));
}

TEST_F(QtClipboardTest, answersNobodyOnceItIsGone) {
  ClipboardOwner other(server().display());
  other.copy("x");
  ASSERT_TRUE(waitFor([&] { return changes_ > 0; }));
  bool answered = false;
  clipboard_->requestText([&](const ClipboardReading&) { answered = true; });
  clipboard_.reset();
  ASSERT_TRUE(waitFor([&, turns = 0]() mutable { return ++turns > 5; }));
  EXPECT_FALSE(answered);
}

TEST_F(QtClipboardTest, echoesNothingInTenThousandAlternatingCopies) {
  fakes::RecordedLog log;
  fakes::FakeScheduler scheduler;
  fakes::FakeControlSender sender;
  ClipboardOwner other(server().display());
  ClipboardSync sync(*clipboard_, sender, scheduler);
  sync.setClipboardSyncEnabled(true);
  int wrong = 0;
  int missing = 0;
  for (int i = 0; i < 10'000 && missing == 0; ++i) {
    const QString text = u"copy "_s + QString::number(i);
    if (i % 2 == 0) {
      const qint64 before = clipboard_->changeCount();
      sync.setClipboardContent(text);
      missing = !waitFor([&] { return clipboard_->changeCount() > before; });
      continue;
    }
    other.copy(text.toUtf8());
    testloop::Timeout timeout;
    while (sender.sent.isEmpty() && missing == 0) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
      scheduler.advance(50ms);
      missing = timeout.isOver();
    }
    const auto sent = sender.take();
    wrong += sent.size() != 1 || sent[0].message.value(u"text") != QJsonValue(text);
  }
  EXPECT_EQ(missing, 0) << "a copy was never sent";
  EXPECT_EQ(wrong, 0);
  testloop::drain();
  scheduler.advance(10s);
  EXPECT_TRUE(sender.sent.isEmpty());
}

}  // namespace
}  // namespace vantora
