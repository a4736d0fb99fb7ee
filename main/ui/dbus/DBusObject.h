// An object of ours on the bus.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <optional>

namespace vantora {

// One interface at one path: its methods and properties are answered by two functions. Thread: the one that made it.
class DBusObject : public QDBusVirtualObject {
 public:
  // `description` is the inside of the interface's <interface> element for those who ask what there is.
  DBusObject(const QDBusConnection& bus, const QString& path, const QString& interface, const QString& description);
  ~DBusObject() override;

  QString introspect(const QString& path) const final;
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override;

 protected:
  // Reply arguments; none for a method or arguments that do not exist.
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
