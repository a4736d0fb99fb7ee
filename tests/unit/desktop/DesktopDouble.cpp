// A desktop process without a desktop: says that it is ready, then does as it is told.
#include <dirent.h>
#include <unistd.h>

#include <QCoreApplication>
#include <cstdlib>
#include <memory>

#include "main/desktop/DesktopLink.h"
#include "main/desktop/DesktopProcess.h"

int main(int argc, char* argv[]) {
  using namespace Qt::Literals::StringLiterals;
  QCoreApplication application(argc, argv);
  const char* line = std::getenv(vantora::DesktopProcess::kLinkVariable);
  if (!line) return 2;
  int descriptors = 0;
  if (DIR* folder = opendir("/proc/self/fd")) {
    while (readdir(folder)) ++descriptors;
    closedir(folder);
  }
  std::unique_ptr<vantora::DesktopLink> link;
  link = std::make_unique<vantora::DesktopLink>(
      std::atoi(line),
      vantora::DesktopLink::Events{.message =
                                       [&](const vantora::JsonObject& message) {
                                         const QString type = message.value("type"_L1).toString();
                                         if (type == "die"_L1) _exit(1);
                                         if (type == "hang"_L1) pause();
                                         if (type == "garbage"_L1 && write(std::atoi(line), "\xff\xff\xff\xff", 4) != 4)
                                           _exit(1);
                                         if (type == "ping"_L1) return link->send({{u"type"_s, u"pong"_s}});
                                         link->send({{u"type"_s, u"echo"_s}, {u"of"_s, message}});
                                       },
                                   .lost = [] { QCoreApplication::quit(); }});
  link->send({{u"type"_s, u"ready"_s}, {u"pid"_s, getpid()}, {u"descriptors"_s, descriptors}});
  return QCoreApplication::exec();
}
