#include "main/ui/panel/PanelFallback.h"

#include <utility>

namespace vantora {

PanelFallback::PanelFallback(Callbacks callbacks, Times times)
    : callbacks_(std::move(callbacks)), times_(times), waited_(times.forTray) {
  timer_.setSingleShot(true);
  QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { check(); });
  timer_.start(times_.forTray);
}

void PanelFallback::check() {
  const bool seen = callbacks_.seen();
  const bool trayMissing = !seen && (callbacks_.trayKnown() || waited_ >= times_.forAnswer);
  const bool wanted = trayMissing && callbacks_.windowsManaged();
  if (!seen && !wanted && waited_ < times_.forManager) {
    waited_ += times_.step;
    timer_.start(times_.step);
    return;
  }
  if (wanted) callbacks_.show();
  const auto done = callbacks_.done;
  if (done) done();
}

}  // namespace vantora
