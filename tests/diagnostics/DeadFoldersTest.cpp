#include <QFileInfo>
#include <QTemporaryDir>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "Diagnostics/Diagnostics.h"
#include "Diagnostics/PathProbe.h"
#include "Diagnostics/Pieces.h"
#include "base/process/AbandonableThread.h"
#include "tests/diagnostics/Printing.h"
#include "tests/diagnostics/SyntheticMachine.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

// Blocks each caller until it is opened, as a network folder does whose server is gone.
class DeadServer {
 public:
  void enter() {
    std::unique_lock lock(mutex_);
    ++entered_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });
  }
  void open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  int entered() {
    const std::lock_guard lock(mutex_);
    return entered_;
  }
  bool waitForEntered(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, seconds(20), [&] { return entered_ >= count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
  int entered_ = 0;
};

class DeadFoldersTest : public testing::Test {
 protected:
  ~DeadFoldersTest() override {
    server_->open();
    const auto deadline = Clock::now() + seconds(20);
    while (AbandonableThread::abandonedCount() > 0 && Clock::now() < deadline) std::this_thread::yield();
    EXPECT_EQ(AbandonableThread::abandonedCount(), 0) << "threads end once the server is back";
  }
  // Paths that begin with `prefix` lie on the dead server.
  PathCheck checkWithDead(const QString& prefix) {
    return [server = server_, prefix = QString(prefix.constData(), prefix.size())](const QString& path) {
      if (path.startsWith(prefix)) server->enter();
      return QFileInfo::exists(path);
    };
  }
  static milliseconds since(Clock::time_point start) {
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
  }

  const std::shared_ptr<DeadServer> server_ = std::make_shared<DeadServer>();
};

TEST_F(DeadFoldersTest, distinguishesPathsThatRespondFromThoseThatDoNot) {
  const QTemporaryDir folder;
  const PathCheck check = checkWithDead(u"/dead/"_s);
  const auto start = Clock::now();
  EXPECT_EQ(answering({u"/dead/a"_s, folder.path(), folder.filePath(u"missing"_s), u"/dead/b"_s}, check,
                      Clock::now() + seconds(60)),
            QStringList{folder.path()});
  EXPECT_GE(since(start), kProbeTimeout);
  EXPECT_LT(since(start), seconds(20));
  EXPECT_EQ(AbandonableThread::abandonedCount(), 2);
}

TEST_F(DeadFoldersTest, aPathThatDoesNotAnswerIsAskedOnceOnly) {
  const PathCheck check = checkWithDead(u"/once"_s);
  EXPECT_TRUE(answering({u"/once"_s}, check, Clock::now() + milliseconds(10)).isEmpty());
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(answering({u"/once"_s}, check, Clock::now() + seconds(60)).isEmpty());
  EXPECT_EQ(server_->entered(), 1);
  EXPECT_EQ(AbandonableThread::abandonedCount(), 1);
}

TEST_F(DeadFoldersTest, aServerThatIsBackIsAskedAgain) {
  const QTemporaryDir folder;
  const PathCheck check = checkWithDead(folder.path());
  EXPECT_TRUE(answering({folder.path()}, check, Clock::now() + milliseconds(10)).isEmpty());
  server_->open();
  const auto deadline = Clock::now() + seconds(20);
  while (answering({folder.path()}, check, deadline).isEmpty() && Clock::now() < deadline) std::this_thread::yield();
  EXPECT_EQ(answering({folder.path()}, check, Clock::now() + seconds(60)), QStringList{folder.path()});
}

TEST_F(DeadFoldersTest, aDeadHomeCostsItsOwnFiguresOnly) {
  SyntheticMachine machine;
  machine.file(u"/etc/os-release"_s, "PRETTY_NAME=X\n");
  machine.file(u"/home/user/.config/user-dirs.dirs"_s, "XDG_DOWNLOAD_DIR=\"$HOME/Loaded\"\n");
  machine.folder(u"/home/user/.cache"_s);
  machine.folder(u"/opt"_s);
  machine.answer(u"\"/opt\""_s, u"4"_s);
  Options options = machine.options();
  options.environment.insert(u"PATH"_s, machine.place(u"/home/user/bin"_s));
  options.environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
  options.checkPath = checkWithDead(machine.place(u"/home"_s));
  const auto start = Clock::now();
  const QJsonObject report = run(options);
  EXPECT_LT(since(start), options.deadline) << "nothing waits for the end of the report";
  EXPECT_EQ(report[u"updates"_s][u"current"_s], u"X"_s);
  EXPECT_EQ(report[u"storage"_s][u"appsPretty"_s], u"4 KB"_s);
  EXPECT_EQ(report[u"storage"_s][u"cachesPretty"_s], u"0 KB"_s);
  EXPECT_EQ(report[u"storage"_s][u"downloadsPretty"_s], u"0 KB"_s);
  EXPECT_EQ(report[u"network"_s][u"proxy"_s][u"enabled"_s], false);
  EXPECT_FALSE(machine.ran(u"/home"_s));
  const int left = AbandonableThread::abandonedCount();
  EXPECT_GT(left, 0);
  (void)run(options);
  EXPECT_EQ(AbandonableThread::abandonedCount(), left) << "the next report adds none";
}

TEST_F(DeadFoldersTest, commandsDoNotSearchForToolsInADeadFolder) {
  SyntheticMachine machine;
  machine.folder(u"/bin"_s);
  machine.folder(u"/home/user/bin"_s);
  Options options = machine.realOptions();
  const QString usual = options.environment.value(u"PATH"_s);
  options.toolFolders = {u"/no/such/folder"_s};
  const QString alive = machine.place(u"/bin"_s);
  options.environment.insert(u"PATH"_s,
                             machine.place(u"/home/user/bin"_s) + u':' + alive + u":/no/such/folder:"_s + usual);
  options.checkPath = checkWithDead(machine.place(u"/home"_s));
  EXPECT_EQ(Probe(options).plain(u"echo \"$PATH\""_s), alive + u":/no/such/folder:"_s + usual)
      << "the system's own folders stay without a check";
}

TEST_F(DeadFoldersTest, aReportEndsInTimeWhateverDoesNotComeBack) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s);
  machine.file(u"/etc/os-release"_s, "PRETTY_NAME=X\n");
  Options options = machine.options();
  options.deadline = milliseconds(1000);
  options.workers = 2;
  // The second command is the last one: both threads are blocked then.
  options.runner = [server = server_](const QString&, double) {
    server->enter();
    return QString();
  };
  options.environment.remove(u"HOME"_s);
  const auto start = Clock::now();
  const QJsonObject report = run(options);
  EXPECT_GE(since(start), options.deadline);
  EXPECT_LT(since(start), seconds(20));
  EXPECT_EQ(report.size(), 9);
  EXPECT_EQ(AbandonableThread::abandonedCount(), 2);
}

