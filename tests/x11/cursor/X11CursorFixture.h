// The cursor of a real X server, watched while a program shows cursors there.
#pragma once

#include <gtest/gtest.h>

#include <optional>

#include "platform/x11/X11Cursor.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/x11/cursor/ThemeCursors.h"
#include "tests/x11/support/XvfbServer.h"

namespace vantora::testx11 {

class X11CursorFixture : public testing::Test {
 protected:
  X11CursorFixture() { testloop::ensureApplication(); }
  void SetUp() override {
    ASSERT_TRUE(server_.running());
    cursor_ = makeX11Cursor(server_.display());
  }
  // A program that shows cursors of a theme.
  void showCursorsOf(const std::string& theme) {
    program_.reset();
    program_.emplace(server_.display().toStdString(), theme);
    ASSERT_TRUE(program_->running());
  }
  void watch() {
    cursor_->watch({.cursorChanged = [this] { ++changes_; }, .pointerUsed = [this] { ++uses_; }});
  }
  [[nodiscard]] bool becomes(const std::optional<QString>& name) {
    return testloop::waitFor([&] { return currentName() == name; });
  }

  std::optional<QString> currentName() {
    const auto shown = cursor_->currentCursor();
    return shown ? std::optional(shown->name) : std::nullopt;
  }

  XvfbServer server_;
  std::optional<ThemeCursors> program_;
  std::unique_ptr<SystemCursor> cursor_;
  int changes_ = 0;
  int uses_ = 0;
};

}  // namespace vantora::testx11
