#include "platform/linux/atspi/AtSpiReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace vantora::atspi {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* kComponent = "org.a11y.atspi.Component";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kRootPath = "/org/a11y/atspi/accessible/root";
constexpr std::uint32_t kScreenCoordinates = 0;
constexpr auto kBetweenRefreshes = 1s;
constexpr auto kLeftAlone = 2s;
constexpr std::size_t kMaxTopLevels = 32;
constexpr int kMaxLevels = 32;
// Pixels on each side. More than a title bar or a shadow has, less than the distance between a menu and the window
// below it.
constexpr double kDecoration = 64;
// Display scales at which toolkits use their own units.
constexpr std::array kScales{1.25, 1.5, 1.75, 2.0, 2.5, 3.0, 4.0};

// Pixels for each unit of `extents`, given the window's place `client`; 1 unless the widths match another scale
// closely.
double scaleOf(const QRectF& extents, const QRectF& client) {
  if (extents.width() < 1) return 1;
  const double ratio = client.width() / extents.width();
  for (const double scale : kScales) {
    if (std::abs(ratio / scale - 1) < 0.02) return scale;
  }
  return 1;
}

QRectF scaled(const QRectF& rect, double scale) {
  return {rect.x() * scale, rect.y() * scale, rect.width() * scale, rect.height() * scale};
}

double distance(const QRectF& one, const QRectF& other) {
  return std::abs(one.x() - other.x()) + std::abs(one.y() - other.y()) + std::abs(one.width() - other.width()) +
         std::abs(one.height() - other.height());
}

// Applications differ in whether decoration and shadow are included.
bool nearlyEqual(const QRectF& one, const QRectF& other) {
  return std::abs(one.left() - other.left()) <= kDecoration && std::abs(one.top() - other.top()) <= kDecoration &&
         std::abs(one.right() - other.right()) <= kDecoration && std::abs(one.bottom() - other.bottom()) <= kDecoration;
}

}  // namespace

std::optional<DBusReply> AtSpiReader::call(const ObjectRef& object, const char* interface, const char* method,
                                           const std::vector<DBusCaller::Argument>& arguments, Deadline deadline) {
  if (silent_.contains(object.name) || Clock::now() >= deadline) return std::nullopt;
  auto reply = caller_->call(object, interface, method, arguments, deadline);
  if (!reply && caller_->failure() == DBusFailure::timedOut) silent_[object.name] = Clock::now() + kLeftAlone;
  return reply;
}

PointedElements AtSpiReader::read(int maximum, Deadline deadline) {
  std::erase_if(silent_, [](const auto& entry) { return entry.second < Clock::now(); });
  const auto window = windows_.pointedWindow(deadline);
  if (!window) return {};
  PointedElements found{.pointer = window->pointer};
  const auto application = applicationOf(window->process, deadline);
  if (!application) return found;
  const auto top = topLevelOf(*application, *window, deadline);
  if (!top) return found;

  ObjectRef object = deepestAt(*top, window->pointer / top->scale, deadline);
  for (int level = 0; level < maximum; ++level) {
    found.elements.push_back(describe(object, *top, *window, level == 0, deadline));
    if (object == top->object) break;
    auto parent = parentOf(object, deadline);
    if (!parent || parent->path == kRootPath) break;
    object = std::move(*parent);
  }
  // An incomplete chain could contain an outer element without the inner one that matters.
  if (silent_.contains(*application) || Clock::now() >= deadline) found.elements.clear();
  return found;
}

std::optional<std::string> AtSpiReader::applicationOf(pid_t process, Deadline deadline) {
  if (process == 0) return std::nullopt;
  for (const bool fresh : {false, true}) {
    if (fresh) {
      if (refreshed_ && Clock::now() - *refreshed_ < kBetweenRefreshes) break;
      refreshApplications(deadline);
    }
    for (const auto& [name, owner] : applications_) {
      if (owner == process) return name;
    }
  }
  return std::nullopt;
}

void AtSpiReader::refreshApplications(Deadline deadline) {
  refreshed_ = Clock::now();
  const auto reply = call(kRegistry, kAccessible, "GetChildren", {}, deadline);
  const auto children = reply ? reply->objects() : std::nullopt;
  if (!children) return;
  std::map<std::string, pid_t> applications;
  for (const ObjectRef& child : *children) {
    if (const auto known = applications_.find(child.name); known != applications_.end()) {
      applications.insert(*known);
      continue;
    }
    const auto process = call({"org.freedesktop.DBus", "/org/freedesktop/DBus"}, "org.freedesktop.DBus",
                              "GetConnectionUnixProcessID", {child.name}, deadline);
    const auto number = process ? process->number() : std::nullopt;
    if (number) applications.emplace(child.name, static_cast<pid_t>(*number));
  }
  applications_ = std::move(applications);
}

