// Values of the menu and tray protocols as sent over the bus.
#pragma once

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusVariant>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace vantora {

// (iiay): an image, ARGB with the highest byte first.
struct DBusImage {
  int width = 0;
  int height = 0;
  QByteArray pixels;
};

// (sa(iiay)ss)
struct DBusToolTip {
  QString iconName;
  QList<DBusImage> icon;
  QString title;
  QString description;
};

// (ia{sv}av): a row and what is below it.
struct DBusMenuLayout {
  int id = 0;
  QVariantMap properties;
  QList<QDBusVariant> children;
};

// (ia{sv})
struct DBusMenuProperties {
  int id = 0;
  QVariantMap properties;
};

// (ias): names of properties that a row no longer has.
struct DBusMenuRemoved {
  int id = 0;
  QStringList names;
};

// (isvu)
struct DBusMenuEvent {
  int id = 0;
  QString event;
  QDBusVariant data;
  uint timestamp = 0;
};

QDBusArgument& operator<<(QDBusArgument& argument, const DBusImage& value);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusImage& value);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusToolTip& value);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusToolTip& value);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuLayout& value);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuLayout& value);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuProperties& value);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuProperties& value);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuRemoved& value);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuRemoved& value);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuEvent& value);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuEvent& value);

// Makes these types known to the bus library; may be called again.
void registerDBusMenuTypes();

}  // namespace vantora
