// A folder in place of /proc, with files in the kernel's formats.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <string>

namespace vantora {

class ProcTree {
 public:
  std::string path() const { return QFile::encodeName(folder_.path()).toStdString(); }

  void file(const QString& name, const QByteArray& content) const {
    const QString place = folder_.filePath(name);
    QDir().mkpath(place.left(place.lastIndexOf(u'/')));
    QFile out(place);
    if (!out.open(QIODevice::WriteOnly) || out.write(content) != content.size()) qFatal("cannot write the tree");
  }
  void process(int pid, const QByteArray& name, quint64 cpuTicks, quint64 rssPages = 10, quint64 start = 100,
               char state = 'S') const {
    file(QString::number(pid) + QStringLiteral("/stat"), statLine(pid, name, cpuTicks, rssPages, start, state));
  }
  void gone(int pid) const { QDir(folder_.filePath(QString::number(pid))).removeRecursively(); }
  void link(const QString& name, const QString& target) const { QFile::link(target, folder_.filePath(name)); }
  // The line for the whole machine: `busy` ticks in processes, `idle` ticks without.
  void load(quint64 busy, quint64 idle) const {
    file(QStringLiteral("stat"), "cpu  " + QByteArray::number(busy) + " 0 0 " + QByteArray::number(idle) +
                                     " 0 0 0 0 0 0\ncpu0 1 1 1 1 1 1 1 1 1 1\nintr 5 1 2 3\n");
  }

  QString place(const QString& name) const { return folder_.filePath(name); }

  static QByteArray statLine(int pid, const QByteArray& name, quint64 cpuTicks, quint64 rssPages, quint64 start,
                             char state = 'S') {
    // Half of the time is spent in the program, half in the kernel.
    const QByteArray user = QByteArray::number(cpuTicks - cpuTicks / 2);
    const QByteArray system = QByteArray::number(cpuTicks / 2);
    return QByteArray::number(pid) + " (" + name + ") " + state + " 1 5 5 0 -1 4194304 111 222 0 0 " + user + ' ' +
           system + " 33 44 20 0 1 0 " + QByteArray::number(start) + " 123456 " + QByteArray::number(rssPages) +
           " 18446744073709551615 1 1 0 0 0 0 0 4096 0 0 0 0 17 1 0 0 0 0 0 0 0 0 0 0 0 0 0\n";
  }

 private:
  QTemporaryDir folder_;
};

}  // namespace vantora
