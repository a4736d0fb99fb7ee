#include <QCoreApplication>
#include <cstdio>

#include "base/FreeMemory.h"
#include "base/Log.h"
#include "main/desktop/process/DesktopMain.h"

int main(int argc, char* argv[]) {
  vantora::tuneAllocator();
  vantora::silenceToolkit();
  const auto descriptor = vantora::desktopLinkDescriptor();
  if (!descriptor) {
    (void)std::fputs("vantora-host-desktop is started by vantora-host\n", stderr);
    return 1;
  }
  // Windows carry the name of the program that the user has started.
  QCoreApplication::setApplicationName(QStringLiteral("vantora-host"));
  char name[] = "vantora-host";
  if (argc > 0) argv[0] = name;
  return vantora::runDesktopProcess(*descriptor, argc, argv);
}
