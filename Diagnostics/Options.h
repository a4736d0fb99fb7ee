#pragma once

#include <QString>
#include <QStringList>
#include <chrono>
#include <functional>
#include <stop_token>
#include <vector>

#include "Diagnostics/Variables.h"

namespace vantora::Diagnostics {

// One address of one network interface, as the kernel lists it.
struct InterfaceAddress {
  QString interface;
  QString address;  // numeric, without a scope
  bool ipv6 = false;
  bool loopback = false;
  bool linkLocal = false;
};

// The sources of a report and its time limit. A plain value: copies are independent, and everything outside the process
// (commands, files, addresses) can be replaced. The functions are called from several threads at once. One that may
// never return must own or share all that it uses: the report ends without it.
struct Options {
  // Fetched to detect a captive portal, which responds instead; a page whose text contains "success".
  QString captivePageUrl = QStringLiteral("http://detectportal.firefox.com/success.txt");
  // A public resolver, pinged once.
  QString internetAddress = QStringLiteral("9.9.9.9");

  // The environment of the commands; HOME, PATH, the XDG folders and the proxy variables are read from it as well.
  Variables environment = ownVariables();
  // Folders that are searched for tools after PATH: the administrator's folders are missing from an ordinary user's
  // PATH.
  QStringList toolFolders = {QStringLiteral("/usr/local/sbin"), QStringLiteral("/usr/sbin"), QStringLiteral("/sbin"),
                             QStringLiteral("/usr/local/bin"),  QStringLiteral("/usr/bin"),  QStringLiteral("/bin")};
  // The folder that stands for "/" when files of the system (/proc, /sys, /etc, /var) are read.
  QString root = QStringLiteral("/");

  // Runs a command line within a time limit in seconds and returns its trimmed output; empty: `sh`.
  std::function<QString(const QString& commandLine, double timeoutSeconds)> runner;
  // Whether a path exists that the user or the administrator chose. It may be on a network file system: the call may
  // never return. Empty: asks the file system.
  std::function<bool(const QString& path)> checkPath;
  // The addresses of this machine; empty: the kernel's list.
  std::function<std::vector<InterfaceAddress>()> interfaceAddresses;

  // Time limit of the whole report: commands running by then are killed, later ones are not started, and pieces that
  // have not returned are left out.
  std::chrono::milliseconds deadline{10'000};
  // Collectors that run in parallel, 1 to 8.
  int workers = 4;
  // Ends the report early, with what is known by then; commands are killed.
  std::stop_token stop;
};

}  // namespace vantora::Diagnostics
