#include "main/ui/PaletteWatch.h"

#include <QApplication>
#include <QEvent>

namespace vantora {

PaletteWatch::PaletteWatch(std::function<void()> changed) : changed_(std::move(changed)) {
  qApp->installEventFilter(this);
}

bool PaletteWatch::eventFilter(QObject* watched, QEvent* event) {
  if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange) changed_();
  return false;
}

}  // namespace vantora
