// vantora-room-server: signalling between host and viewer, and the viewer page.
#include <sys/signalfd.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QSysInfo>
#include <csignal>
#include <cstdio>

#include "base/QtScheduler.h"
#include "companion/server/RoomServer.h"
#include "companion/server/ServerOptions.h"

namespace {

using namespace Qt::Literals::StringLiterals;

constexpr int kFailed = 1;
constexpr int kBadUsage = 2;

void complain(const QString& text) { std::fprintf(stderr, "vantora-room-server: %s\n", qUtf8Printable(text)); }

// SIGINT and SIGTERM as events of the loop. Blocked before any thread exists, so that none is terminated by them.
// Returns the descriptor to watch, or -1.
int endSignals() {
  sigset_t wanted;
  sigemptyset(&wanted);
  sigaddset(&wanted, SIGINT);
  sigaddset(&wanted, SIGTERM);
  if (sigprocmask(SIG_BLOCK, &wanted, nullptr) != 0) return -1;
  return signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace

int main(int argc, char** argv) {
  const int signals = endSignals();
  QCoreApplication application(argc, argv);
  using namespace vantora::companion;

  const ServerOptions options = parseServerOptions(QCoreApplication::arguments());
  if (!options.error.isEmpty()) {
    complain(options.error + u" Try --help."_s);
    return kBadUsage;
  }
  if (options.helpWanted) {
    std::fputs(qUtf8Printable(options.helpText), stdout);
    return 0;
  }
  const QString viewer =
      options.viewerFolder.isEmpty() ? findViewerFolder(QCoreApplication::applicationDirPath()) : options.viewerFolder;
  if (!QFileInfo(viewer + u"/index.html"_s).isFile()) {
    complain(viewer.isEmpty() ? u"The viewer page was not found; name its folder with --viewer-dir."_s
                              : u"There is no viewer page (index.html) in '%1'."_s.arg(viewer));
    return kFailed;
  }

  vantora::QtScheduler scheduler;
  const OriginPolicy policy(options.allowedOrigins, QSysInfo::machineHostName());
  RoomServer server(viewer, policy, scheduler);
  if (!server.listen(options.listen, options.port)) {
    const QString where = u"port %1 on %2"_s.arg(options.port).arg(options.listen.toString());
    complain(
        server.addressInUse()
            ? u"Cannot listen: %1 is already in use. Choose another with --port N, or --port 0 for any free one."_s.arg(
                  where)
            : u"Cannot listen on %1: %2."_s.arg(where, server.errorText()));
    return kFailed;
  }
  QSocketNotifier ending(signals, QSocketNotifier::Read);
  QObject::connect(&ending, &QSocketNotifier::activated, &application, [] { QCoreApplication::exit(0); });

  std::printf("listening on %s\n", qUtf8Printable(server.address()));
  std::fflush(stdout);
  return QCoreApplication::exec();
}
