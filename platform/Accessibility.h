// Access to the user interfaces of other applications through the desktop's accessibility service.
#pragma once

#include <QPointF>
#include <QRectF>
#include <QString>
#include <functional>
#include <optional>
#include <vector>

namespace vantora {

// One element of an application's user interface. The texts use one vocabulary on every desktop: role names such as
// "AXTextField", "AXButton", "AXLink", "AXSplitter" or "AXWindow"; empty when unknown.
struct AccessibleElement {
  QString role = {};
  QString subrole = {};
  QString roleDescription = {};
  QString orientation = {};                    // "AXVerticalOrientation", "AXHorizontalOrientation" or empty.
  std::optional<QRectF> frame = std::nullopt;  // In global desktop coordinates; empty where not needed.
  bool operator==(const AccessibleElement&) const = default;
};

// The element under the pointer, then its ancestors from the innermost out; empty when there is no element.
struct PointedElements {
  QPointF pointer = {};  // Its position when the elements were looked up; global desktop coordinates.
  std::vector<AccessibleElement> elements = {};
  bool operator==(const PointedElements&) const = default;
};

enum class AccessibilityTrust {
  absent,   // The desktop has no accessibility service running; access was not refused.
  refused,  // The service runs, and this process may not use it.
  granted,
};

// Thread: main. Owner: the desktop session. No call blocks on another program.
class Accessibility {
 public:
  using ElementsCallback = std::function<void(const PointedElements&)>;
  virtual ~Accessibility() = default;
  // The last known state. Checked again in the background, at intervals, until access is granted.
  virtual AccessibilityTrust trust() = 0;
  // Looks up the element under the pointer and its ancestors, at most `maximum` elements altogether. `answer` is called
  // later, on the main thread, exactly once within about a second, unless this object is destroyed before. False: an
  // earlier request is pending; then nothing happens and `answer` is dropped.
  [[nodiscard]] virtual bool askPointedElements(int maximum, ElementsCallback answer) = 0;
};

}  // namespace vantora
