// A real accessibility service with real programs.
#pragma once

#include <gtest/gtest.h>

#include "main/control/cursor/ElementShape.h"
#include "platform/linux/atspi/AtSpiAccessibility.h"
#include "platform/x11/X11WindowFinder.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/x11/accessibility/PrivateDesktop.h"

namespace vantora::testx11 {

class AccessibilityFixture : public testing::Test {
 protected:
  using Shape = std::optional<QString>;

  static std::string qtProgram() {
    return testplaces::program(QStringLiteral("accessibility_qt_program")).toStdString();
  }
  AccessibilityFixture() { testloop::ensureApplication(); }

  void open(const PrivateDesktop& desktop) {
    accessibility_ = makeAtSpiAccessibility(desktop.environment(), makeX11WindowFinder(desktop.server().display()));
  }
  [[nodiscard]] bool becomesTrusted(AccessibilityTrust wanted = AccessibilityTrust::granted) {
    return testloop::waitFor([&] { return accessibility_->trust() == wanted; });
  }
  // The elements under the pointer now; empty without a reply.
  std::optional<PointedElements> pointedElements() {
    auto found = std::make_shared<std::optional<PointedElements>>();
    const auto asked = [&] {
      return accessibility_->askPointedElements(kElementsWalked,
                                                [found](const PointedElements& pointed) { *found = pointed; });
    };
    if (!testloop::waitFor(asked) || !testloop::waitFor([&] { return found->has_value(); })) return {};
    return *found;
  }
  // Reads until that many elements are found: on a busy machine a reply may come too late.
  std::optional<PointedElements> waitForElements(std::size_t elements) {
    std::optional<PointedElements> found;
    const bool came = testloop::waitFor([&] {
      found = pointedElements();
      return found && found->elements.size() == elements;
    });
    return came ? found : std::nullopt;
  }
  // The cursor shape for the element under the pointer.
  Shape shape() {
    const auto found = pointedElements();
    return found ? elementShape(found->elements, found->pointer) : std::nullopt;
  }
  // Moves the pointer there and waits until the shape is `wanted`: programs may be slow to appear.
  testing::AssertionResult shows(const PrivateDesktop& desktop, int x, int y, const Shape& wanted) {
    if (!desktop.movePointer(x, y)) return testing::AssertionFailure() << "the pointer cannot be moved";
    std::optional<PointedElements> last;
    testloop::Timeout timeout;
    while (!timeout.isOver()) {
      last = pointedElements();
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

}  // namespace vantora::testx11
