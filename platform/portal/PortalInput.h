// Input through the portal of remote desktops.
#pragma once

#include <QObject>
#include <QPoint>
#include <QPointF>
#include <QSize>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "platform/DesktopInput.h"
#include "platform/KeyLayout.h"
#include "platform/ModifierPlan.h"
#include "platform/portal/NotifyCalls.h"
#include "platform/portal/PortalDisplays.h"
#include "platform/portal/TextPaste.h"

namespace vantora {

// Works within the session in which the user shares the screen; it never asks the user by itself, since a viewer could
// make it. Only what it holds down itself is known to it: the portal does not tell which keys the local user holds, nor
// whether Caps Lock is on. Texts are typed by the layout that the compositor tells its programs; a character whose key
// depends on which of several layouts is in use is left to the portal. A line with characters that no key types is
// pasted as a whole.
// Positions are meant to be in layout units; where a first report of the pointer shows that the compositor takes them
// for pixels, but accepts them up to the size in layout units only, the rest of the way is a relative motion.
// Compositors leave the repetition of a held key to the programs, which begin with it half a second after a press: each
// repetition of the viewer's keyboard arrives earlier, and is a new press. Thread: main.
class PortalInput final : public DesktopInput {
 public:
  // Both must outlive this object.
  PortalInput(PortalSession& session, PortalDisplays& displays);
  ~PortalInput() override;

  void requestPermission(PermissionCallback answer) override;
  bool moveTo(std::uint32_t displayId, double fx, double fy) override;
  void button(PointerButton button, bool down) override;
  void wheel(const ScrollEvent& event) override;
  [[nodiscard]] bool key(std::uint16_t code, bool down, const KeyModifiers& modifiers) override;
  [[nodiscard]] TypingStep type(std::u32string_view text) override;
  [[nodiscard]] bool readyForKeys() override;
  void releaseAll() override;

  // Whether a later session may take input although this one does not.
  bool mayBeUsableLater() const { return !session_.grant().control() || route_ == Route::lost; }
  // The state of the session is another one: requests may be answered.
  void sessionChanged();
  // What the desktop's keys type; nullopt: unknown.
  void setLayout(std::optional<KeyLayout> layout);
  // By way of which texts may be pasted; these must outlive this object. Once, before any input.
  void pasteThrough(ClipboardLoan& clipboard, ClipboardLoan& primary, Scheduler& scheduler);
  // Moves the pointer by a pixel and back.
  void nudge();
  // Where a stream shows the pointer, in pixels of the stream.
  void cursorReported(std::uint32_t node, QPoint position);

 private:
  // The units in which the portal takes positions on a screen whose pixels are not its layout units.
  enum class Units { unknown, layout, pixels };
  // The newest motion.
  struct Motion {
    PortalDisplays::Target screen;
    QPoint target;  // In pixels.
    QPointF inLayout() const;
  };
  // How input reaches the desktop in this session.
  enum class Route { unknown, connecting, usable, lost };
  InputEvents& events() { return eis_ ? *eis_ : calls_; }
  void requestRoute(PermissionCallback answer);
  void answerWaiting();
  void chooseRoute();
  void connectionEnded();
  void finishRoute(Route route);
  void dropHeld();
  bool send(const Motion& motion);
  void announceKeyboard();
  void takeModifiers(const KeyModifiers& modifiers, Keycode event);
  bool typeCharacter(char32_t character);
  bool lacks(char32_t character);
  bool hasToPaste(std::u32string_view line);
  TypingStep paste(std::u32string_view line);
  void dropPaste();
  bool pressPaste(TextPaste::Chord chord);
  bool tap(std::uint16_t code, const KeyModifiers& modifiers);
  void setModifier(Keycode key, bool down);
  void scroll(ScrollAxis axis, std::int32_t pixels);
  void releaseModifiers();

  PortalSession& session_;
  PortalDisplays& displays_;
  NotifyCalls calls_;
  std::unique_ptr<InputEvents> eis_;
  Route route_ = Route::unknown;
  std::vector<PermissionCallback> waiting_;
  Units units_ = Units::unknown;
  // The target of the first motion that ended where these units lead to.
  std::optional<QPoint> takenForLayout_;
  std::optional<QPoint> takenForPixels_;
  std::optional<Motion> motion_;
  bool keyboardAnnounced_ = false;
  std::set<int> heldButtons_;  // The kernel's codes.
  std::set<std::uint16_t> heldKeys_;
  Keymap ownModifiers_;
  ModifierTable modifierKeys_;
  std::optional<KeyLayout> layout_;
  std::unique_ptr<TextPaste> paste_;
  // So much is left of a line that could not be pasted: it is typed as far as it has keys.
  std::size_t unpasted_ = 0;
  std::unique_ptr<QObject> connecting_;  // For the timeout of a connection.
};

}  // namespace vantora
