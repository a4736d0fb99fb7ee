// The contracts of a desktop on a real Wayland compositor with real portals.
#include <QFileInfo>

#include "tests/contract/DesktopContracts.h"
#include "tests/wayland/support/PortalTestDesktop.h"

namespace vantora {
namespace {

using namespace testwayland;
using namespace Qt::Literals::StringLiterals;

// The user shares the first monitor; a desktop that is split is one whose user shares the two others instead.
class PortalContractDesktop final : public TestDesktop {
 public:
  DesktopSession& session() override {
    if (!asked_) asked_ = desktop_.running() && desktop_.askUser();
    EXPECT_TRUE(asked_) << "no consent";
    return desktop_.session();
  }
  QPointF pointerPosition() override {
    EXPECT_TRUE(desktop_.settle());
    return desktop_.first().pointer().value_or(QPointF(-1, -1));
  }
  std::set<PointerButton> heldButtons() override {
    EXPECT_TRUE(desktop_.settle());
    std::set<PointerButton> held;
    for (const int button : desktop_.first().buttons())
      held.insert(button == BTN_LEFT     ? PointerButton::left
                  : button == BTN_MIDDLE ? PointerButton::centre
                                         : PointerButton::right);
    return held;
  }
  std::set<std::uint16_t> heldKeys() override {
    EXPECT_TRUE(desktop_.settle());
    std::set<std::uint16_t> held;
    for (const std::uint16_t key : {KEY_A, KEY_B, KEY_ENTER}) {
      if (desktop_.first().keys().contains(key)) held.insert(key);
    }
    return held;
  }
  void split() override { share({1, 2}); }
  void removeSecond() override { share({1}); }
  void paint(std::uint32_t rgb, const QRect& area) override { EXPECT_TRUE(desktop_.first().paint(rgb, area)); }
  void showCursor(const QString& name) override {
    EXPECT_TRUE(desktop_.first().showCursor(name.isEmpty() ? u"bitmap"_s : name));
    // Of a cursor that changes while the screen is still the compositor does not always tell.
    EXPECT_TRUE(desktop_.first().paint(++cursors_, {0, 0, 1, 1}));
  }
  bool sameCursor(const QString& reported, const QString& shown) const override {
    return imageOf(reported) == imageOf(shown);
  }
  void movePointer() override { desktop_.user().movePointer(1, 0); }
  bool keepsPlacesOfDisplays() const override { return false; }
  void lose() override {
    (void)session();
    desktop_.end();
    EXPECT_TRUE(testloop::waitFor([this] { return desktop_.status() == DesktopState::closed; }));
  }

 private:
  // The file with the images of a cursor; the other names are links to it.
  static QString imageOf(const QString& cursor) {
    return QFileInfo(u"/usr/share/icons/Adwaita/cursors/"_s + cursor).canonicalFilePath();
  }
  // The desktop ends what is shared, and its user is asked again.
  void share(const std::vector<int>& monitors) {
    desktop_.choose(monitors);
    if (!asked_) return;
    EXPECT_TRUE(desktop_.desktop().run(u"close-session"_s));
    EXPECT_TRUE(testloop::waitFor([this] { return desktop_.status() == DesktopState::closed; }));
    EXPECT_TRUE(desktop_.askUser());
  }

  PortalTestDesktop desktop_{
      {u"--no-x11"_s, u"--monitor"_s, u"1000x600"_s, u"--monitor"_s, u"600x600"_s, u"--monitor"_s, u"400x600"_s}, {0}};
  bool asked_ = false;
  std::uint32_t cursors_ = 0;
};

INSTANTIATE_DESKTOP_CONTRACT(Portal, PortalContractDesktop);

}  // namespace
}  // namespace vantora
