// The desktop that unit tests use keeps to the contracts of a real one.
#include "tests/contract/DesktopContracts.h"
#include "tests/fakes/FakeDesktopSession.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

class FakeTestDesktop final : public TestDesktop {
 public:
  FakeTestDesktop() {
    desktop_.displayList.set({{.id = 1, .name = u"screen"_s, .bounds = {0, 0, 1000, 600}}});
    desktop_.screen->setDisplays({{1000, 600}});
    desktop_.identity.hostName = u"machine"_s;
  }
  DesktopSession& session() override { return desktop_; }
  QPointF pointerPosition() override { return desktop_.desktopInput.position; }
  std::set<PointerButton> heldButtons() override { return desktop_.desktopInput.heldButtons; }
  std::set<std::uint16_t> heldKeys() override { return desktop_.desktopInput.heldKeys; }
  void split() override {
    desktop_.displayList.set({{.id = 2, .name = u"left"_s, .bounds = {0, 0, 600, 600}},
                              {.id = 3, .name = u"right"_s, .bounds = {600, 0, 400, 600}}});
    desktop_.screen->setDisplays({{600, 600}, {400, 600}});
  }
  void removeSecond() override {
    desktop_.displayList.set({desktop_.displayList.list().front()});
    desktop_.screen->setDisplays({{600, 600}});
  }
  void paint(std::uint32_t rgb, const QRect& area) override {
    const auto channel = [rgb](int shift) { return static_cast<std::uint8_t>(rgb >> shift); };
    desktop_.screen->paint({channel(0), channel(8), channel(16), 0}, area);
  }
  void showCursor(const QString& name) override { desktop_.systemCursor.show(name); }
  void movePointer() override { desktop_.systemCursor.usePointer(); }
  void lose() override {
    desktop_.displayList.set({});
    desktop_.desktopInput.setUsable(false);
    desktop_.screen->setGone(true);
    desktop_.systemCursor.show(std::nullopt);
  }

 private:
  fakes::FakeDesktopSession desktop_;
};

INSTANTIATE_DESKTOP_CONTRACT(Fake, FakeTestDesktop);

}  // namespace
}  // namespace vantora
