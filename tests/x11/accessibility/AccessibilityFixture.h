// A real accessibility service, asked about real programs.
#pragma once

#include <gtest/gtest.h>

#include "main/control/cursor/ElementShape.h"
#include "platform/linux/atspi/AtSpiAccessibility.h"
#include "platform/x11/X11WindowFinder.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/x11/accessibility/PrivateDesktop.h"

namespace vantora::testing_x11 {

class AccessibilityFixture : public testing::Test {
 protected:
  using Shape = std::optional<QString>;

  static std::string qtProgram() {
    return testing_places::program(QStringLiteral("accessibility_qt_program")).toStdString();
  }
  AccessibilityFixture() { testing_loop::ensureApplication(); }

  void open(const PrivateDesktop& desktop) {
    accessibility_ = makeAtSpiAccessibility(desktop.environment(), makeX11WindowFinder(desktop.server().display()));
  }
  [[nodiscard]] bool becomesTrusted(AccessibilityTrust wanted = AccessibilityTrust::granted) {
    return testing_loop::waitFor([&] { return accessibility_->trust() == wanted; });
  }
  // What is under the pointer now; none when nothing was answered.
  std::optional<PointedElements> look() {
    auto found = std::make_shared<std::optional<PointedElements>>();
    const auto asked = [&] {
      return accessibility_->askPointedElements(kElementsWalked,
                                                [found](const PointedElements& pointed) { *found = pointed; });
    };
    if (!testing_loop::waitFor(asked) || !testing_loop::waitFor([&] { return found->has_value(); })) return {};
    return *found;
  }
  // Looks until something with that many elements is found: on a busy machine an answer may come too late.
  std::optional<PointedElements> lookFor(std::size_t elements) {
    std::optional<PointedElements> found;
    const bool came = testing_loop::waitFor([&] {
      found = look();
      return found && found->elements.size() == elements;
    });
    return came ? found : std::nullopt;
  }
  // The shape that the element under the pointer asks for.
  Shape shape() {
    const auto found = look();
    return found ? elementShape(found->elements, found->pointer) : std::nullopt;
  }
  // Points there and waits until the shape is `wanted`: programs take their time to appear.
  testing::AssertionResult shows(const PrivateDesktop& desktop, int x, int y, const Shape& wanted) {
    if (!desktop.movePointer(x, y)) return testing::AssertionFailure() << "the pointer cannot be moved";
    std::optional<PointedElements> last;
    testing_loop::Timeout timeout;
    while (!timeout.isOver()) {
      last = look();
      if (last && !last->elements.empty() && elementShape(last->elements, last->pointer) == wanted) {
        return testing::AssertionSuccess();
      }
      (void)accessibility_->trust();
    }
    auto failure = testing::AssertionFailure() << "at " << x << ", " << y << ":";
    if (!last) return failure << " no answer";
    for (const AccessibleElement& element : last->elements) {
      failure << " [" << element.role.toStdString() << " " << element.roleDescription.toStdString() << "]";
    }
    return failure;
  }

  std::unique_ptr<Accessibility> accessibility_;
};

}  // namespace vantora::testing_x11
