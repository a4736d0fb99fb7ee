#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <chrono>
#include <thread>

#include "main/telemetry/system/RunShell.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

QString run(const QString& line) { return runShell(line, {}, u"/bin/sh"_s); }

TEST(RunShell, givesTheWholeOutputUntrimmed) { EXPECT_EQ(run(u"printf ' a\\nb \\n'"_s), u" a\nb \n"_s); }

TEST(RunShell, throwsStandardErrorAway) { EXPECT_EQ(run(u"echo out; echo err >&2; exit 4"_s), u"out\n"_s); }

TEST(RunShell, outputThatIsNotUtf8IsNothing) {
  EXPECT_EQ(run(uR"(printf 'text \377')"_s), u""_s);
  EXPECT_EQ(run(uR"(printf '\303\244')"_s), u"ä"_s);
}

TEST(RunShell, aShellThatCannotBeStartedGivesNothing) { EXPECT_EQ(runShell(u"echo x"_s, {}, u"/no/shell"_s), u""_s); }

TEST(RunShell, isALoginShell) {
  const QTemporaryDir home;
  QFile shell(home.filePath(u"shell"_s));
  ASSERT_TRUE(shell.open(QIODevice::WriteOnly));
  shell.write("#!/bin/sh\nprintf '%s|' \"$@\"\n");
  shell.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
  shell.close();
  EXPECT_EQ(runShell(u"some 'line'"_s, {}, shell.fileName()), u"-lc|some 'line'|"_s);
}

TEST(RunShell, doesNotWaitForWhatStaysBehind) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(run(u"sleep 30 & echo x"_s), u"x\n"_s);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(RunShell, readsNothingBeforeTheCommandHasEnded) {
  const QTemporaryDir folder;
  const QString begun = folder.filePath(u"begun"_s);
  const QString printed = folder.filePath(u"printed"_s);
  const QString line = u"touch '%1'; head -c 1000000 /dev/zero | tr '\\0' x; touch '%2'"_s.arg(begun, printed);
  std::stop_source stop;
  bool early = false;
  std::jthread watcher([&] {
    const auto until = [](std::chrono::milliseconds timeout, const QString& file) {
      const auto deadline = std::chrono::steady_clock::now() + timeout;
      while (!QFile::exists(file) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
      return QFile::exists(file);
    };
    EXPECT_TRUE(until(std::chrono::seconds(20), begun));
    // A reader would empty the pipe immediately.
    early = until(std::chrono::milliseconds(700), printed);
    stop.request_stop();
  });
  const QString output = runShell(line, stop.get_token(), u"/bin/sh"_s);
  watcher.join();
  EXPECT_FALSE(early) << "more than a pipe holds went through";
  EXPECT_FALSE(QFile::exists(printed)) << "the command was killed while writing";
  EXPECT_FALSE(output.isEmpty()) << "a pipe's worth, read at the end";
  EXPECT_LT(output.size(), 1'000'000);
}

TEST(RunShell, stoppingKillsTheCommand) {
  std::stop_source stop;
  const auto start = std::chrono::steady_clock::now();
  std::jthread stopper([&stop] { stop.request_stop(); });
  EXPECT_EQ(runShell(u"sleep 60; echo late"_s, stop.get_token(), u"/bin/sh"_s), u""_s);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

}  // namespace
}  // namespace vantora
