#include "platform/portal/cursor/PortalCursor.h"

namespace vantora {
namespace {

class NoPortalCursor final : public PortalCursor {
 public:
  void watch(Handlers) override {}
  void unwatch() override {}
  void armPointerEvent() override {}
  std::optional<ShownCursor> currentCursor() override { return std::nullopt; }
  void report(const StreamCursor&) override {}
  void streamsClosed() override {}
  void setTheme(const QString&, int) override {}
};

}  // namespace

std::unique_ptr<PortalCursor> makePortalCursor(const Environment&) { return std::make_unique<NoPortalCursor>(); }

}  // namespace vantora