// The application's window that is closest to the place given by the window system, within the size of the decoration.
// Empty for a menu or tooltip that the application does not list as a window: what lies behind it is not under the
// pointer.
std::optional<AtSpiReader::TopLevel> AtSpiReader::topLevelOf(const std::string& application,
                                                             const PointedWindow& window, Deadline deadline) {
  const auto reply = call({application, kRootPath}, kAccessible, "GetChildren", {}, deadline);
  const auto children = reply ? reply->objects() : std::nullopt;
  if (!children) return std::nullopt;
  std::optional<TopLevel> best;
  double nearest = std::numeric_limits<double>::infinity();
  for (std::size_t index = 0; index < std::min(children->size(), kMaxTopLevels); ++index) {
    const ObjectRef& child = (*children)[index];
    const auto extents = extentsOf(child, deadline);
    if (!extents) continue;
    const double scale = scaleOf(*extents, window.client);
    const QRectF place = scaled(*extents, scale);
    if (!nearlyEqual(place, window.client) && !nearlyEqual(place, window.frame)) continue;
    const double far = std::min(distance(place, window.client), distance(place, window.frame));
    if (far >= nearest) continue;
    nearest = far;
    best = TopLevel{child, scale};
  }
  return best;
}

// Some applications return the innermost element, others the next inner one.
ObjectRef AtSpiReader::deepestAt(const TopLevel& top, const QPointF& pointer, Deadline deadline) {
  ObjectRef object = top.object;
  for (int level = 0; level < kMaxLevels; ++level) {
    const auto reply = call(object, kComponent, "GetAccessibleAtPoint",
                            {static_cast<std::int32_t>(std::floor(pointer.x())),
                             static_cast<std::int32_t>(std::floor(pointer.y())), kScreenCoordinates},
                            deadline);
    auto inner = reply ? reply->object() : std::nullopt;
    if (!inner || *inner == object) break;
    object = std::move(*inner);
  }
  return object;
}

AccessibleElement AtSpiReader::describe(const ObjectRef& object, const TopLevel& top, const PointedWindow& window,
                                        bool pointed, Deadline deadline) {
  const Role role = roleOf(object, deadline).value_or(Role::unknown);
  if (object == top.object) {
    if (!window.resizable) return namesOf(role);
    // Whatever its role: this is what the user sees as the window.
    AccessibleElement element = namesOf(isWindow(role) ? role : Role::window);
    element.frame = window.frame;
    return element;
  }
  if (pointed) {
    if (const auto divider = dividerAt(object, role, deadline)) return *divider;
  }
  AccessibleElement element = namesOf(role);
  if (isWindow(role)) {
    if (const auto extents = extentsOf(object, deadline)) element.frame = scaled(*extents, top.scale);
  }
  if (role == Role::unknown || role == Role::extended) {
    const auto name = call(object, kAccessible, "GetRoleName", {}, deadline);
    element.roleDescription = QString::fromStdString(name ? name->text().value_or("") : "");
  }
  return element;
}

// When a split pane itself, and none of its children, is under the pointer, its divider is there. Qt has a separate
// element for that, a "grip", which it also uses for the corners of windows.
std::optional<AccessibleElement> AtSpiReader::dividerAt(const ObjectRef& object, Role role, Deadline deadline) {
  if (role == Role::splitPane) {
    const auto reply = call(object, kAccessible, "GetState", {}, deadline);
    const auto words = reply ? reply->numbers() : std::nullopt;
    if (!words || words->empty()) return std::nullopt;
    if ((words->front() & (kHorizontal | kVertical)) == 0) return std::nullopt;
    return divider((words->front() & kHorizontal) != 0);
  }
  if (role != Role::unknown) return std::nullopt;
  const auto parent = parentOf(object, deadline);
  if (!parent || roleOf(*parent, deadline) != Role::splitPane) return std::nullopt;
  const auto extents = extentsOf(object, deadline);
  if (!extents) return std::nullopt;
  return divider(extents->height() > extents->width());
}

std::optional<Role> AtSpiReader::roleOf(const ObjectRef& object, Deadline deadline) {
  const auto reply = call(object, kAccessible, "GetRole", {}, deadline);
  const auto number = reply ? reply->number() : std::nullopt;
  return number ? std::optional(static_cast<Role>(*number)) : std::nullopt;
}

std::optional<QRectF> AtSpiReader::extentsOf(const ObjectRef& object, Deadline deadline) {
  const auto reply = call(object, kComponent, "GetExtents", {kScreenCoordinates}, deadline);
  const auto numbers = reply ? reply->integers() : std::nullopt;
  if (!numbers || numbers->size() != 4) return std::nullopt;
  const QRectF extents((*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]);
  return extents.isValid() ? std::optional(extents) : std::nullopt;
}

std::optional<ObjectRef> AtSpiReader::parentOf(const ObjectRef& object, Deadline deadline) {
  const auto reply = call(object, kProperties, "Get", {std::string(kAccessible), std::string("Parent")}, deadline);
  return reply ? reply->object() : std::nullopt;
}

}  // namespace vantora::atspi
