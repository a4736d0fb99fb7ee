// Reads the element under the pointer from the accessibility bus.
#pragma once

#include <map>
#include <memory>

#include "platform/Accessibility.h"
#include "platform/WindowFinder.h"
#include "platform/linux/atspi/AtSpiBus.h"
#include "platform/linux/atspi/AtSpiRoles.h"

namespace vantora::atspi {

// Thread: one, its owner's. Every read is bounded in time; an application that does not reply is skipped for a while
// afterwards. Data from applications is not trusted: lists are truncated, cycles end.
class AtSpiReader {
 public:
  // `windows` must outlive the reader.
  AtSpiReader(std::unique_ptr<DBusCaller> caller, WindowFinder& windows)
      : caller_(std::move(caller)), windows_(windows) {}

  // The element under the pointer and its ancestors, at most `maximum` altogether; blocks until `deadline` at most.
  PointedElements read(int maximum, Deadline deadline);
  // False when the connection to the bus is lost; then the reader is unusable.
  bool connected() const { return caller_->connected(); }

 private:
  struct TopLevel {
    ObjectRef object;
    double scale = 1;  // Desktop pixels for each unit of the application.
  };

  std::optional<std::string> applicationOf(pid_t process, Deadline deadline);
  void refreshApplications(Deadline deadline);
  std::optional<TopLevel> topLevelOf(const std::string& application, const PointedWindow& window, Deadline deadline);
  ObjectRef deepestAt(const TopLevel& top, const QPointF& pointer, Deadline deadline);
  AccessibleElement describe(const ObjectRef& object, const TopLevel& top, const PointedWindow& window, bool pointed,
                             Deadline deadline);
  std::optional<AccessibleElement> dividerAt(const ObjectRef& object, Role role, Deadline deadline);
  std::optional<Role> roleOf(const ObjectRef& object, Deadline deadline);
  std::optional<QRectF> extentsOf(const ObjectRef& object, Deadline deadline);
  std::optional<ObjectRef> parentOf(const ObjectRef& object, Deadline deadline);
  std::optional<DBusReply> call(const ObjectRef& object, const char* interface, const char* method,
                                const std::vector<DBusCaller::Argument>& arguments, Deadline deadline);

  std::unique_ptr<DBusCaller> caller_;
  WindowFinder& windows_;
  std::map<std::string, pid_t> applications_;  // Process of each application on the bus, by its bus name.
  std::optional<Deadline> refreshed_;
  std::map<std::string, Deadline> silent_;  // Applications that did not reply, and until when they are skipped.
};

}  // namespace vantora::atspi
