#include <gtest/gtest.h>

#include <algorithm>

#include "main/telemetry/system/linux/ProcessTable.h"
#include "tests/unit/telemetry/system/linux/ProcTree.h"

namespace vantora {
namespace {

class ProcessTableTest : public testing::Test {
 protected:
  static constexpr int kMany = 400;
  static_assert(kMany > ProcessTable::kFew);

  void makeMany() const {
    for (int pid = 1; pid <= kMany; ++pid) tree_.process(pid, "sleeper", 5);
  }
  // A sample one second later.
  void sample(double processTicks = 0, bool all = false) { table_.sample(now_ += 1, processTicks, all); }
  std::vector<qint32> busiest(std::size_t count) {
    std::vector<qint32> pids;
    for (const ProcessRow& row : table_.busiest(count, now_)) pids.push_back(row.pid);
    return pids;
  }
  // Two samples, after which no process is new or busy.
  void settle() {
    sample(0, true);
    sample(0, true);
  }

  ProcTree tree_;
  ProcessTable table_{tree_.path(), 100};
  double now_ = 1000;
};

TEST_F(ProcessTableTest, ranksByTheShareOfTheLastInterval) {
  tree_.process(1, "busy before", 100'000);
  tree_.process(2, "busy now", 10);
  tree_.process(3, "half busy", 10);
  sample();
  tree_.process(2, "busy now", 110);
  tree_.process(3, "half busy", 60);
  sample();
  const auto rows = table_.busiest(3, now_);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0].pid, 2);
  EXPECT_DOUBLE_EQ(rows[0].share, 100);
  EXPECT_EQ(rows[0].name, "busy now");
  EXPECT_DOUBLE_EQ(rows[1].share, 50);
  EXPECT_EQ(rows[2].pid, 1);
  EXPECT_DOUBLE_EQ(rows[2].share, 0);
}

TEST_F(ProcessTableTest, severalThreadsMakeMoreThanOneProcessor) {
  tree_.process(1, "threads", 0);
  sample();
  tree_.process(1, "threads", 350);
  sample();
  EXPECT_DOUBLE_EQ(table_.busiest(1, now_)[0].share, 350);
}

TEST_F(ProcessTableTest, equalSharesAreRankedByMemoryAndThenById) {
  tree_.process(5, "small", 0, 1);
  tree_.process(4, "small", 0, 1);
  tree_.process(9, "big", 0, 1000);
  sample();
  sample();
  EXPECT_EQ(busiest(3), (std::vector<qint32>{9, 4, 5}));
}

TEST_F(ProcessTableTest, aFirstSampleHasNoShares) {
  tree_.process(1, "old", 100'000);
  sample();
  EXPECT_DOUBLE_EQ(table_.busiest(1, now_)[0].share, 0);
}

TEST_F(ProcessTableTest, aReusedIdStartsFromZero) {
  tree_.process(1, "first", 10, 10, 100);
  sample();
  tree_.process(1, "second", 500, 10, 200);
  sample();
  auto rows = table_.busiest(1, now_);
  EXPECT_DOUBLE_EQ(rows[0].share, 0);
  EXPECT_EQ(rows[0].name, "second");
  tree_.process(1, "second", 520, 10, 200);
  sample();
  EXPECT_DOUBLE_EQ(table_.busiest(1, now_)[0].share, 20);
}

TEST_F(ProcessTableTest, processesThatEndAreForgotten) {
  tree_.process(1, "a", 0);
  tree_.process(2, "b", 0);
  sample();
  tree_.gone(1);
  sample();
  EXPECT_EQ(table_.size(), 1U);
  EXPECT_EQ(busiest(5), (std::vector<qint32>{2}));
}

TEST_F(ProcessTableTest, whatCannotBeReadIsPassedOver) {
  tree_.process(1, "a", 0);
  tree_.file(QStringLiteral("2/stat"), "garbage");
  tree_.file(QStringLiteral("3/other"), "");
  tree_.file(QStringLiteral("self/stat"), "4 (x) S");
  tree_.file(QStringLiteral("5x/stat"), ProcTree::statLine(5, "x", 1, 1, 1));
  tree_.file(QStringLiteral("99999999999/stat"), ProcTree::statLine(5, "x", 1, 1, 1));
  sample();
  sample();
  EXPECT_EQ(busiest(5), (std::vector<qint32>{1}));
}

TEST_F(ProcessTableTest, aFolderThatIsNotThereHasNoProcesses) {
  ProcessTable missing("/no/such/folder", 100);
  missing.sample(1, 0, true);
  EXPECT_TRUE(missing.busiest(5, 1).empty());
}

// Many processes

TEST_F(ProcessTableTest, ofManyQuietProcessesOnlyAPartIsRead) {
  makeMany();
  sample(0, true);
  EXPECT_EQ(table_.readCount(), static_cast<std::size_t>(kMany));
  settle();
  sample();
  EXPECT_EQ(table_.readCount(), ProcessTable::kInTurn);
  EXPECT_EQ(table_.size(), static_cast<std::size_t>(kMany));
}

TEST_F(ProcessTableTest, busyAndNewProcessesAmongManyAreAlwaysRead) {
  makeMany();
  settle();
  tree_.process(kMany + 1, "new", 0);
  sample();
  for (quint64 round = 1; round <= 20; ++round) {
    tree_.process(kMany + 1, "new", round * 30);
    sample(30);
    ASSERT_DOUBLE_EQ(table_.busiest(1, now_)[0].share, 30);
    ASSERT_LE(table_.readCount(), ProcessTable::kInTurn + 1);
  }
}

TEST_F(ProcessTableTest, timeOfUnknownProcessesCausesAFullSample) {
  makeMany();
  settle();
  sample();
  for (const int pid : {kMany / 3, kMany / 2, kMany}) {
    now_ += ProcessTable::kShortestPause;
    tree_.process(pid, "sleeper", 5 + 400);
    sample(400);
    EXPECT_EQ(busiest(1), (std::vector<qint32>{pid}));
    sample();
    EXPECT_LT(table_.readCount(), static_cast<std::size_t>(kMany / 2)) << "once it is found, the others are not read";
  }
}

TEST_F(ProcessTableTest, timeOfProcessesThatEndedCausesFullSamplesLessAndLess) {
  makeMany();
  settle();
  std::vector<int> fullSamples;
  for (int second = 0; second < 120; ++second) {
    sample(80);
    if (table_.readCount() >= static_cast<std::size_t>(kMany)) fullSamples.push_back(second);
  }
  ASSERT_GE(fullSamples.size(), 5U);
  EXPECT_LE(fullSamples.size(), 8U);
  for (std::size_t i = 2; i < fullSamples.size(); ++i) {
    EXPECT_GE(fullSamples[i] - fullSamples[i - 1], fullSamples[i - 1] - fullSamples[i - 2]);
  }
}

TEST_F(ProcessTableTest, aLittleUseOfManyCausesNoFullSample) {
  makeMany();
  settle();
  now_ += 100;
  sample(0);
  sample(4);
  EXPECT_LE(table_.readCount(), ProcessTable::kInTurn);
}

TEST_F(ProcessTableTest, everyOneHasItsTurn) {
  makeMany();
  settle();
  tree_.process(kMany / 2, "sleeper", 5 + 1000);
  bool found = false;
  for (int second = 0; second <= kMany / static_cast<int>(ProcessTable::kInTurn); ++second) {
    sample();
    found = found || busiest(1) == std::vector<qint32>{kMany / 2};
  }
  EXPECT_TRUE(found);
}

TEST_F(ProcessTableTest, shownProcessesAreCurrent) {
  makeMany();
  tree_.process(7, "big", 0, 5000);
  settle();
  sample();
  tree_.process(7, "big", 0, 6000);
  sample();
  EXPECT_EQ(table_.busiest(1, now_)[0].rssPages, 6000U);
}

}  // namespace
}  // namespace vantora
