#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "platform/TextPipes.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace vantora {
namespace {

struct Pipe {
  Pipe() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    out.reset(ends[0]);
    in.reset(ends[1]);
  }
  void write(const QByteArray& bytes) const { EXPECT_EQ(::write(in.get(), bytes.data(), bytes.size()), bytes.size()); }

  FileDescriptor out;
  FileDescriptor in;
};

class TextReadingsTest : public testing::Test {
 protected:
  TextReadingsTest() { testloop::ensureApplication(); }

  // A reading whose text comes through the pipe that is returned.
  void request(const QString& format = u"text/plain"_s) {
    formats_.push_back(format);
    readings_.add([this](const ClipboardReading& reading) { results_.push_back(reading); });
  }
  [[nodiscard]] bool began(std::size_t count) {
    return testloop::waitFor([&] { return pipes_.size() == count; });
  }
  [[nodiscard]] bool completed(std::size_t count) {
    return testloop::waitFor([&] { return results_.size() == count; });
  }

  std::vector<QString> formats_;
  std::vector<Pipe> pipes_;
  std::vector<quint64> turns_;
  std::vector<ClipboardReading> results_;
  TextReadings readings_{[this](quint64 turn) {
                           turns_.push_back(turn);
                           pipes_.emplace_back();
                           readings_.read(turn, std::move(pipes_.back().out), formats_[pipes_.size() - 1]);
                         },
                         {.timeout = 300ms, .bytes = 100, .counted = 1000}};
};

TEST_F(TextReadingsTest, givesTheTextOnceThePipeIsClosed) {
  request();
  ASSERT_TRUE(began(1));
  pipes_[0].write("gr\xc3");
  testloop::drain();
  pipes_[0].write("\xbc\xc3\x9f");
  testloop::drain();
  EXPECT_TRUE(results_.empty());
  pipes_[0].in.reset();
  ASSERT_TRUE(completed(1));
  EXPECT_EQ(results_[0].text, u"grüß"_s);
}

TEST_F(TextReadingsTest, readsOneAfterTheOther) {
  request();
  request();
  ASSERT_TRUE(began(1));
  testloop::drain();
  EXPECT_EQ(pipes_.size(), 1U);
  pipes_[0].write("first");
  pipes_[0].in.reset();
  ASSERT_TRUE(began(2));
  pipes_[1].write("second");
  pipes_[1].in.reset();
  ASSERT_TRUE(completed(2));
  EXPECT_EQ(results_[0].text, u"first"_s);
  EXPECT_EQ(results_[1].text, u"second"_s);
}

TEST_F(TextReadingsTest, aPipeThatStaysOpenEndsAtTheTimeout) {
  request();
  request();
  ASSERT_TRUE(began(1));
  pipes_[0].write("half of");
  ASSERT_TRUE(completed(1));
  EXPECT_FALSE(results_[0].text);
  EXPECT_EQ(results_[0].tooLong, 0);
  ASSERT_TRUE(began(2));
  pipes_[1].in.reset();
  ASSERT_TRUE(completed(2));
  EXPECT_EQ(results_[1].text, QString());
}

TEST_F(TextReadingsTest, countsATextThatIsTooLong) {
  request();
  ASSERT_TRUE(began(1));
  pipes_[0].write(QByteArray(150, 'x'));
  pipes_[0].in.reset();
  ASSERT_TRUE(completed(1));
  EXPECT_FALSE(results_[0].text);
  EXPECT_EQ(results_[0].tooLong, 150);
}

TEST_F(TextReadingsTest, aTextOfTheMaximumLengthIsRead) {
  request();
  ASSERT_TRUE(began(1));
  pipes_[0].write(QByteArray(100, 'x'));
  pipes_[0].in.reset();
  ASSERT_TRUE(completed(1));
  EXPECT_EQ(results_[0].text, QString(100, u'x'));
}

TEST_F(TextReadingsTest, anEndlessTextIsNotReadToItsEnd) {
  request();
  ASSERT_TRUE(began(1));
  pipes_[0].write(QByteArray(5000, 'x'));
  ASSERT_TRUE(completed(1));
  EXPECT_FALSE(results_[0].text);
  EXPECT_GE(results_[0].tooLong, 1000);
}

