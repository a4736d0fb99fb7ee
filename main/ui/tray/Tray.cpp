#include "main/ui/tray/Tray.h"

namespace vantora {

Tray::Tray(const QDBusConnection& bus, Handlers handlers, std::chrono::milliseconds timeout)
    : handlers_(std::move(handlers)),
      dbus_(bus,
            {.triggered = handlers_.triggered,
             .activated = handlers_.activated,
             .shown = [this](bool shown) { setShownOverDBus(shown); }},
            timeout) {}

void Tray::setAppearance(const TrayAppearance& appearance) {
  appearance_ = appearance;
  dbus_.setAppearance(appearance);
  if (legacy_) legacy_->setAppearance(appearance);
}

void Tray::setRows(const QList<MenuRow>& rows) {
  rows_ = rows;
  dbus_.setRows(rows);
  if (legacy_) legacy_->setRows(rows);
}

void Tray::setShownOverDBus(bool shown) {
  shownOverDBus_ = shown;
  if (shown) {
    legacy_.reset();
  } else if (!legacy_) {
    legacy_ = std::make_unique<LegacyTray>(handlers_.triggered);
    legacy_->setRows(rows_);
    legacy_->setAppearance(appearance_);
  }
}

}  // namespace vantora
