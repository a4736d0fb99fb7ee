// An accessible program whose replies the test defines, and the registry that lists it.
#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <functional>
#include <map>

namespace vantora::testx11 {

// (so), the type of objects on the accessibility bus.
struct Named {
  QString name;
  QDBusObjectPath path;
};

inline QDBusArgument& operator<<(QDBusArgument& argument, const Named& named) {
  argument.beginStructure();
  argument << named.name << named.path;
  argument.endStructure();
  return argument;
}
inline const QDBusArgument& operator>>(const QDBusArgument& argument, Named& named) {
  argument.beginStructure();
  argument >> named.name >> named.path;
  argument.endStructure();
  return argument;
}

// (iiii)
struct Extents {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

inline QDBusArgument& operator<<(QDBusArgument& argument, const Extents& extents) {
  argument.beginStructure();
  argument << extents.x << extents.y << extents.width << extents.height;
  argument.endStructure();
  return argument;
}
inline const QDBusArgument& operator>>(const QDBusArgument& argument, Extents& extents) {
  argument.beginStructure();
  argument >> extents.x >> extents.y >> extents.width >> extents.height;
  argument.endStructure();
  return argument;
}

}  // namespace vantora::testx11

Q_DECLARE_METATYPE(vantora::testx11::Named)
Q_DECLARE_METATYPE(vantora::testx11::Extents)

namespace vantora::testx11 {

// Replies to every call below /org/a11y on a separate connection. Thread: main, whose event loop has to run.
class UnresponsiveProgram final : public QDBusVirtualObject {
 public:
  using Reply = std::function<QVariant(const QDBusMessage& call)>;

  explicit UnresponsiveProgram(const QString& address)
      : connection_(QDBusConnection::connectToBus(address, QStringLiteral("rude"))) {
    qDBusRegisterMetaType<Named>();
    qDBusRegisterMetaType<QList<Named>>();
    qDBusRegisterMetaType<Extents>();
    registered_ = connection_.registerVirtualObject(QStringLiteral("/org/a11y"), this, QDBusConnection::SubPath) &&
                  connection_.registerService(QStringLiteral("org.a11y.atspi.Registry"));
  }
  ~UnresponsiveProgram() override { QDBusConnection::disconnectFromBus(QStringLiteral("rude")); }

  bool running() const { return registered_; }
  QString name() const { return connection_.baseService(); }
  Named object(const QString& name) const {
    return {connection_.baseService(), QDBusObjectPath(QStringLiteral("/org/a11y/atspi/accessible/") + name)};
  }
  // Sets the reply of a method on every object; an invalid value: never a reply.
  void setReply(const QString& method, Reply reply) { replies_[method] = std::move(reply); }
  int calls(const QString& method) const { return calls_.contains(method) ? calls_.at(method) : 0; }

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    ++calls_[message.member()];
    const auto found = replies_.find(message.member());
    if (found == replies_.end()) return false;
    const QVariant value = found->second(message);
    if (value.isValid()) connection.send(message.createReply(value));
    return true;
  }

 private:
  QDBusConnection connection_;
  bool registered_ = false;
  std::map<QString, Reply> replies_;
  std::map<QString, int> calls_;
};

}  // namespace vantora::testx11
