#include "main/desktop/ProgramInMemory.h"

#include <fcntl.h>
#include <linux/memfd.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#ifndef MFD_EXEC
#define MFD_EXEC 0x0010U
#endif

namespace vantora {
namespace {

bool writeAll(int file, QByteArrayView bytes) {
  while (!bytes.isEmpty()) {
    const ssize_t written = write(file, bytes.data(), static_cast<size_t>(bytes.size()));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.sliced(written);
  }
  return true;
}

// The pages of `bytes` come from this process's file again when they are needed.
void forgetPages(QByteArrayView bytes) {
  const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const uintptr_t from = (reinterpret_cast<uintptr_t>(bytes.begin()) + page - 1) / page * page;
  const uintptr_t to = reinterpret_cast<uintptr_t>(bytes.end()) / page * page;
  if (from < to) madvise(reinterpret_cast<void*>(from), to - from, MADV_DONTNEED);  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace

QString programInMemory(QByteArrayView image, const char* name) {
  // Systems before Linux 6.3 do not know MFD_EXEC.
  int file = memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING | MFD_EXEC);
  if (file < 0) file = memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (file < 0) return {};
  // Sealed: other processes of this user could write to it through /proc.
  const bool whole =
      writeAll(file, image) && fcntl(file, F_ADD_SEALS, F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE) == 0;
  forgetPages(image);
  if (!whole) {
    close(file);
    return {};
  }
  QString path = QStringLiteral("/proc/self/fd/%1").arg(file);
  if (access(path.toLatin1().constData(), X_OK) == 0) return path;
  close(file);
  return {};
}

}  // namespace vantora
