// A screen source on a fake screen.
#pragma once

#include <memory>

#include "main/video/sources/ScreenVideoSource.h"
#include "tests/fakes/FakeScreenCapture.h"
#include "tests/unit/video/sources/SourceTesting.h"

namespace vantora::testsupport {

inline constexpr fakes::FakeScreen::Colour kBlack{0, 0, 0, 255};
inline constexpr fakes::FakeScreen::Colour kWhite{255, 255, 255, 255};
inline constexpr int kWhiteLuma = 235;

class ScreenVideoSourceTest : public MainThreadTest {
 public:
  std::unique_ptr<ScreenVideoSource> make(int width, int height, int fps, int displayIndex = 0) {
    return std::make_unique<ScreenVideoSource>(
        screen->factory(), width, height, fps, displayIndex,
        ScreenEvents{.refused = [this](const QString& name) { permissions.append(name); },
                     .resized = [this] { ++resizes; }});
  }
  // Starts and waits for the end of the attempt.
  [[nodiscard]] bool start(ScreenVideoSource& source) {
    bool ended = false;
    source.start([&] { ended = true; });
    return pumpUntil([&] { return ended; });
  }

  LockedLog log;
  QStringList permissions;
  int resizes = 0;
  std::shared_ptr<fakes::FakeScreen> screen = fakes::FakeScreen::make({{64, 48}});
};

// What a refusal with the text "not today" writes to the log.
inline QStringList refusalLines() {
  return {QStringLiteral("[sc] start error: not today"),
          QStringLiteral("[sc] Required permissions in System Settings → Privacy & Security:"),
          QStringLiteral("[sc] - Screen Recording (for video capture)")};
}

}  // namespace vantora::testsupport
