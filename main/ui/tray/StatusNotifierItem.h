// The program's item for a tray that uses D-Bus (org.kde.StatusNotifierItem).
#pragma once

#include <functional>

#include "base/dbus/DBusObject.h"
#include "main/ui/tray/TrayAppearance.h"

namespace vantora {

// Thread: main (of the interface). Owner: DBusTray.
class StatusNotifierItem final : public DBusObject {
 public:
  static constexpr auto kPath = "/StatusNotifierItem";

  // `activated`: the item was clicked in a way that opens no menu.
  StatusNotifierItem(const QDBusConnection& bus, std::function<void()> activated);

  // Announces only changes.
  void setAppearance(const TrayAppearance& appearance);

 private:
  std::optional<QVariantList> call(const QString& method, const QVariantList& arguments) override;
  QVariantMap properties() const override;

  const std::function<void()> activated_;
  TrayAppearance appearance_;
};

}  // namespace vantora
