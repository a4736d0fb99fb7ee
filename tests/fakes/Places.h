// Paths of files that test programs use. Not compiled in: the compiler cache would then work for one folder only.
#pragma once

#include <QDir>
#include <QFile>
#include <QString>

namespace vantora::testplaces {

// The folder of the build (the one above that of the test programs).
inline QString build() {
  const QString program = QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
  return QDir::cleanPath(program + QStringLiteral("/../.."));
}

// A file or folder of the sources, by its path from the project's root.
inline QString source(const QString& path) {
  QFile note(build() + QStringLiteral("/source-folder.txt"));
  if (!note.open(QIODevice::ReadOnly)) return {};
  return QString::fromUtf8(note.readAll()) + u'/' + path;
}

// A program that is built beside the test programs, by its name.
inline QString program(const QString& name) { return build() + QStringLiteral("/tests/") + name; }

}  // namespace vantora::testplaces
