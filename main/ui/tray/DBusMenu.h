// The menu as a desktop's panel reads it over D-Bus (com.canonical.dbusmenu).
#pragma once

#include <QList>
#include <functional>

#include "base/dbus/DBusObject.h"
#include "main/ui/MenuRows.h"

namespace vantora {

// Rows keep their numbers (their position, counted from 1); only changes of their properties are announced, so a panel
// updates an open menu without closing it. Thread: main (of the interface). Owner: DBusTray.
class DBusMenu final : public DBusObject {
 public:
  static constexpr auto kPath = "/MenuBar";
  using Triggered = std::function<void(MenuAction)>;

  DBusMenu(const QDBusConnection& bus, Triggered triggered);

  void setRows(const QList<MenuRow>& rows);

 private:
  std::optional<QVariantList> call(const QString& method, const QVariantList& arguments) override;
  QVariantMap properties() const override;

  std::optional<QVariantList> getLayout(const QVariantList& arguments) const;
  QVariantList getGroupProperties(const QVariantList& arguments) const;
  std::optional<QVariantList> getProperty(const QVariantList& arguments) const;
  QVariantList eventGroup(const QVariantList& arguments);
  bool hasRow(int id) const { return id >= 1 && id <= rows_.size(); }
  void event(int id, const QString& what);

  const Triggered triggered_;
  QList<MenuRow> rows_;
  uint revision_ = 1;
};

}  // namespace vantora
