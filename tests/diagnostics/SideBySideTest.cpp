// Real commands from several threads over one probe, as the collectors of a report run them.
#include <QByteArray>
#include <algorithm>
#include <latch>
#include <thread>
#include <vector>

#include "Diagnostics/Probe.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

constexpr int kThreads = 4;
constexpr int kRounds = 10;
// Enough of them, and long enough, that the threads read at the same time.
constexpr int kVariables = 100;
constexpr int kLength = 200;

QString nameOf(int number) { return u"VANTORA_TEST_%1"_s.arg(number); }
QString valueOf(int number) { return QString(kLength, QChar(u'a' + number % 26)) + QString::number(number); }

// Runs `work` on all threads, which begin at the same moment.
template <typename Work>
void together(const Work& work) {
  std::latch start(kThreads);
  std::vector<std::jthread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      work();
    });
  }
}

// With variables in the environment of this process.
class SideBySideTest : public testing::Test {
 protected:
  SideBySideTest() {
    for (int i = 0; i < kVariables; ++i) qputenv(nameOf(i).toLatin1().constData(), valueOf(i).toLatin1());
  }
  ~SideBySideTest() override {
    for (int i = 0; i < kVariables; ++i) qunsetenv(nameOf(i).toLatin1().constData());
  }

  // The values, each on a line.
  static QString command() {
    QString line = u"printf '%s\\n'"_s;
    for (int i = 0; i < kVariables; ++i) line += u" \"$"_s + nameOf(i) + u'"';
    return line;
  }
  static QString printed() {
    QString lines;
    for (int i = 0; i < kVariables; ++i) lines += valueOf(i) + u'\n';
    return lines.trimmed();
  }
};

TEST_F(SideBySideTest, commandsOfOneEnvironmentGetAllOfIt) {
  constexpr double kAmple = 30;
  for (int round = 0; round < kRounds; ++round) {
    ShellLimits limits;
    limits.login = false;
    together([&] { EXPECT_EQ(sh(command(), kAmple, limits), printed()); });
  }
}

TEST_F(SideBySideTest, collectorsReadTheVariablesOfOneProbeWhileItsCommandsRun) {
  for (int round = 0; round < kRounds; ++round) {
    Options options;
    options.deadline = std::chrono::minutes(5);
    const Probe probe(options);
    together([&] {
      for (int i = 0; i < kVariables; ++i) {
        // Letter by letter, in this program's own code.
        const QString value = probe.variable(nameOf(i));
        EXPECT_TRUE(std::ranges::equal(value, valueOf(i))) << value.toStdString();
      }
      const QString output = probe.plain(command());
      // The time limit of a probe's command is short.
      EXPECT_TRUE(output == printed() || output.isEmpty()) << output.toStdString();
    });
  }
}

TEST_F(SideBySideTest, probesOfOneSetOfOptionsAreMadeSideBySide) {
  for (int round = 0; round < kRounds; ++round) {
    const Options options;
    together([&] {
      const Options copy = options;  // NOLINT(performance-unnecessary-copy-initialization): copying is what is tested
      EXPECT_EQ(Probe(copy).variable(nameOf(7)), valueOf(7));
      EXPECT_TRUE(Probe(copy).plain(u"echo one"_s).size() <= 3);
    });
  }
}

}  // namespace
}  // namespace vantora::Diagnostics
