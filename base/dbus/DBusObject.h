// A D-Bus object of this program.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <optional>

namespace vantora {

// One interface at one path; two functions supply its methods and properties. Thread: that of its creation.
class DBusObject : public QDBusVirtualObject {
 public:
  // `description` is the content of the <interface> element for introspection.
  DBusObject(const QDBusConnection& bus, const QString& path, const QString& interface, const QString& description);
  ~DBusObject() override;

  QString introspect(const QString& path) const final;
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override;

 protected:
  // Reply arguments; empty for an unknown method or wrong arguments.
  virtual std::optional<QVariantList> call(const QString& method, const QVariantList& arguments) = 0;
  virtual QVariantMap properties() const = 0;
  void emitSignal(const QString& name, const QVariantList& arguments = {}) const;

 private:
  QDBusConnection bus_;
  const QString path_;
  const QString interface_;
  const QString description_;
};

}  // namespace vantora
