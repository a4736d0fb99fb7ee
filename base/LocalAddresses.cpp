#include "base/LocalAddresses.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace vantora {
namespace {

// The rest of a change follows its first announcement within this time.
constexpr std::chrono::milliseconds kSettling{30};

QString textOf(const sockaddr& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const void* bytes = nullptr;
  if (address.sa_family == AF_INET) bytes = &reinterpret_cast<const sockaddr_in&>(address).sin_addr;
  if (address.sa_family == AF_INET6) bytes = &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
  if (!bytes || !inet_ntop(address.sa_family, bytes, text.data(), text.size())) return {};
  return QString::fromLatin1(text.data());
}

bool isLinkLocalV6(const sockaddr& address) {
  return address.sa_family == AF_INET6 &&
         IN6_IS_ADDR_LINKLOCAL(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
}

int openAnnouncements() {
  const int socket = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
  if (socket < 0) return -1;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
  if (bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return socket;
  ::close(socket);
  return -1;
}

}  // namespace

LocalAddresses readLocalAddresses() {
  LocalAddresses result;
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return result;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> list(first, &freeifaddrs);
  for (const ifaddrs* each = list.get(); each; each = each->ifa_next) {
    constexpr unsigned kUsable = IFF_UP | IFF_RUNNING;
    if (!each->ifa_addr || (each->ifa_flags & kUsable) != kUsable) continue;
    const QString text = textOf(*each->ifa_addr);
    if (text.isEmpty()) continue;
    result.all.append(text);
    if ((each->ifa_flags & IFF_LOOPBACK) == 0 && !isLinkLocalV6(*each->ifa_addr)) result.online = true;
  }
  result.all.sort();
  return result;
}

LocalAddressesWatch::LocalAddressesWatch(Scheduler& scheduler, Changed changed)
    : scheduler_(scheduler), changed_(std::move(changed)), socket_(openAnnouncements()) {
  // After the socket was opened: a change in between is announced.
  last_ = readLocalAddresses();
  if (socket_ < 0) return;
  notifier_ = std::make_unique<QSocketNotifier>(socket_, QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { announced(); });
}

LocalAddressesWatch::~LocalAddressesWatch() {
  notifier_.reset();
  if (socket_ >= 0) ::close(socket_);
}

void LocalAddressesWatch::announced() {
  // Announcements only say when to look; an overflow of the socket (ENOBUFS) says the same and is read like one.
  std::array<char, 8192> discarded;
  while (recv(socket_, discarded.data(), discarded.size(), 0) > 0) continue;
  if (settling_) return;
  settling_ = scheduler_.after(kSettling, [this] { compare(); });
}

void LocalAddressesWatch::compare() {
  settling_.reset();
  LocalAddresses addresses = readLocalAddresses();
  if (addresses == last_) return;
  last_ = std::move(addresses);
  changed_(last_);
}

}  // namespace vantora
