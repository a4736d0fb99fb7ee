#include "platform/linux/atspi/AtSpiBus.h"

#include <QFileInfo>

namespace vantora::atspi {
namespace {

// Addresses that would start a bus instead of finding one.
bool startsSomething(const std::string& address) {
  return address.starts_with("autolaunch:") || address.starts_with("unixexec:");
}

std::string addressFromSession(const std::string& sessionAddress, Deadline deadline) {
  if (sessionAddress.empty() || startsSomething(sessionAddress)) return {};
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
  if (const auto session = environment.nonEmpty("DBUS_SESSION_BUS_ADDRESS")) {
    found.sessionAddress = session->toStdString();
  } else if (const auto runtime = environment.nonEmpty("XDG_RUNTIME_DIR")) {
    const QString socket = *runtime + QStringLiteral("/bus");
    if (QFileInfo::exists(socket)) found.sessionAddress = "unix:path=" + socket.toStdString();
  }
  return found;
}

OpenedBus openBus(const BusEnvironment& environment, const std::function<std::string()>& otherAddress,
                  Deadline deadline) {
  std::string address = environment.address;
  if (address.empty()) address = addressFromSession(environment.sessionAddress, deadline);
  if (address.empty()) address = otherAddress();
  if (address.empty() || startsSomething(address)) return {};
  DBusFailure failure{};
  auto caller = DBusCaller::connect(address, deadline, failure);
  if (caller) {
    // A bus without a registry has no applications on it.
    if (caller->call(kRegistry, kAccessible, "GetRole", {}, deadline)) {
      return {AccessibilityTrust::granted, std::move(caller)};
    }
    failure = caller->failure();
  }
  return {failure == DBusFailure::refused ? AccessibilityTrust::refused : AccessibilityTrust::absent, nullptr};
}

}  // namespace vantora::atspi
