#include "platform/linux/atspi/AtSpiBus.h"

#include <algorithm>
#include <string_view>

#include "base/SessionBusAddress.h"

namespace vantora::atspi {
namespace {

// Whether `address` names only sockets of this machine. It is a list whose entries are tried in turn; some forms start
// a program instead, and any client of the window system can set the address.
bool namesOnlySockets(std::string_view address) {
  bool any = false;
  while (!address.empty()) {
    const std::string_view entry = address.substr(0, address.find(';'));
    address.remove_prefix(std::min(entry.size() + 1, address.size()));
    if (entry.empty()) continue;
    if (!entry.starts_with("unix:")) return false;
    any = true;
  }
  return any;
}

std::string addressFromSession(const std::string& sessionAddress, Deadline deadline) {
  if (!namesOnlySockets(sessionAddress)) return {};
  DBusFailure failure{};
  const auto session = DBusCaller::connect(sessionAddress, deadline, failure);
  if (!session) return {};
  const auto reply = session->call({"org.a11y.Bus", "/org/a11y/bus"}, "org.a11y.Bus", "GetAddress", {}, deadline);
  return reply ? reply->text().value_or(std::string()) : std::string();
}

}  // namespace

BusEnvironment readBusEnvironment(const Environment& environment) {
  BusEnvironment found;
  found.address = environment.nonEmpty("AT_SPI_BUS_ADDRESS").value_or(QString()).toStdString();
  found.sessionAddress = sessionBusAddress(environment).toStdString();
  return found;
}

OpenedBus openBus(const BusEnvironment& environment, const std::function<std::string()>& otherAddress,
                  Deadline deadline) {
  std::string address = environment.address;
  if (address.empty()) address = addressFromSession(environment.sessionAddress, deadline);
  if (address.empty()) address = otherAddress();
  if (!namesOnlySockets(address)) return {};
  DBusFailure failure{};
  auto caller = DBusCaller::connect(address, deadline, failure);
  if (caller) {
    // A bus without a registry has no applications.
    if (caller->call(kRegistry, kAccessible, "GetRole", {}, deadline)) {
      return {AccessibilityTrust::granted, std::move(caller)};
    }
    failure = caller->failure();
  }
  return {failure == DBusFailure::refused ? AccessibilityTrust::refused : AccessibilityTrust::absent, nullptr};
}

}  // namespace vantora::atspi
