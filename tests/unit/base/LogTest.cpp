#include <gtest/gtest.h>
#include <unistd.h>

#include <QStringList>
#include <array>
#include <string>
#include <thread>
#include <vector>

#include "base/Log.h"
#include "tests/fakes/RecordedLog.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Standard error of this process, read back through a pipe.
class CapturedStandardError {
 public:
  CapturedStandardError() : saved_(::dup(STDERR_FILENO)) {
    EXPECT_EQ(::pipe(pipe_.data()), 0);
    ::dup2(pipe_[1], STDERR_FILENO);
    ::close(pipe_[1]);
    reader_ = std::thread([this] {
      std::array<char, 4096> buffer{};
      for (ssize_t n = 0; (n = ::read(pipe_[0], buffer.data(), buffer.size())) > 0;) {
        text_.append(buffer.data(), static_cast<std::size_t>(n));
      }
    });
  }
  ~CapturedStandardError() {
    if (reader_.joinable()) text();
  }
  // Ends the capture.
  std::string text() {
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
    reader_.join();
    ::close(pipe_[0]);
    return text_;
  }

 private:
  int saved_;
  std::array<int, 2> pipe_{};
  std::thread reader_;
  std::string text_;
};

TEST(Log, writesALineToStandardError) {
  CapturedStandardError capture;
  logLine(u"[ws] ä"_s);
  logLine("[ws] \xC3\xB6");
  EXPECT_EQ(capture.text(), "[ws] \xC3\xA4\n[ws] \xC3\xB6\n");
}

TEST(Log, leavesNoCommandsToTerminalsAndNoSecondLineInWhatItQuotes) {
  fakes::RecordedLog log;
  logLine(u"[chat] a\x1b[2J\x07\r\n\x7f\x9b b\tc \u00e4"_s);
  EXPECT_EQ(log.lines(), QStringList{u"[chat] a [2J      b\tc \u00e4"_s});
}

TEST(Log, cutsALineOfMegabytes) {
  fakes::RecordedLog log;
  logLine(QString(3'000'000, u'x'));
  logLine(QString(10'000, u'y'));
  EXPECT_EQ(log.lines(), (QStringList{QString(10'000, u'x') + u'\u2026', QString(10'000, u'y')}));
}

TEST(Log, neverMixesLinesOfDifferentThreads) {
  constexpr int kThreads = 8;
  constexpr int kLines = 200;
  // Longer than an atomic write to a pipe.
  constexpr int kLength = 6000;
  CapturedStandardError capture;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([i] {
      for (int n = 0; n < kLines; ++n) logLine(QString(kLength, QLatin1Char(static_cast<char>('a' + i))));
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::string text = capture.text();
  ASSERT_EQ(text.size(), std::size_t{kThreads} * kLines * (kLength + 1));
  for (std::size_t line = 0; line < text.size(); line += kLength + 1) {
    ASSERT_EQ(text.find_first_not_of(text[line], line), line + kLength);
    ASSERT_EQ(text[line + kLength], '\n');
  }
}

TEST(Log, goesToTheSinkWhileThereIsOne) {
  CapturedStandardError capture;
  {
    fakes::RecordedLog log;
    logLine("inside");
    EXPECT_EQ(log.lines(), QStringList{u"inside"_s});
  }
  logLine("outside");
  EXPECT_EQ(capture.text(), "outside\n");
}

TEST(Log, callsTheSinkFromOneThreadAtATime) {
  fakes::RecordedLog log;
  constexpr int kThreads = 4;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 500; ++n) logLine("x");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(log.lines().size(), 2000);
}

}  // namespace
}  // namespace vantora
