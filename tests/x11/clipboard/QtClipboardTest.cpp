#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QTemporaryDir>
#include <fstream>

#include "main/control/clipboard/ClipboardSync.h"
#include "platform/qt/QtClipboard.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeControlOutlet.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/x11/clipboard/OtherProgram.h"
#include "tests/x11/support/XvfbServer.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testing_loop::waitFor;
using testing_x11::ChildProcess;
using testing_x11::Manners;
using testing_x11::OtherProgram;
using testing_x11::XvfbServer;

// One server and one application for the whole program: the toolkit takes no second one.
XvfbServer& server() {
  static XvfbServer one(320, 200);
  return one;
}

void ensureGui() {
  static int argumentCount = 3;
  static char name[] = "test";
  static char option[] = "-platform";
  static char value[] = "xcb";
  static char* arguments[] = {name, option, value, nullptr};
  qputenv("DISPLAY", server().display().toUtf8());
  // Never deleted: the server ends before static objects do.
  static auto* application = new QGuiApplication(argumentCount, arguments);
  Q_UNUSED(application);
}

class QtClipboardTest : public testing::Test {
 protected:
  QtClipboardTest() {
    ensureGui();
    clipboard_ = makeQtClipboard();
    clipboard_->setChangedHandler([this] { ++notices_; });
  }

  QString read() {
    std::optional<QString> text;
    clipboard_->requestText([&](const QString& got) { text = got; });
    EXPECT_TRUE(waitFor([&] { return text.has_value(); }));
    return text.value_or(u"(no answer)"_s);
  }
  qint64 write(const QString& text) {
    qint64 count = -1;
    clipboard_->setText(text, [&](qint64 changeCount) { count = changeCount; });
    return count;
  }
  // Runs a program beside the event loop; what it printed.
  QByteArray output(const std::vector<std::string>& command) {
    const QString file = folder_.filePath(u"out"_s);
    std::string line = "exec >'" + file.toStdString() + "' 2>&1; exec";
    for (const std::string& word : command) line += " '" + word + "'";
    ChildProcess child = server().spawn({"sh", "-c", line});
    std::atomic<bool> ended = false;
    std::thread waiter([&] {
      child.wait();
      ended = true;
    });
    EXPECT_TRUE(waitFor([&] { return ended.load(); }));
    waiter.join();
    std::ifstream in(file.toStdString(), std::ios::binary);
    return QByteArray::fromStdString({std::istreambuf_iterator<char>(in), {}});
  }
  // xclip and xsel take the clipboard and stay behind as its owner.
  void copyWith(const std::string& program, const QByteArray& utf8) {
    const std::string file = folder_.filePath(u"in"_s).toStdString();
    std::ofstream(file, std::ios::binary).write(utf8.constData(), utf8.size());
    const int before = notices_;
    const std::string command = program == "xsel" ? "xsel -b -i <'" : "xclip -selection clipboard -i <'";
    ASSERT_EQ(server().run({"sh", "-c", command + file + "'"}), 0);
    ASSERT_TRUE(waitFor([&] { return notices_ > before; }));
  }

  QTemporaryDir folder_;
  std::unique_ptr<Clipboard> clipboard_;
  int notices_ = 0;
};

