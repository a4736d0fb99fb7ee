// The desktop session under test on a Wayland desktop of its own.
#pragma once

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <QTemporaryDir>
#include <array>
#include <memory>
#include <vector>

#include "platform/portal/PortalDesktop.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/wayland/support/Canvas.h"
#include "tests/wayland/support/LocalUser.h"
#include "tests/wayland/support/WaylandDesktop.h"

namespace vantora::testwayland {

// A desktop with a local user and one canvas on each monitor, and the session of a program that its user may let share
// it.
class PortalTestDesktop {
 public:
  // `options`: of desktop.py. `monitors`: those that the user shares. `commands`: for the desktop before the canvas
  // opens.
  PortalTestDesktop(const QStringList& options, const std::vector<int>& monitors, const QStringList& commands = {})
      : desktop_(options) {
    if (!desktop_.running()) return;
    for (const QString& command : commands) EXPECT_TRUE(desktop_.run(command)) << command.toStdString();
    choose(monitors);
    EXPECT_TRUE(first().running());
    if (!first().running()) return;
    user_ = std::make_unique<LocalUser>(desktop_);
    running_ = testloop::waitFor([this] { return first().focused() && first().pointer(); });
  }

  bool running() const { return running_; }
  WaylandDesktop& desktop() { return desktop_; }
  LocalUser& user() { return *user_; }
  Canvas& canvas(int monitor) {
    auto& wanted = canvases_.at(static_cast<std::size_t>(monitor));
    if (!wanted) wanted = std::make_unique<Canvas>(desktop_, monitor);
    return *wanted;
  }
  // Ends the desktop.
  void end() {
    user_.reset();
    desktop_.end();
  }
  // On the first monitor that the user shares.
  Canvas& first() { return canvas(chosen_.front()); }

  // Which monitors the user shares when asked.
  void choose(const std::vector<int>& monitors) {
    chosen_ = monitors;
    QString command = QStringLiteral("choose");
    for (const int monitor : monitors) command += QStringLiteral(" %1").arg(monitor);
    EXPECT_TRUE(desktop_.run(command));
  }

  // The session; its user has not been asked at first.
  DesktopSession& session() {
    if (!session_) session_ = makePortalDesktop(environment(), clipboard_);
    return *session_;
  }
  // That of the program's desktop process.
  fakes::FakeClipboard& clipboard() { return clipboard_; }
  void endSession() { session_.reset(); }
  // Lets a capture ask the user and waits for the answer.
  [[nodiscard]] bool askUser() {
    const auto capture = session().makeScreenCapture();
    EXPECT_EQ(capture->open(0).outcome, ScreenCapture::Outcome::awaitingConsent);
    const bool granted = testloop::waitFor([this] { return status() == DesktopState::ready; });
    capture->close();
    return granted;
  }
  DesktopState status() { return session().status().state; }

  // Waits until everything that the session has sent to the desktop has reached a canvas: a notch of the wheel,
  // sideways, is sent after it.
  [[nodiscard]] bool settle() {
    const auto seen = [this] {
      std::size_t count = 0;
      for (const auto& canvas : canvases_) count += canvas ? canvas->scrolls().size() : 0;
      return count;
    };
    const std::size_t before = seen();
    session().input().wheel({.vertical = 0, .horizontal = kMarkerPixels});
    return testloop::waitFor([&] { return seen() > before; });
  }

 private:
  static constexpr int kMarkerPixels = 120;

  Environment environment() {
    return Environment([this](const char* name) -> std::optional<QString> {
      if (qstrcmp(name, "HOME") == 0) return home_.path();
      const QString value = desktop_.variable(QString::fromLatin1(name));
      return value.isEmpty() ? std::nullopt : std::optional(value);
    });
  }

  QTemporaryDir home_;
  WaylandDesktop desktop_;
  std::vector<int> chosen_;
  std::unique_ptr<LocalUser> user_;
  std::array<std::unique_ptr<Canvas>, 4> canvases_;
  fakes::FakeClipboard clipboard_;
  std::unique_ptr<DesktopSession> session_;
  bool running_ = false;
};

}  // namespace vantora::testwayland
