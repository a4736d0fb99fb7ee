// Signals of D-Bus services, handed to a function.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <functional>

namespace vantora {

// Listens from construction to destruction, whichever service sends the signal and whether or not it runs yet. The one
// class of its kind: the toolkit delivers bus signals to declared slots only. Thread: the one that made it.
class DBusSignal final : public QObject {
  Q_OBJECT
 public:
  using Handler = std::function<void(const QDBusMessage&)>;

  DBusSignal(const QDBusConnection& bus, const QString& path, const QString& interface, const QString& name,
             Handler handler);
  ~DBusSignal() override;

 private:
  // Takes any arguments; the handler checks what came.
  Q_SLOT void received(const QDBusMessage& message);

  QDBusConnection bus_;
  const QString path_;
  const QString interface_;
  const QString name_;
  const Handler handler_;
};

}  // namespace vantora
