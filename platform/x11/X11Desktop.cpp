#include "platform/x11/X11Desktop.h"

#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/atspi/AtSpiAccessibility.h"
#include "platform/x11/X11Cursor.h"
#include "platform/x11/X11Displays.h"
#include "platform/x11/X11Input.h"
#include "platform/x11/X11WindowFinder.h"
#include "platform/x11/capture/X11ScreenCapture.h"

namespace vantora {
namespace {

class X11Desktop final : public LinuxDesktop {
 public:
  X11Desktop(const Environment& environment, const QString& displayName, Clipboard& clipboard)
      : LinuxDesktop(clipboard),
        displayName_(displayName),
        displays_(makeX11Displays(displayName)),
        input_(makeX11Input(displayName, *displays_)),
        cursor_(makeX11Cursor(displayName)),
        accessibility_(makeAtSpiAccessibility(environment, makeX11WindowFinder(displayName))) {}

  DesktopStatus status() const override { return {DesktopState::ready}; }
  void setStatusHandler(std::function<void(const DesktopStatus&)>) override {}
  Displays& displays() override { return *displays_; }
  DesktopInput& input() override { return *input_; }
  SystemCursor& cursor() override { return *cursor_; }
  Accessibility& accessibility() override { return *accessibility_; }
  std::unique_ptr<ScreenCapture> makeScreenCapture() override {
    return makeX11ScreenCapture(displayName_.toStdString());
  }

 private:
  const QString displayName_;
  const std::unique_ptr<Displays> displays_;
  const std::unique_ptr<DesktopInput> input_;
  const std::unique_ptr<SystemCursor> cursor_;
  const std::unique_ptr<Accessibility> accessibility_;
};

}  // namespace

std::unique_ptr<DesktopSession> makeX11Desktop(const Environment& environment, const QString& displayName,
                                               Clipboard& clipboard) {
  return std::make_unique<X11Desktop>(environment, displayName, clipboard);
}

}  // namespace vantora
