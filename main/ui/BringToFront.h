// Shows a window in front of others, because the user asked for it.
#pragma once

class QString;
class QWidget;

namespace vantora {

// Shows `window`, out of its minimised state if need be, and makes it the active one. Thread: main (of the interface).
void bringToFront(QWidget& window);

// Shows `window` in front of others, because the program wants it seen, and leaves the keyboard to whoever has it.
// Thread as above.
void showInFront(QWidget& window);

// Keeps the right to come to the front that a panel or a notification server hands out with a press; the next
// bringToFront spends it. Only Wayland has such rights.
void keepActivationToken(const QString& token);

}  // namespace vantora
