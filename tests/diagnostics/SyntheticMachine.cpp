#include "tests/diagnostics/SyntheticMachine.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QStandardPaths>

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

SyntheticMachine::SyntheticMachine() {
  EXPECT_TRUE(root_.isValid() && tools_.isValid() && basics_.isValid());
  for (const QString& name : {u"awk"_s, u"cat"_s, u"curl"_s, u"du"_s, u"head"_s, u"sleep"_s, u"touch"_s, u"tr"_s}) {
    const QString program = QStandardPaths::findExecutable(name);
    EXPECT_TRUE(QFile::link(program, basics_.filePath(name))) << name.toStdString();
  }
}

QString SyntheticMachine::place(const QString& path) const { return root_.path() + path; }

void SyntheticMachine::file(const QString& path, const QByteArray& content) {
  EXPECT_TRUE(QDir().mkpath(QFileInfo(place(path)).path()));
  QFile out(place(path));
  EXPECT_TRUE(out.open(QIODevice::WriteOnly)) << path.toStdString();
  EXPECT_EQ(out.write(content), content.size());
}

void SyntheticMachine::folder(const QString& path) { EXPECT_TRUE(QDir().mkpath(place(path))); }

void SyntheticMachine::link(const QString& path, const QString& target) {
  EXPECT_TRUE(QDir().mkpath(QFileInfo(place(path)).path()));
  EXPECT_TRUE(QFile::link(place(target), place(path)));
}

void SyntheticMachine::tool(const QString& name, const QByteArray& script) {
  QFile out(tools_.filePath(name));
  EXPECT_TRUE(out.open(QIODevice::WriteOnly));
  out.write(script.isEmpty() ? QByteArray("#!/bin/sh\n") : "#!/bin/sh\n" + script);
  out.close();
  EXPECT_TRUE(out.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

void SyntheticMachine::answer(const QString& piece, const QString& output) { answers_.append({piece, output}); }

Options SyntheticMachine::realOptions() const {
  Options options;
  options.captivePageUrl = u"http://127.0.0.1:9/"_s;
  options.internetAddress = u"127.0.0.1"_s;
  options.environment.clear();
  // The tools above, and what pipelines need.
  options.environment.insert(u"PATH"_s, tools_.path() + u':' + basics_.path());
  options.environment.insert(u"HOME"_s, u"/home/user"_s);
  options.toolFolders.clear();
  options.root = root_.path();
  options.interfaceAddresses = [] { return std::vector<InterfaceAddress>(); };
  return options;
}

Options SyntheticMachine::options() const {
  Options options = realOptions();
  options.runner = [this](const QString& command, double seconds) { return run(command, seconds); };
  return options;
}

QString SyntheticMachine::run(const QString& command, double seconds) const {
  EXPECT_DOUBLE_EQ(seconds, 2.5);
  const QMutexLocker locker(&mutex_);
  commands_.append(command);
  for (const auto& [piece, output] : answers_) {
    if (command.contains(piece)) return output;
  }
  return {};
}

QStringList SyntheticMachine::commands() const {
  const QMutexLocker locker(&mutex_);
  return commands_;
}

bool SyntheticMachine::ran(const QString& piece) const { return !commands().filter(piece).isEmpty(); }

}  // namespace vantora::Diagnostics
