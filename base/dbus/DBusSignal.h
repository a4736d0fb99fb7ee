// Passes signals of D-Bus services to a function.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <functional>

namespace vantora {

// Listens from construction to destruction, whichever service sends the signal and whether or not it runs yet. The only
// class with a slot: the toolkit delivers bus signals to declared slots only. Thread: that of its creation.
class DBusSignal final : public QObject {
  Q_OBJECT
 public:
  using Handler = std::function<void(const QDBusMessage&)>;

  DBusSignal(const QDBusConnection& bus, const QString& path, const QString& interface, const QString& name,
             Handler handler);
  ~DBusSignal() override;

 private:
  // Accepts any arguments; the handler checks them.
  Q_SLOT void received(const QDBusMessage& message);

  QDBusConnection bus_;
  const QString path_;
  const QString interface_;
  const QString name_;
  const Handler handler_;
};

}  // namespace vantora
