// Base of the contract tests of a desktop: an implementation of the desktop session and access to the desktop behind
// it.
#pragma once

#include <gtest/gtest.h>

#include <QPointF>
#include <QRect>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>

#include "platform/DesktopSession.h"
#include "tests/fakes/EventLoop.h"

namespace vantora {

class DesktopBench {
 public:
  virtual ~DesktopBench() = default;
  // On a desktop of one display, 1000 x 600 pixels, that nobody else uses.
  virtual DesktopSession& session() = 0;

  // State of the desktop's input devices.
  virtual QPointF pointerPosition() = 0;
  virtual std::set<PointerButton> heldButtons() = 0;
  // Of KEY_A, KEY_B and KEY_ENTER.
  virtual std::set<std::uint16_t> heldKeys() = 0;

  // Splits the desktop into a first display of 600 pixels width and a second one right of it.
  virtual void split() = 0;
  // Fills an area of the desktop with a colour, 0xRRGGBB.
  virtual void paint(std::uint32_t rgb, const QRect& area) = 0;
  // A program shows the cursor with this name; an empty name: a cursor that has none.
  virtual void showCursor(const QString& name) = 0;
  // The local user moves the pointer.
  virtual void movePointer() = 0;
  // Ends the desktop.
  virtual void lose() = 0;
};

class DesktopContract : public testing::TestWithParam<std::function<std::unique_ptr<DesktopBench>()>> {
 protected:
  static constexpr int kWidth = 1000;
  static constexpr int kHeight = 600;

  void SetUp() override {
    testloop::ensureApplication();
    bench_ = GetParam()();
    ASSERT_TRUE(bench_);
  }
  DesktopSession& session() { return bench_->session(); }

  std::unique_ptr<DesktopBench> bench_;
};

}  // namespace vantora
