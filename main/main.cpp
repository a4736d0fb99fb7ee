#include <QCoreApplication>
#include <QFileInfo>
#include <csignal>
#include <cstdio>

#include "main/HostAppDelegate.h"
#include "main/TerminationSignals.h"
#include "main/base/Log.h"
#include "main/session/settings/ConfigurationHelp.h"

namespace {

// Standard error belongs to the program's own log: of the toolkit's messages only the last words
// before it ends the process are shown.
void toolkitMessage(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type == QtFatalMsg) vantora::logLine(QStringLiteral("fatal: ") + text);
}

int print(const QString& text) {
  std::fputs(text.toUtf8().constData(), stdout);
  return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
  std::signal(SIGPIPE, SIG_IGN);
  qInstallMessageHandler(toolkitMessage);
  QCoreApplication application(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("vantora-host"));
  QCoreApplication::setApplicationVersion(QStringLiteral(VANTORA_VERSION));

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
  if (const auto error = delegate.applicationDidFinishLaunching()) {
    vantora::logLine(QStringLiteral("fatal: ") + *error);
    return 1;
  }
  return QCoreApplication::exec();
}
