#include "main/ui/tray/DBusMenuTypes.h"

#include <QDBusMetaType>

namespace vantora {

QDBusArgument& operator<<(QDBusArgument& argument, const DBusImage& value) {
  argument.beginStructure();
  argument << value.width << value.height << value.pixels;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusImage& value) {
  argument.beginStructure();
  argument >> value.width >> value.height >> value.pixels;
  argument.endStructure();
  return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const DBusToolTip& value) {
  argument.beginStructure();
  argument << value.iconName << value.icon << value.title << value.description;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusToolTip& value) {
  argument.beginStructure();
  argument >> value.iconName >> value.icon >> value.title >> value.description;
  argument.endStructure();
  return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuLayout& value) {
  argument.beginStructure();
  argument << value.id << value.properties << value.children;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuLayout& value) {
  argument.beginStructure();
  argument >> value.id >> value.properties >> value.children;
  argument.endStructure();
  return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuProperties& value) {
  argument.beginStructure();
  argument << value.id << value.properties;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuProperties& value) {
  argument.beginStructure();
  argument >> value.id >> value.properties;
  argument.endStructure();
  return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuRemoved& value) {
  argument.beginStructure();
  argument << value.id << value.names;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuRemoved& value) {
  argument.beginStructure();
  argument >> value.id >> value.names;
  argument.endStructure();
  return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuEvent& value) {
  argument.beginStructure();
  argument << value.id << value.event << value.data << value.timestamp;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuEvent& value) {
  argument.beginStructure();
  argument >> value.id >> value.event >> value.data >> value.timestamp;
  argument.endStructure();
  return argument;
}

void registerDBusMenuTypes() {
  qDBusRegisterMetaType<DBusImage>();
  qDBusRegisterMetaType<QList<DBusImage>>();
  qDBusRegisterMetaType<DBusToolTip>();
  qDBusRegisterMetaType<DBusMenuLayout>();
  qDBusRegisterMetaType<DBusMenuProperties>();
  qDBusRegisterMetaType<QList<DBusMenuProperties>>();
  qDBusRegisterMetaType<DBusMenuRemoved>();
  qDBusRegisterMetaType<QList<DBusMenuRemoved>>();
  qDBusRegisterMetaType<DBusMenuEvent>();
  qDBusRegisterMetaType<QList<DBusMenuEvent>>();
  qDBusRegisterMetaType<QList<QDBusVariant>>();
  qDBusRegisterMetaType<QList<QStringList>>();
  qDBusRegisterMetaType<QList<int>>();
}

}  // namespace vantora
