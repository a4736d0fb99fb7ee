#include <unistd.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <csignal>
#include <cstdio>

#include "base/FreeMemory.h"
#include "base/Log.h"
#include "base/process/AbandonableThread.h"
#include "main/HostAppDelegate.h"
#include "main/TerminationSignals.h"
#include "main/session/settings/ConfigurationHelp.h"

namespace {

int print(const QString& text) {
  std::fputs(text.toUtf8().constData(), stdout);
  return 0;
}

int runSession(int argc, char* argv[]) {
  QCoreApplication application(argc, argv);

  const QStringList arguments = QCoreApplication::arguments();
  if (arguments.size() > 1) {
    const QString& first = arguments.at(1);
    if (first == QStringLiteral("--help") || first == QStringLiteral("-h")) return print(vantora::helpText());
    if (first == QStringLiteral("--version")) {
      return print(QStringLiteral("vantora-host %1\n").arg(QCoreApplication::applicationVersion()));
    }
  }

  const vantora::TerminationSignals signals([] { QCoreApplication::quit(); });
  vantora::HostAppDelegate delegate(arguments, vantora::Environment::ofProcess(),
                                    vantora::InfoDictionary::load(QCoreApplication::applicationDirPath()));
  const auto launch = delegate.applicationDidFinishLaunching();
  if (launch.error) {
    vantora::logLine(QStringLiteral("fatal: ") + *launch.error);
    return 1;
  }
  if (launch.alreadyRunning)
    return print(QStringLiteral("vantora-host is running already and was told to come to the front\n"));
  return QCoreApplication::exec();
}

}  // namespace

int main(int argc, char* argv[]) {
  vantora::tuneAllocator();
  std::signal(SIGPIPE, SIG_IGN);
  vantora::silenceToolkit();
  QCoreApplication::setApplicationName(QStringLiteral("vantora-host"));
  QCoreApplication::setApplicationVersion(QStringLiteral(VANTORA_VERSION));
  const int code = runSession(argc, argv);
  // An abandoned thread that returns late from a dead network folder must not use destroyed objects.
  if (vantora::AbandonableThread::wasAnyAbandoned()) {
    (void)std::fflush(nullptr);
    _exit(code);
  }
  return code;
}
