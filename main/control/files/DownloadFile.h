// Creates new files in the download folder.
#pragma once

#include <QByteArray>
#include <QString>
#include <functional>
#include <variant>

namespace vantora {

// Makes the file system write its buffered data of a file, without closing the file: 0, or -1 with the reason in errno.
// Network file systems, including those with quotas, detect only on close that there is no room for a file.
int closeCopy(int descriptor);

// A file open for appending; closed with this object. It is unreadable while it is open, so that no program can open an
// incomplete file or make a thumbnail of it: this distinguishes it from a finished file for the local user. Any one
// thread at a time.
class DownloadFile {
 public:
  using Settle = int (*)(int descriptor);

  // `descriptor` is an open file, `finishedMode` the permissions that finish() gives it, `settle` a function that does
  // what closeCopy() does.
  DownloadFile(int descriptor, unsigned finishedMode, Settle settle = closeCopy)
      : descriptor_(descriptor), finishedMode_(finishedMode), settle_(settle) {}
  ~DownloadFile();
  DownloadFile(DownloadFile&& other) noexcept;
  DownloadFile& operator=(DownloadFile&& other) noexcept;

  // Appends `bytes` and returns how many were written. Less than all of them: the rest was refused (by a full disk, for
  // example), and nothing more is written, so that the content remains a correct prefix.
  qint64 append(QByteArrayView bytes);
  // Closes the file and makes it readable, unless a write or the final `settle` failed.
  void finish();

 private:
  int descriptor_;
  unsigned finishedMode_;
  Settle settle_;
  bool damaged_ = false;
};

struct CreatedDownload {
  DownloadFile file;
  QByteArray path;
  QByteArray name;  // The last component of `path`.
};

// Creates the file `name`, which must not exist, in the folder of a descriptor. Returns the file's descriptor, or -1
// with the reason in errno.
using FileMaker = std::function<int(int folder, const QByteArray& name)>;
int makeNewFile(int folder, const QByteArray& name);

// Creates an empty file in `folder`, under safeFileName(wanted) or, if that exists (as a file, folder, link or anything
// else), under the first of the following names that is free. The 999th is used even if it exists: the entry is
// replaced. Never follows a link inside the folder. On a file system that refuses such a name (a USB stick from another
// system, an encrypted home directory), plainFileName() and the names that follow from it are tried. On failure returns
// the system's error text.
[[nodiscard]] std::variant<CreatedDownload, QString> createDownload(const QString& folder, const QString& wanted,
                                                                    const FileMaker& make = makeNewFile);

}  // namespace vantora
