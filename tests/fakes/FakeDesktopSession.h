// A desktop controlled by the test.
#pragma once

#include <QTemporaryDir>
#include <utility>

#include "platform/DesktopSession.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/fakes/FakeDesktopInput.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakeMachineIdentity.h"
#include "tests/fakes/FakeScreenCapture.h"
#include "tests/fakes/FakeSupportTools.h"
#include "tests/fakes/FakeSystemCursor.h"

namespace vantora::fakes {

// Ready, with two displays, until the test changes it; the test controls its parts directly.
class FakeDesktopSession final : public DesktopSession {
 public:
  DesktopStatus status() const override { return status_; }
  void setStatusHandler(std::function<void(const DesktopStatus&)> handler) override {
    statusChanged_ = std::move(handler);
  }
  Displays& displays() override { return displayList; }
  DesktopInput& input() override { return desktopInput; }
  SystemCursor& cursor() override { return systemCursor; }
  Clipboard& clipboard() override { return textClipboard; }
  Accessibility& accessibility() override { return accessibilityService; }
  SupportTools& supportTools() override { return tools; }
  std::unique_ptr<ScreenCapture> makeScreenCapture() override { return screen->factory()(); }
  const MachineIdentity& machine() const override { return identity; }
  std::function<QString()> downloadFolder() const override {
    return [folder = downloads.path()] { return folder; };
  }

  void setStatus(DesktopStatus status) {
    status_ = std::move(status);
    if (statusChanged_) statusChanged_(status_);
  }

  FakeDisplays displayList{{{.id = 1, .name = QStringLiteral("one"), .bounds = {0, 0, 1920, 1080}},
                            {.id = 2, .name = QStringLiteral("two"), .bounds = {1920, 0, 1280, 800}}}};
  FakeDesktopInput desktopInput{&displayList};
  FakeSystemCursor systemCursor;
  FakeClipboard textClipboard;
  FakeAccessibility accessibilityService;
  FakeSupportTools tools;
  std::shared_ptr<FakeScreen> screen = FakeScreen::make({{1920, 1080}, {1280, 800}});
  FakeMachineIdentity identity;
  QTemporaryDir downloads;

 private:
  DesktopStatus status_{DesktopState::ready};
  std::function<void(const DesktopStatus&)> statusChanged_;
};

}  // namespace vantora::fakes
