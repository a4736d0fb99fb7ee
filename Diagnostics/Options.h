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

// What a report is taken from and how long it may take. A plain value: copies are independent, and everything that
// reaches outside (commands, files, addresses) can be replaced. The functions are called from several threads at once,
// and what they use must be theirs or shared if they may not return: a report does not wait for them for ever.
struct Options {
  // Fetched to see whether a captive portal answers instead; a page whose text holds "success".
  QString captivePageUrl = QStringLiteral("http://detectportal.firefox.com/success.txt");
  // A public resolver, pinged once.
  QString internetAddress = QStringLiteral("9.9.9.9");

  // The environment of the commands; HOME, PATH, the XDG folders and the proxy variables are read from it as well.
  Variables environment = ownVariables();
  // Where tools are looked for after PATH: the administrator's folders are missing from an ordinary user's PATH.
  QStringList toolFolders = {QStringLiteral("/usr/local/sbin"), QStringLiteral("/usr/sbin"), QStringLiteral("/sbin"),
                             QStringLiteral("/usr/local/bin"),  QStringLiteral("/usr/bin"),  QStringLiteral("/bin")};
  // The folder that stands for "/" when files of the system (/proc, /sys, /etc, /var) are read.
  QString root = QStringLiteral("/");

  // Runs a command line within a time limit in seconds and gives its trimmed output; empty: `sh`.
  std::function<QString(const QString& commandLine, double timeoutSeconds)> runner;
  // Tells whether something is at a path of the user's or the administrator's choice, which may lie on a network; need
  // not return. Empty: asks the file system.
  std::function<bool(const QString& path)> look;
  // The addresses of this machine; empty: the kernel's list.
  std::function<std::vector<InterfaceAddress>()> interfaceAddresses;

  // The whole report takes no longer: commands running by then are killed, later ones are not started, and what else
  // has not come back is left out.
  std::chrono::milliseconds deadline{10'000};
  // Collectors at work side by side, 1 to 8.
  int workers = 4;
  // Ends the report early, with what is known by then; commands are killed.
  std::stop_token stop;
};

}  // namespace vantora::Diagnostics
