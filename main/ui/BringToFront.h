// Shows a window in front of others, because the user asked for it.
#pragma once

class QWidget;

namespace vantora {

// Shows `window`, out of its minimised state if need be, and makes it the active one. Thread: main (of the interface).
void bringToFront(QWidget& window);

}  // namespace vantora