TEST_F(TextReadingsTest, replacesBytesThatAreNoText) {
  request();
  ASSERT_TRUE(began(1));
  pipes_[0].write(
      "a\xff\xfe"
      "b");
  pipes_[0].in.reset();
  ASSERT_TRUE(completed(1));
  EXPECT_EQ(results_[0].text, u"a\uFFFD\uFFFDb"_s);
  request();
  ASSERT_TRUE(began(2));
  pipes_[1].write(QByteArray(50, '\xff'));
  pipes_[1].in.reset();
  ASSERT_TRUE(completed(2));
  EXPECT_EQ(results_[1].tooLong, 150);
}

TEST_F(TextReadingsTest, readsTheLatin1OfX) {
  request(u"STRING"_s);
  ASSERT_TRUE(began(1));
  pipes_[0].write("gr\xfc\xdf");
  pipes_[0].in.reset();
  ASSERT_TRUE(completed(1));
  EXPECT_EQ(results_[0].text, u"grüß"_s);
}

TEST_F(TextReadingsTest, ignoresWhatBelongsToAnEarlierTurn) {
  request();
  ASSERT_TRUE(completed(1));
  request();
  ASSERT_TRUE(began(2));
  readings_.finish(turns_[0], {.text = u"late"_s});
  Pipe late;
  readings_.read(turns_[0], std::move(late.out), u"TEXT"_s);
  pipes_[1].write("right");
  pipes_[1].in.reset();
  ASSERT_TRUE(completed(2));
  EXPECT_EQ(results_[1].text, u"right"_s);
}

TEST_F(TextReadingsTest, allFailTogether) {
  request();
  request();
  ASSERT_TRUE(began(1));
  readings_.failAll();
  request();
  ASSERT_TRUE(completed(2));
  EXPECT_FALSE(results_[0].text);
  EXPECT_FALSE(results_[1].text);
  ASSERT_TRUE(began(2));
  pipes_[1].in.reset();
  ASSERT_TRUE(completed(3));
  EXPECT_EQ(results_[2].text, QString());
}

class TextWritingsTest : public testing::Test {
 protected:
  TextWritingsTest() {
    testloop::ensureApplication();
    std::signal(SIGPIPE, SIG_IGN);
  }
  void write(FileDescriptor pipe, const QByteArray& bytes) {
    writings_.add(std::move(pipe), bytes, [this](bool whole) { results_.push_back(whole); });
  }

  std::vector<bool> results_;
  TextWritings writings_{300ms};
};

TEST_F(TextWritingsTest, writesATextThatIsLongerThanThePipe) {
  Pipe pipe;
  const QByteArray text(3'000'000, 'x');
  write(std::move(pipe.in), text);
  ASSERT_EQ(::fcntl(pipe.out.get(), F_SETFL, O_NONBLOCK), 0);
  QByteArray read;
  std::vector<char> piece(100'000);
  ASSERT_TRUE(testloop::waitFor([&] {
    const ssize_t count = ::read(pipe.out.get(), piece.data(), piece.size());
    if (count > 0) read.append(piece.data(), count);
    return count == 0;
  }));
  EXPECT_EQ(read, text);
  EXPECT_EQ(results_, std::vector{true});
}

TEST_F(TextWritingsTest, endsWhenTheReaderEnds) {
  Pipe pipe;
  write(std::move(pipe.in), QByteArray(3'000'000, 'x'));
  testloop::drain();
  pipe.out.reset();
  ASSERT_TRUE(testloop::waitFor([&] { return !results_.empty(); }));
  EXPECT_EQ(results_, std::vector{false});
  EXPECT_EQ(writings_.count(), 0U);
}

TEST_F(TextWritingsTest, aReaderThatDoesNotReadEndsAtTheTimeout) {
  Pipe pipe;
  write(std::move(pipe.in), QByteArray(3'000'000, 'x'));
  ASSERT_TRUE(testloop::waitFor([&] { return !results_.empty(); }));
  EXPECT_EQ(results_, std::vector{false});
}

TEST_F(TextWritingsTest, servesALimitedNumberOfReaders) {
  std::vector<Pipe> pipes(TextWritings::kMaxAtOnce + 1);
  for (Pipe& pipe : pipes) write(std::move(pipe.in), QByteArray(3'000'000, 'x'));
  EXPECT_EQ(writings_.count(), TextWritings::kMaxAtOnce);
  EXPECT_EQ(results_, std::vector{false});
}

TEST(TextFormatsTest, onlyOneIsNotUtf8) {
  for (const QString& format : textFormats()) {
    EXPECT_EQ(encodedText(u"ü"_s, format), format == u"STRING"_s ? QByteArray("\xfc") : QByteArray("\xc3\xbc"));
  }
}

}  // namespace
}  // namespace vantora
