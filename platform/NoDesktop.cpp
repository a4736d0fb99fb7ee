#include "platform/NoDesktop.h"

#include <condition_variable>
#include <mutex>

#include "platform/linux/LinuxDesktop.h"

namespace vantora {
namespace {

class NoDisplays final : public Displays {
 public:
  std::vector<Display> list() override { return {}; }
  std::optional<Display> find(std::uint32_t) override { return std::nullopt; }
  void setChangedHandler(std::function<void()>) override {}
};

class NoInput final : public DesktopInput {
 public:
  void requestPermission(PermissionCallback answer) override { answer({}); }
  bool moveTo(std::uint32_t, double, double) override { return false; }
  void button(PointerButton, bool) override {}
  void wheel(const ScrollEvent&) override {}
  bool key(std::uint16_t, bool, const KeyModifiers&) override { return false; }
  TypingStep type(std::u32string_view) override { return {.possible = false}; }
  void releaseAll() override {}
};

class NoSystemCursor final : public SystemCursor {
 public:
  void watch(Handlers) override {}
  void unwatch() override {}
  void armPointerEvent() override {}
  std::optional<ShownCursor> currentCursor() override { return std::nullopt; }
};

class NoAccessibility final : public Accessibility {
 public:
  AccessibilityTrust trust() override { return AccessibilityTrust::absent; }
  bool askPointedElements(int, ElementsCallback) override { return false; }
};

class NoScreenCapture final : public ScreenCapture {
 public:
  explicit NoScreenCapture(QString reason) : reason_(std::move(reason)) {}

  Opened open(int) override { return {Outcome::refused, 0, reason_}; }
  Poll poll(CapturedFrame&) override { return Poll::lost; }
  Woken wait(std::chrono::nanoseconds timeout, WakeOn) override {
    std::unique_lock lock(mutex_);
    const auto bounded = std::min<std::chrono::nanoseconds>(timeout, std::chrono::hours(24));
    woken_.wait_for(lock, bounded, [this] { return wasWoken_; });
    return std::exchange(wasWoken_, false) ? Woken::call : Woken::timeout;
  }
  void wake() override {
    const std::lock_guard lock(mutex_);
    wasWoken_ = true;
    woken_.notify_all();
  }
  void abandon() override {}
  void close() override {}

 private:
  const QString reason_;
  std::mutex mutex_;
  std::condition_variable woken_;
  bool wasWoken_ = false;
};

class NoDesktop final : public LinuxDesktop {
 public:
  NoDesktop(Clipboard& clipboard, QString reason) : LinuxDesktop(clipboard), reason_(std::move(reason)) {}

  DesktopStatus status() const override { return {DesktopState::refused, reason_}; }
  void setStatusHandler(std::function<void(const DesktopStatus&)>) override {}
  Displays& displays() override { return *displays_; }
  DesktopInput& input() override { return *input_; }
  SystemCursor& cursor() override { return *cursor_; }
  Accessibility& accessibility() override { return *accessibility_; }
  std::unique_ptr<ScreenCapture> makeScreenCapture() override { return makeNoScreenCapture(reason_); }

 private:
  const QString reason_;
  const std::unique_ptr<Displays> displays_ = makeNoDisplays();
  const std::unique_ptr<DesktopInput> input_ = makeNoInput();
  const std::unique_ptr<SystemCursor> cursor_ = makeNoCursor();
  const std::unique_ptr<Accessibility> accessibility_ = makeNoAccessibility();
};

}  // namespace

std::unique_ptr<Displays> makeNoDisplays() { return std::make_unique<NoDisplays>(); }
std::unique_ptr<DesktopInput> makeNoInput() { return std::make_unique<NoInput>(); }
std::unique_ptr<SystemCursor> makeNoCursor() { return std::make_unique<NoSystemCursor>(); }
std::unique_ptr<Accessibility> makeNoAccessibility() { return std::make_unique<NoAccessibility>(); }
std::unique_ptr<ScreenCapture> makeNoScreenCapture(QString reason) {
  return std::make_unique<NoScreenCapture>(std::move(reason));
}

std::unique_ptr<DesktopSession> makeNoDesktop(Clipboard& clipboard, QString reason) {
  return std::make_unique<NoDesktop>(clipboard, std::move(reason));
}

}  // namespace vantora
