// A desktop process without a desktop: sends "ready", then follows commands. With DESKTOP_DOUBLE_ECHOES set it repeats
// every message as chat of its user. A state with the room "die" or "hang" makes it exit or hang, and a state with JSON
// text as its preset makes it send that text. "farewell" makes it send "goodbye" and exit at once.
#include <dirent.h>
#include <unistd.h>

#include <QCoreApplication>
#include <csignal>
#include <cstdlib>
#include <memory>

#include "main/desktop/DesktopLink.h"
#include "main/desktop/DesktopProcess.h"

int main(int argc, char* argv[]) {
  using namespace Qt::Literals::StringLiterals;
  QCoreApplication application(argc, argv);
  const char* descriptor = std::getenv(vantora::DesktopProcess::kLinkVariable);
  if (!descriptor) return 2;
  int descriptors = 0;
  if (DIR* folder = opendir("/proc/self/fd")) {
    while (readdir(folder)) ++descriptors;
    closedir(folder);
  }
  std::unique_ptr<vantora::DesktopLink> link;
  link = std::make_unique<vantora::DesktopLink>(
      std::atoi(descriptor),
      vantora::DesktopLink::Events{.message =
                                       [&](const vantora::JsonObject& message) {
                                         const QString type = message.value("type"_L1).toString();
                                         const QString room = message.value("room"_L1).toString();
                                         if (type == "die"_L1 || room == "die"_L1) _exit(1);
                                         if (type == "farewell"_L1) {
                                           link->send({{u"type"_s, u"goodbye"_s}});
                                           _exit(0);
                                         }
                                         if (type == "hang"_L1 || room == "hang"_L1) pause();
                                         if (type == "garbage"_L1 &&
                                             write(std::atoi(descriptor), "\xff\xff\xff\xff", 4) != 4)
                                           _exit(1);
                                         if (std::getenv("DESKTOP_DOUBLE_ECHOES")) {
                                           const QString received = QString::fromUtf8(vantora::toJson(message));
                                           link->send({{u"type"_s, u"chat_send"_s}, {u"text"_s, received}});
                                         }
                                         const QByteArray preset = message.value("preset"_L1).toString().toUtf8();
                                         if (const auto reply = vantora::parseJsonObject(preset)) link->send(*reply);
                                         if (type == "ping"_L1) return link->send({{u"type"_s, u"pong"_s}});
                                         link->send({{u"type"_s, u"echo"_s}, {u"of"_s, message}});
                                       },
                                   .lost = [] { QCoreApplication::quit(); }});
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  const bool anyBlocked =
      sigismember(&blocked, SIGTERM) || sigismember(&blocked, SIGINT) || sigismember(&blocked, SIGHUP);
  link->send({{u"type"_s, u"ready"_s},
              {u"pid"_s, getpid()},
              {u"descriptors"_s, descriptors},
              {u"signalsBlocked"_s, anyBlocked}});
  return QCoreApplication::exec();
}
