// The panel that comes up by itself where no tray shows the item.
#pragma once

#include <QTimer>
#include <chrono>
#include <functional>

namespace vantora {

// Decides once whether a person at the desk would find the program without help. Thread: main (of the interface).
// Owner: UserInterface.
class PanelFallback {
 public:
  struct Times {
    // How long a tray may take to show the item after the program has started: panels start together with it at log in.
    std::chrono::milliseconds forTray{5000};
    // How long a panel that is there may take to say whether it shows the item.
    std::chrono::milliseconds forAnswer{20000};
    // How long to look for a window manager. Who shows a screen without one has no desktop.
    std::chrono::milliseconds forManager{60000};
    // From one look to the next, after the first.
    std::chrono::milliseconds step{1000};
  };
  struct Callbacks {
    // Whether a tray shows the item, or the person has already seen the panel.
    std::function<bool()> seen;
    // Whether it is known what kind of tray there is, if any.
    std::function<bool()> trayKnown;
    // Whether there is somebody who lets a person move and close a window.
    std::function<bool()> windowsManaged;
    std::function<void()> show;
    // It is decided. The last call of this object, which may be destroyed by it.
    std::function<void()> done;
  };

  PanelFallback(Callbacks callbacks, Times times);

 private:
  void look();

  const Callbacks callbacks_;
  const Times times_;
  std::chrono::milliseconds waited_;
  QTimer timer_;
};

}  // namespace vantora
