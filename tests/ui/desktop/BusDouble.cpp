// The part of a desktop on the session bus, for tests of the whole program: a panel that shows tray items, a dock that
// shows badges and a server for notifications. Events go to standard output, one JSON object per line; lines on
// standard input are commands, each answered by one {"answer": ...}:
//   rows          the rows of the menu of the newest item: [{label, enabled, checked}], or null
//   click LABEL   clicks that row: true when it exists and the item accepted the click
#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSocketNotifier>
#include <cstdio>
#include <iostream>
#include <string>

#include "tests/ui/support/FakeNotificationServer.h"
#include "tests/ui/support/FakePanel.h"

namespace {

using namespace vantora;
using namespace Qt::Literals::StringLiterals;

void say(const QJsonObject& what) {
  std::fputs((QJsonDocument(what).toJson(QJsonDocument::Compact) + '\n').constData(), stdout);
  std::fflush(stdout);
}

class BusDouble {
 public:
  explicit BusDouble(const QDBusConnection& bus)
      : bus_(bus),
        server_(bus),
        watcher_(bus),
        badge_(bus, QString(), u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s, [](const QDBusMessage& signal) {
          const auto entry = qdbus_cast<QVariantMap>(signal.arguments().value(1));
          say({{u"badge"_s, entry.value(u"count"_s).toLongLong()},
               {u"visible"_s, entry.value(u"count-visible"_s).toBool()}});
        }) {
    server_.listener = [](const testui::ShownNotification& shown) {
      say({{u"notification"_s, QJsonObject{{u"application"_s, shown.application},
                                           {u"title"_s, shown.title},
                                           {u"body"_s, shown.body},
                                           {u"hints"_s, QJsonObject::fromVariantMap(shown.hints)}}}});
    };
    QObject::connect(&input_, &QSocketNotifier::activated, &input_, [this] {
      std::string line;
      if (!std::getline(std::cin, line)) return QCoreApplication::quit();
      say({{u"answer"_s, answer(QString::fromStdString(line))}});
    });
    say({{u"ready"_s, true}});
  }

 private:
  QJsonValue answer(const QString& question) {
    if (watcher_.items().isEmpty()) return QJsonValue::Null;
    testui::ItemReader item(bus_, watcher_.items().last());
    if (question == "rows"_L1) return rows(item);
    const int row = item.rowTitled(question.section(u' ', 1));
    return row > 0 && item.click(row).type() == QDBusMessage::ReplyMessage;
  }

  static QJsonValue rows(testui::ItemReader& item) {
    QJsonArray all;
    for (const DBusMenuLayout& row : item.rows()) {
      const QVariantMap& properties = row.properties;
      all.append(QJsonObject{{u"label"_s, properties.value(u"label"_s).toString()},
                             {u"enabled"_s, properties.value(u"enabled"_s, true).toBool()},
                             {u"checked"_s, properties.value(u"toggle-state"_s).toInt() == 1}});
    }
    return all.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(all);
  }

  QDBusConnection bus_;
  testui::FakeNotificationServer server_;
  testui::FakeWatcher watcher_;
  DBusSignal badge_;
  QSocketNotifier input_{0, QSocketNotifier::Read};
};

}  // namespace

int main(int argc, char* argv[]) {
  QCoreApplication application(argc, argv);
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return 1;
  const BusDouble desktop(bus);
  return QCoreApplication::exec();
}
