#include "main/ui/PaletteObserver.h"

#include <QApplication>
#include <QEvent>

namespace vantora {

PaletteObserver::PaletteObserver(std::function<void()> changed) : changed_(std::move(changed)) {
  qApp->installEventFilter(this);
}

bool PaletteObserver::eventFilter(QObject* watched, QEvent* event) {
  if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange) changed_();
  return false;
}

}  // namespace vantora