TEST_F(DeadFoldersTest, whatCameBackInTimeIsInTheReport) {
  SyntheticMachine machine;
  machine.file(u"/etc/os-release"_s, "PRETTY_NAME=X\n");
  machine.tool(u"apt"_s);
  machine.file(u"/var/lib/dpkg/status"_s, "");
  Options options = machine.options();
  options.deadline = milliseconds(1000);
  options.runner = [server = server_](const QString& command, double) {
    if (command.contains("upgradable"_L1)) server->enter();
    return QString();
  };
  const QJsonObject updates = run(options)[u"updates"_s].toObject();
  EXPECT_EQ(updates[u"current"_s], u"X"_s);
  EXPECT_FALSE(updates.contains(u"available"_s));
  EXPECT_EQ(AbandonableThread::abandonedCount(), 1);
}

TEST_F(DeadFoldersTest, processesThatCannotBeReadDoNotHoldTheOthersBack) {
  SyntheticMachine machine;
  machine.file(u"/etc/os-release"_s, "PRETTY_NAME=X\n");
  const std::vector<Collector> pieces = {{.section = "processes"_L1,
                                          .collect =
                                              [](const Probe& probe) {
                                                return QJsonObject{{u"a"_s, probe.sh(u"x"_s)}};
                                              },
                                          .turn = Collector::Turn::first},
                                         {.section = "updates"_L1, .collect = [](const Probe&) {
                                            return QJsonObject{{u"b"_s, 1}};
                                          }}};
  Options options = machine.options();
  options.deadline = seconds(10);
  options.runner = [server = server_](const QString&, double) {
    server->enter();
    return QString();
  };
  const auto start = Clock::now();
  const std::vector<QJsonObject> results = collectPieces(options, pieces);
  EXPECT_LT(since(start), options.deadline);
  EXPECT_EQ(results, (std::vector<QJsonObject>{{}, {{u"b"_s, 1}}}));
}

TEST_F(DeadFoldersTest, aStoppedReportDoesNotWaitForItsDeadline) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s);
  std::stop_source stop;
  Options options = machine.options();
  options.stop = stop.get_token();
  options.deadline = seconds(300);
  options.runner = [server = server_](const QString&, double) {
    server->enter();
    return QString();
  };
  std::jthread stopper([&] {
    EXPECT_TRUE(server_->waitForEntered(1));
    stop.request_stop();
  });
  const auto start = Clock::now();
  EXPECT_EQ(run(options).size(), 9);
  EXPECT_LT(since(start), seconds(100));
}

TEST_F(DeadFoldersTest, reportsThatNeverEndDoNotPileUpThreads) {
  SyntheticMachine machine;
  const std::vector<Collector> pieces(8, {.section = "updates"_L1, .collect = [](const Probe& probe) {
                                            return QJsonObject{{u"a"_s, probe.sh(u"x"_s)}};
                                          }});
  Options options = machine.options();
  options.deadline = milliseconds(1000);
  options.workers = 8;
  options.runner = [server = server_](const QString&, double) {
    server->enter();
    return QString();
  };
  for (int i = 0; i < 5; ++i) EXPECT_EQ(collectPieces(options, pieces), std::vector<QJsonObject>(8));
  EXPECT_EQ(AbandonableThread::abandonedCount(), kMaxThreads);
  server_->open();
  const auto deadline = Clock::now() + seconds(20);
  while (AbandonableThread::abandonedCount() > 0 && Clock::now() < deadline) std::this_thread::yield();
  EXPECT_TRUE(collectPieces(options, pieces)[0].contains(u"a"_s)) << "and then there is room again";
}

}  // namespace
}  // namespace vantora::Diagnostics
