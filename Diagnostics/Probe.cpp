#include "Diagnostics/Probe.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <memory>

#include "Diagnostics/PathProbe.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

namespace {

PathCheck pathCheckOf(const Options& options) {
  if (options.checkPath) return options.checkPath;
  return [](const QString& path) { return QFileInfo::exists(path); };
}

QStringList answeringPath(const Options& options, std::chrono::steady_clock::time_point deadline) {
  const QStringList all = options.environment.value(u"PATH"_s).split(u':', Qt::SkipEmptyParts);
  const auto isSystems = [&](const QString& folder) { return options.toolFolders.contains(folder); };
  QStringList users = all;
  users.removeIf(isSystems);
  users.removeDuplicates();
  const QStringList there = answering(users, pathCheckOf(options), deadline);
  QStringList result = all;
  result.removeIf([&](const QString& folder) { return !isSystems(folder) && !there.contains(folder); });
  return result;
}

ShellLimits limitsFor(const Options& options, std::chrono::steady_clock::time_point deadline, const QStringList& path) {
  Variables variables = options.environment;
  if (variables.contains(u"PATH"_s)) variables.insert(u"PATH"_s, path.join(u':'));
  variables.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
  variables.remove(u"LANGUAGE"_s);
  return {.environment = entriesOf(variables), .deadline = deadline, .stop = options.stop};
}

ShellLimits withoutProfile(ShellLimits limits) {
  limits.login = false;
  // Names a file that a shell reads even when it is not a login shell.
  limits.environment.removeIf([](const QString& entry) { return entry.startsWith("BASH_ENV="_L1); });
  return limits;
}

std::vector<InterfaceAddress> kernelAddresses() {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return {};
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
  std::vector<InterfaceAddress> result;
  for (const ifaddrs* entry = first; entry; entry = entry->ifa_next) {
    if (!entry->ifa_addr || !(entry->ifa_flags & IFF_UP)) continue;
    InterfaceAddress found;
    found.interface = QString::fromLocal8Bit(entry->ifa_name);
    found.loopback = entry->ifa_flags & IFF_LOOPBACK;
    char text[INET6_ADDRSTRLEN] = {};
    if (entry->ifa_addr->sa_family == AF_INET) {
      const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
      inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
    } else if (entry->ifa_addr->sa_family == AF_INET6) {
      const auto* address = reinterpret_cast<const sockaddr_in6*>(entry->ifa_addr);
      inet_ntop(AF_INET6, &address->sin6_addr, text, sizeof text);
      found.ipv6 = true;
      found.linkLocal = IN6_IS_ADDR_LINKLOCAL(&address->sin6_addr);
    } else {
      continue;
    }
    found.address = QString::fromLatin1(text);
    result.push_back(found);
  }
  return result;
}

}  // namespace

Probe::Probe(const Options& options)
    : options_(options),
      deadline_(std::chrono::steady_clock::now() + options.deadline),
      path_(answeringPath(options_, deadline_)),
      limits_(limitsFor(options_, deadline_, path_)),
      plainLimits_(withoutProfile(limits_)) {}

bool Probe::isOver() const {
  return limits_.stop.stop_requested() || std::chrono::steady_clock::now() >= limits_.deadline;
}

QString Probe::sh(const QString& commandLine) const {
  if (isOver()) return {};
  if (options_.runner) return options_.runner(commandLine, kCommandSeconds);
  return Diagnostics::sh(commandLine, kCommandSeconds, limits_);
}

QString Probe::plain(const QString& commandLine) const {
  if (isOver()) return {};
  if (options_.runner) return options_.runner(commandLine, kCommandSeconds);
  return Diagnostics::sh(commandLine, kCommandSeconds, plainLimits_);
}

QString Probe::tool(const QString& name) const {
  for (const QString& folder : path_ + options_.toolFolders) {
    const QFileInfo file(QDir(folder), name);
    if (file.isAbsolute() && file.isFile() && file.isExecutable()) return quoted(file.filePath());
  }
  return {};
}

bool Probe::hasSystemBus() const {
  return options_.environment.contains(u"DBUS_SYSTEM_BUS_ADDRESS"_s) || exists(u"/run/dbus/system_bus_socket"_s);
}

QString Probe::under(const QString& path) const {
  return options_.root == "/"_L1 ? path : QDir::cleanPath(options_.root + path);
}

bool Probe::exists(const QString& path) const { return QFileInfo::exists(under(path)); }

bool Probe::answers(const QString& path) const {
  return !answering({under(path)}, pathCheckOf(options_), deadline()).isEmpty();
}

QByteArray Probe::bytes(const QString& path, qint64 limit) const {
  const QString place = under(path);
  // A pipe or a device could block.
  if (!QFileInfo(place).isFile()) return {};
  QFile file(place);
  if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) return {};
  // Files of the kernel report a size of 0, and some return less per read than there is.
  QByteArray result;
  while (result.size() < limit) {
    const QByteArray piece = file.read(qMin<qint64>(limit - result.size(), 1 << 16));
    if (piece.isEmpty()) break;
    result += piece;
  }
  return result;
}

QString Probe::text(const QString& path, qint64 limit) const { return QString::fromUtf8(bytes(path, limit)).trimmed(); }

QStringList Probe::names(const QString& folder, const QString& pattern) const {
  const QStringList patterns = pattern.isEmpty() ? QStringList() : QStringList(pattern);
  return QDir(under(folder))
      .entryList(patterns, QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

QString Probe::variable(const QString& name) const { return options_.environment.value(name); }

QString Probe::home() const {
  const QString named = variable(u"HOME"_s);
  return named.startsWith(u'/') ? named : QDir::homePath();
}

QString Probe::userFolder(const QString& variableName, const QString& usual) const {
  const QString named = variable(variableName);
  return named.startsWith(u'/') ? named : home() + u'/' + usual;
}

std::vector<InterfaceAddress> Probe::interfaceAddresses() const {
  return options_.interfaceAddresses ? options_.interfaceAddresses() : kernelAddresses();
}

QString quoted(const QString& text) {
  QString inner = text;
  return u'\'' + inner.replace(u'\'', u"'\\''"_s) + u'\'';
}

QString doubleQuoted(const QString& text) {
  QString result = u"\""_s;
  for (const QChar character : text) {
    if (u"\"\\$`"_s.contains(character)) result += u'\\';
    result += character;
  }
  return result + u'"';
}

}  // namespace vantora::Diagnostics
