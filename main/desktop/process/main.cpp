#include <sys/prctl.h>

#include <QCoreApplication>
#include <QFile>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

#include "base/FreeMemory.h"
#include "base/Log.h"
#include "main/desktop/process/DesktopMain.h"

int main(int argc, char* argv[]) {
  vantora::tuneAllocator();
  vantora::silenceToolkit();
  const auto descriptor = vantora::desktopLinkDescriptor();
  if (!descriptor || argc != 2) {
    (void)std::fputs("vantora-host-desktop is started by vantora-host\n", stderr);
    return 1;
  }
  // Windows and lists of processes show the name of the program that the user has started.
  constexpr std::string_view kName = "vantora-host";
  QCoreApplication::setApplicationName(QString::fromLatin1(kName));
  prctl(PR_SET_NAME, kName.data());
  const std::span own(argv[0], std::strlen(argv[0]));
  std::ranges::fill(own, '\0');
  std::ranges::copy(kName.substr(0, own.size()), own.begin());
  return vantora::runDesktopProcess(*descriptor, QFile::decodeName(argv[1]), argc, argv);
}
