#include "platform/portal/PortalAccessibility.h"

#include <utility>

#include "base/Lifetime.h"

namespace vantora {
namespace {

class PortalAccessibility final : public Accessibility {
 public:
  AccessibilityTrust trust() override { return AccessibilityTrust::granted; }
  bool askPointedElements(int, ElementsCallback answer) override {
    if (std::exchange(pending_, true)) return false;
    postToMain(life_.guard([this, answer = std::move(answer)] {
      pending_ = false;
      answer({});
    }));
    return true;
  }

 private:
  bool pending_ = false;
  Lifetime life_;
};

}  // namespace

std::unique_ptr<Accessibility> makePortalAccessibility() { return std::make_unique<PortalAccessibility>(); }

}  // namespace vantora
