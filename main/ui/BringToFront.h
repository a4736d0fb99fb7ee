// Shows a window in front of others, because the user asked for it.
#pragma once

class QString;
class QWidget;

namespace vantora {

// Shows `window`, out of its minimised state if need be, and makes it the active one. Thread: main (of the interface).
void bringToFront(QWidget& window);

// Shows `window` in front of others on the program's own initiative, without taking the keyboard focus. Thread as
// above.
void showInFront(QWidget& window);

// Keeps the activation token that a panel or a notification server passes with a click; the next bringToFront uses it.
// Only Wayland has such tokens.
void keepActivationToken(const QString& token);

}  // namespace vantora