QString longText(qsizetype bytes) {
  // Every piece differs from its neighbours, so that an order that was lost shows.
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

TEST_F(QtClipboardTest, noticesAChangeWithoutReading) {
  OtherProgram other(server().display());
  for (int i = 1; i <= 5; ++i) {
    const qint64 before = clipboard_->changeCount();
    other.copy("x");
    ASSERT_TRUE(waitFor([&] { return notices_ == i; }));
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

TEST_F(QtClipboardTest, countsItsOwnTextWithoutANotice) {
  const qint64 before = clipboard_->changeCount();
  EXPECT_EQ(write(u"one"_s), before + 1);
  EXPECT_EQ(clipboard_->changeCount(), before + 1);
  EXPECT_EQ(output({"xclip", "-selection", "clipboard", "-o"}), "one");  // Every event of it has come by now.
  EXPECT_EQ(notices_, 0);
  EXPECT_EQ(clipboard_->changeCount(), before + 1);
  EXPECT_EQ(read(), u"one"_s);
}

TEST_F(QtClipboardTest, tellsWhatAnotherPartOfTheProgramCopies) {
  clipboard_->setText(u"of the viewer"_s, [](qint64) {});
  QGuiApplication::clipboard()->setText(u"a room id"_s);
  ASSERT_TRUE(waitFor([&] { return notices_ == 1; }));
  EXPECT_EQ(read(), u"a room id"_s);
  EXPECT_EQ(notices_, 1);
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
  { OtherProgram(server().display()).copy("gone"); }
  EXPECT_EQ(read(), u""_s);
}

TEST_F(QtClipboardTest, readsNothingWhereThereIsNoText) {
  OtherProgram other(server().display(), Manners::refuses);
  other.copy("not a text");
  ASSERT_TRUE(waitFor([&] { return notices_ > 0; }));
  EXPECT_EQ(read(), u""_s);
  EXPECT_GE(other.requests(), 1);
}

TEST_F(QtClipboardTest, neverBlocksOnAnOwnerThatDoesNotAnswer) {
  OtherProgram silent(server().display(), Manners::silent);
  silent.copy("never seen");
  ASSERT_TRUE(waitFor([&] { return notices_ > 0; }));
  std::optional<QString> text;
  const auto start = std::chrono::steady_clock::now();
  auto last = start;
  std::chrono::steady_clock::duration longest{};
  clipboard_->requestText([&](const QString& got) { text = got; });
  EXPECT_TRUE(waitFor([&] {
    const auto now = std::chrono::steady_clock::now();
    longest = std::max(longest, now - last);
    last = now;
    return text.has_value();
  }));
  EXPECT_EQ(text, u""_s);
  EXPECT_GE(silent.requests(), 1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, X11ClipboardReader::kPatience + 2s);
  EXPECT_LT(longest, 1s) << "the program stood still";
  // The next one is read all the same.
  copyWith("xclip", "answered");
  EXPECT_EQ(read(), u"answered"_s);
}

TEST_F(QtClipboardTest, answersEveryRequestInTurn) {
  OtherProgram other(server().display());
  other.copy("same");
  ASSERT_TRUE(waitFor([&] { return notices_ > 0; }));
  QStringList got;
  for (int i = 0; i < 20; ++i) {
    clipboard_->requestText([&got, i](const QString& text) { got.append(text + QString::number(i)); });
  }
  ASSERT_TRUE(waitFor([&] { return got.size() == 20; }));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(got[i], u"same"_s + QString::number(i));
}

TEST_F(QtClipboardTest, answersNobodyOnceItIsGone) {
  OtherProgram other(server().display());
  other.copy("x");
  ASSERT_TRUE(waitFor([&] { return notices_ > 0; }));
  bool answered = false;
  clipboard_->requestText([&](const QString&) { answered = true; });
  clipboard_.reset();
  ASSERT_TRUE(waitFor([&, turns = 0]() mutable { return ++turns > 5; }));
  EXPECT_FALSE(answered);
}

TEST_F(QtClipboardTest, echoesNothingInTenThousandAlternatingCopies) {
  fakes::RecordedLog log;
  fakes::FakeScheduler scheduler;
  fakes::FakeControlOutlet outlet;
  OtherProgram other(server().display());
  ClipboardSync sync(*clipboard_, outlet, scheduler);
  sync.setClipboardSyncEnabled(true);
  int wrong = 0;
  int missing = 0;
  for (int i = 0; i < 10'000 && missing == 0; ++i) {
    const QString text = u"copy "_s + QString::number(i);
    if (i % 2 == 0) {
      sync.setClipboardContent(text);
      continue;
    }
    other.copy(text.toUtf8());
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (outlet.sent.isEmpty() && missing == 0) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
      scheduler.advance(50ms);
      missing = std::chrono::steady_clock::now() > deadline;
    }
    const auto sent = outlet.take();
    wrong += sent.size() != 1 || sent[0].message.value(u"text") != QJsonValue(text);
  }
  EXPECT_EQ(missing, 0) << "a copy was never sent";
  EXPECT_EQ(wrong, 0);
  testing_loop::drain();
  scheduler.advance(10s);
  EXPECT_TRUE(outlet.sent.isEmpty());
}

}  // namespace
}  // namespace vantora
