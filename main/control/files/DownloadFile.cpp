#include "main/control/files/DownloadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <cerrno>
#include <system_error>
#include <utility>

#include "main/control/files/SafeFileName.h"

namespace vantora {
namespace {

constexpr int kLastSuffix = 999;
constexpr unsigned kReadBits = S_IRUSR | S_IRGRP | S_IROTH;

QString errorText(int error) { return QString::fromStdString(std::system_category().message(error)); }

bool refusesTheName(int error) { return error == EINVAL || error == ENAMETOOLONG; }

}  // namespace

// O_EXCL: an existing entry of that name, even a link, is neither followed nor changed.
int makeNewFile(int folder, const QByteArray& name) {
  return ::openat(folder, name.constData(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
}

int closeCopy(int descriptor) {
  const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  // Without a free descriptor nothing can be checked.
  return copy < 0 ? 0 : ::close(copy);
}

DownloadFile::~DownloadFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

DownloadFile::DownloadFile(DownloadFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      finishedMode_(other.finishedMode_),
      settle_(other.settle_),
      damaged_(other.damaged_) {}

DownloadFile& DownloadFile::operator=(DownloadFile&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  std::swap(finishedMode_, other.finishedMode_);
  std::swap(settle_, other.settle_);
  std::swap(damaged_, other.damaged_);
  return *this;
}

qint64 DownloadFile::append(QByteArrayView bytes) {
  if (damaged_ || descriptor_ < 0) return 0;
  qint64 written = 0;
  while (written < bytes.size()) {
    const ssize_t count = ::write(descriptor_, bytes.data() + written, static_cast<size_t>(bytes.size() - written));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      damaged_ = true;
      break;
    }
    written += count;
  }
  return written;
}

void DownloadFile::finish() {
  if (descriptor_ < 0) return;
  damaged_ = damaged_ || settle_(descriptor_) != 0;
  if (!damaged_) ::fchmod(descriptor_, finishedMode_);
  ::close(std::exchange(descriptor_, -1));
}

std::variant<CreatedDownload, QString> createDownload(const QString& folder, const QString& wanted,
                                                      const FileMaker& make) {
  const QByteArray folderPath = QFile::encodeName(folder);
  const int directory = ::open(folderPath.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return errorText(errno);
  QByteArray name = safeFileName(wanted);
  int descriptor = make(directory, name);
  bool plain = false;
  for (int n = 1; descriptor < 0;) {
    if (!plain && refusesTheName(errno)) {
      plain = true;
      name = plainFileName(name);
    } else if (errno == EEXIST && n <= kLastSuffix) {
      name = nextFileName(name, n++, plain ? kMaxPlainNameBytes : kMaxFileNameBytes);
    } else {
      break;
    }
    descriptor = make(directory, name);
  }
  if (descriptor < 0 && errno == EEXIST && ::unlinkat(directory, name.constData(), 0) == 0) {
    descriptor = make(directory, name);
  }
  const int error = errno;
  ::close(directory);
  if (descriptor < 0) return errorText(error);

  struct stat status = {};
  ::fstat(descriptor, &status);
  const unsigned mode = status.st_mode & 0777U;
  ::fchmod(descriptor, mode & ~kReadBits);
  return CreatedDownload{DownloadFile(descriptor, mode), folderPath + '/' + name, name};
}

}  // namespace vantora
