#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

#include "Diagnostics/Diagnostics.h"
#include "base/process/AbandonableThread.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;
using Clock = std::chrono::steady_clock;

void write(const char* path, const std::string& text) { std::ofstream(path) << text; }

// Puts a file system over `folder` that nobody serves, as seen by this process alone. Needs a process with one thread.
bool mountNobody(const QString& folder) {
  const std::string user = std::to_string(getuid());
  const std::string group = std::to_string(getgid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  write("/proc/self/setgroups", "deny");
  write("/proc/self/uid_map", "0 " + user + " 1");
  write("/proc/self/gid_map", "0 " + group + " 1");
  const int device = open("/dev/fuse", O_RDWR);  // Stays open: closing it would end the file system.
  if (device < 0) return false;
  const std::string options = "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0";
  return mount("nobody", QFile::encodeName(folder).constData(), "fuse", 0, options.c_str()) == 0;
}

enum Outcome : int { fine, notAllowed, notDead, tooLate, wrong };

// In a process of its own, whose home is dead.
Outcome reportFromADeadHome(const QString& home) {
  if (!mountNobody(home)) return notAllowed;
  AbandonableThread check([path = QFile::encodeName(home + u"/any"_s)] { (void)access(path.constData(), F_OK); });
  if (check.join(Clock::now() + std::chrono::milliseconds(300))) return notDead;

  Options options;
  options.captivePageUrl = u"http://127.0.0.1:9/"_s;
  options.internetAddress = u"127.0.0.1"_s;
  options.environment.insert(u"HOME"_s, home);
  options.environment.insert(u"XDG_CACHE_HOME"_s, home + u"/cache"_s);
  options.environment.insert(u"PATH"_s, home + u"/bin:/usr/bin:/bin"_s);
  for (int i = 0; i < 3; ++i) {
    const auto start = Clock::now();
    const QJsonObject report = run(options);
    if (Clock::now() - start > options.deadline + std::chrono::seconds(5)) return tooLate;
    const QJsonObject storage = report[u"storage"_s].toObject();
    const bool right = report.size() == 9 && storage[u"cachesPretty"_s] == u"0 KB"_s &&
                       storage[u"totalKB"_s].toInteger() > 0 &&
                       !report[u"processes"_s][u"topCPU"_s].toArray().isEmpty();
    if (!right) {
      std::fputs(QJsonDocument(report).toJson().constData(), stderr);
      return wrong;
    }
  }
  return fine;
}

TEST(DeadMountTest, aHomeWhoseServerIsGoneDoesNotHoldUpReports) {
  const QTemporaryDir home;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(reportFromADeadHome(home.path()));
  int status = 0;
  const auto deadline = Clock::now() + std::chrono::seconds(90);
  pid_t ended = 0;
  while ((ended = waitpid(child, &status, WNOHANG)) == 0 && Clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  if (ended == 0) {
    (void)kill(child, SIGKILL);
    (void)waitpid(child, &status, 0);
  }
  ASSERT_EQ(ended, child) << "it neither reports nor ends";
  ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  if (WEXITSTATUS(status) == notAllowed) GTEST_SKIP() << "needs /dev/fuse and user name spaces";
  EXPECT_EQ(WEXITSTATUS(status), fine);
}

}  // namespace
}  // namespace vantora::Diagnostics
