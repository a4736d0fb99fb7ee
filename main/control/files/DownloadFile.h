// Making a file in the download folder that was not there before.
#pragma once

#include <QByteArray>
#include <QString>
#include <functional>
#include <variant>

namespace vantora {

// Has the file system write what it keeps back of a file, without closing it: 0, or -1 with the reason in errno.
// Network file systems, those with quotas among them, find out only when a file is closed that they have no room for
// it.
int closeCopy(int descriptor);

// A file that is open for writing at its end; closed with this object. While it is open nobody may read it, so that
// a file that is not complete opens nowhere and no program makes a picture of it: that is how the person at the desk
// tells it from a finished one. Any one thread at a time.
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

  // Appends `bytes`; the count of those that were written. Less than all of them: the rest was refused (the disk is
  // full, say), and nothing is written any more, so that what is there stays a true beginning.
  qint64 append(QByteArrayView bytes);
  // Closes the file and, unless something was refused, at the end of all this included, lets it be read.
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

// Creates the file `name`, which must not be there, in the folder behind a descriptor; the descriptor of the file, or
// -1 with the reason in errno.
using FileMaker = std::function<int(int folder, const QByteArray& name)>;
int makeNewFile(int folder, const QByteArray& name);

// Creates an empty file in `folder`, under safeFileName(wanted) or, where that is taken (by a file, a folder, a link,
// anything), the first of the following names that is free. The 999th is used even if it is taken: what lies there is
// replaced. Never follows a link inside the folder. A file system that takes no such name (a stick from another system,
// an encrypted home directory) is offered its plainFileName() and what follows from that. The other alternative is the
// system's text of the error.
[[nodiscard]] std::variant<CreatedDownload, QString> createDownload(const QString& folder, const QString& wanted,
                                                                    const FileMaker& make = makeNewFile);

}  // namespace vantora
