// Shows the panel by itself where no tray shows the item.
#pragma once

#include <QTimer>
#include <chrono>
#include <functional>

namespace vantora {

// Decides once whether the local user can find the program without the panel. Thread: main (of the interface). Owner:
// UserInterface.
class PanelFallback {
 public:
  struct Times {
    // How long a tray may take to show the item after the program has started: panels start together with it at log in.
    std::chrono::milliseconds forTray{5000};
    // How long a running panel may take to report whether it shows the item.
    std::chrono::milliseconds forAnswer{20000};
    // How long to wait for a window manager. A screen without one is not a desktop.
    std::chrono::milliseconds forManager{60000};
    // Interval between two checks, after the first check.
    std::chrono::milliseconds step{1000};
  };
  struct Callbacks {
    // Whether a tray shows the item, or the panel has been shown already.
    std::function<bool()> seen;
    // Whether it is known which kind of tray exists, if any.
    std::function<bool()> trayKnown;
    // Whether a window manager lets the user move and close windows.
    std::function<bool()> windowsManaged;
    std::function<void()> show;
    // The decision is made. This is the last call of this object, which may be destroyed by it.
    std::function<void()> done;
  };

  PanelFallback(Callbacks callbacks, Times times);

 private:
  void check();

  const Callbacks callbacks_;
  const Times times_;
  std::chrono::milliseconds waited_;
  QTimer timer_;
};

}  // namespace vantora
