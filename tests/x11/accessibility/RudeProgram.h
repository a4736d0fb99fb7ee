// An accessible program whose answers a test makes up, and the registry that lists it.
#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <functional>
#include <map>

namespace vantora::testing_x11 {

// (so), as objects travel on the accessibility bus.
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

}  // namespace vantora::testing_x11

Q_DECLARE_METATYPE(vantora::testing_x11::Named)
Q_DECLARE_METATYPE(vantora::testing_x11::Extents)

namespace vantora::testing_x11 {

// Answers every call below /org/a11y on a connection of its own. Thread: main, whose event loop has to run.
class RudeProgram final : public QDBusVirtualObject {
 public:
  using Answer = std::function<QVariant(const QDBusMessage& call)>;

  explicit RudeProgram(const QString& address)
      : connection_(QDBusConnection::connectToBus(address, QStringLiteral("rude"))) {
    qDBusRegisterMetaType<Named>();
    qDBusRegisterMetaType<QList<Named>>();
    qDBusRegisterMetaType<Extents>();
    registered_ = connection_.registerVirtualObject(QStringLiteral("/org/a11y"), this, QDBusConnection::SubPath) &&
                  connection_.registerService(QStringLiteral("org.a11y.atspi.Registry"));
  }
  ~RudeProgram() override { QDBusConnection::disconnectFromBus(QStringLiteral("rude")); }

  bool running() const { return registered_; }
  QString name() const { return connection_.baseService(); }
  Named object(const QString& name) const {
    return {connection_.baseService(), QDBusObjectPath(QStringLiteral("/org/a11y/atspi/accessible/") + name)};
  }
  // What a method answers on every object; an invalid value: nothing at all, ever.
  void answer(const QString& method, Answer answer) { answers_[method] = std::move(answer); }
  int calls(const QString& method) const { return calls_.contains(method) ? calls_.at(method) : 0; }

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    ++calls_[message.member()];
    const auto found = answers_.find(message.member());
    if (found == answers_.end()) return false;
    const QVariant value = found->second(message);
    if (value.isValid()) connection.send(message.createReply(value));
    return true;
  }

 private:
  QDBusConnection connection_;
  bool registered_ = false;
  std::map<QString, Answer> answers_;
  std::map<QString, int> calls_;
};

}  // namespace vantora::testing_x11
