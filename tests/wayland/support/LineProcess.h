// A helper program of a test that is controlled over its standard input and reports on its standard output.
#pragma once

#include <sys/prctl.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <csignal>
#include <functional>
#include <map>

#include "tests/fakes/EventLoop.h"

namespace vantora::testwayland {

// Commands are lines, reports are JSON objects, one a line. Reports are read while the event loop runs. The program
// ends with this object, and with the test program.
class LineProcess {
 public:
  using Handler = std::function<void(const QJsonObject& report)>;

  // `environment` is added to that of the test program.
  LineProcess(const QString& program, const QStringList& arguments, const std::map<QString, QString>& environment,
              Handler handler)
      : handler_(std::move(handler)) {
    testloop::ensureApplication();
    QProcessEnvironment all = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : environment) all.insert(name, value);
    process_.setProcessEnvironment(all);
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    QObject::connect(&process_, &QProcess::readyReadStandardOutput, &process_, [this] {
      while (process_.canReadLine()) handler_(QJsonDocument::fromJson(process_.readLine()).object());
    });
    process_.start(program, arguments);
  }
  ~LineProcess() { end(); }
  LineProcess(const LineProcess&) = delete;
  LineProcess& operator=(const LineProcess&) = delete;

  void send(const QString& command) {
    process_.write(command.toUtf8() + '\n');
    process_.waitForBytesWritten(1000);
  }
  bool running() const { return process_.state() != QProcess::NotRunning; }
  // Closes its input, which ends it, and waits for that.
  void end() {
    if (!running()) return;
    process_.closeWriteChannel();
    if (process_.waitForFinished(10'000)) return;
    process_.kill();
    process_.waitForFinished();
  }

 private:
  QProcess process_;
  Handler handler_;
};

}  // namespace vantora::testwayland
