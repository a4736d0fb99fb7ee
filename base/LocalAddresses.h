// The addresses of this machine, and their changes.
#pragma once

#include <QSocketNotifier>
#include <QStringList>
#include <functional>
#include <memory>

#include "base/Scheduler.h"

namespace vantora {

struct LocalAddresses {
  // Textual IPv4 and IPv6 addresses of all interfaces that are up and have a link, sorted, without zone: "10.0.0.5",
  // "fe80::1", "127.0.0.1".
  QStringList all = {};
  // Whether one of them reaches other machines: neither of the loopback interface nor link-local IPv6.
  bool online = false;

  bool operator==(const LocalAddresses&) const = default;
};

LocalAddresses readLocalAddresses();

// Reports changes of LocalAddresses as the kernel announces them, a moment later, so that addresses that are replaced
// together are one change. Without access to the announcements it reports nothing. Thread: main. Owner: the
// application.
class LocalAddressesWatch {
 public:
  using Changed = std::function<void(const LocalAddresses&)>;

  // `scheduler` must outlive this object.
  LocalAddressesWatch(Scheduler& scheduler, Changed changed);
  ~LocalAddressesWatch();
  LocalAddressesWatch(const LocalAddressesWatch&) = delete;
  LocalAddressesWatch& operator=(const LocalAddressesWatch&) = delete;

 private:
  void announced();
  void compare();

  Scheduler& scheduler_;
  const Changed changed_;
  LocalAddresses last_;
  int socket_ = -1;
  std::unique_ptr<QSocketNotifier> notifier_;
  std::unique_ptr<Timer> settling_;
};

}  // namespace vantora
