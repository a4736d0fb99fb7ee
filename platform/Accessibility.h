// What assistive programs are told about the user interfaces of other applications.
#pragma once

#include <QPointF>
#include <QRectF>
#include <QString>
#include <functional>
#include <optional>
#include <vector>

namespace vantora {

// One element of an application's user interface. The texts use one vocabulary on every desktop: role names such as
// "AXTextField", "AXButton", "AXLink", "AXSplitter" or "AXWindow"; empty where the desktop says nothing.
struct AccessibleElement {
  QString role = {};
  QString subrole = {};
  QString roleDescription = {};
  QString orientation = {};                    // "AXVerticalOrientation", "AXHorizontalOrientation" or empty.
  std::optional<QRectF> frame = std::nullopt;  // In global desktop coordinates; none where nobody needs it.
  bool operator==(const AccessibleElement&) const = default;
};

// The element under the pointer, then its ancestors from the inside out; empty when there is none.
struct PointedElements {
  QPointF pointer = {};  // Where it was when the elements were looked up; global desktop coordinates.
  std::vector<AccessibleElement> elements = {};
  bool operator==(const PointedElements&) const = default;
};

enum class AccessibilityTrust {
  absent,   // The desktop has no accessibility service running: nobody has refused anything.
  refused,  // It has one, and this process may not use it.
  granted,
};

// Thread: main. Owner: the composition root. Nothing here waits for another program.
class Accessibility {
 public:
  using Answer = std::function<void(const PointedElements&)>;
  virtual ~Accessibility() = default;
  // As last seen. Looks again in the background, at intervals, while the service is not granted.
  virtual AccessibilityTrust trust() = 0;
  // Looks up the element under the pointer and its ancestors, `most` elements altogether. `answer` is called later, on
  // the main thread, exactly once within about a second, unless this object dies before. False: an earlier request is
  // still unanswered; then nothing happens and `answer` is dropped.
  [[nodiscard]] virtual bool askPointedElements(int most, Answer answer) = 0;
};

}  // namespace vantora
