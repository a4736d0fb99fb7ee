// Detects that files are opened.
#pragma once

#include <sys/inotify.h>
#include <unistd.h>

#include <QFile>
#include <QString>

namespace vantora::fakes {

// Watches files of a real folder, including reads by this process. Thread: one at a time.
class FileOpenDetector {
 public:
  FileOpenDetector() : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (descriptor_ < 0) qFatal("no inotify");
  }
  ~FileOpenDetector() { close(descriptor_); }
  FileOpenDetector(const FileOpenDetector&) = delete;
  FileOpenDetector& operator=(const FileOpenDetector&) = delete;

  void add(const QString& file) {
    if (inotify_add_watch(descriptor_, QFile::encodeName(file).constData(), IN_OPEN) < 0) qFatal("cannot watch a file");
  }
  // Whether any of the files was opened since the last call.
  [[nodiscard]] bool wereOpened() {
    char events[4096];
    bool any = false;
    while (read(descriptor_, events, sizeof events) > 0) any = true;
    return any;
  }

 private:
  const int descriptor_;
};

}  // namespace vantora::fakes
