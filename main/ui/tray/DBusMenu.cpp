#include "main/ui/tray/DBusMenu.h"

#include <QGuiApplication>
#include <QTimer>

#include "main/ui/tray/DBusMenuTypes.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr auto kDescription = R"xml(
<method name="GetLayout"><arg type="i" direction="in"/><arg type="i" direction="in"/><arg type="as" direction="in"/>
<arg type="u" direction="out"/><arg type="(ia{sv}av)" direction="out"/></method>
<method name="GetGroupProperties"><arg type="ai" direction="in"/><arg type="as" direction="in"/>
<arg type="a(ia{sv})" direction="out"/></method>
<method name="GetProperty"><arg type="i" direction="in"/><arg type="s" direction="in"/>
<arg type="v" direction="out"/></method>
<method name="Event"><arg type="i" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="in"/>
<arg type="u" direction="in"/></method>
<method name="EventGroup"><arg type="a(isvu)" direction="in"/><arg type="ai" direction="out"/></method>
<method name="AboutToShow"><arg type="i" direction="in"/><arg type="b" direction="out"/></method>
<method name="AboutToShowGroup"><arg type="ai" direction="in"/><arg type="ai" direction="out"/>
<arg type="ai" direction="out"/></method>
<signal name="ItemsPropertiesUpdated"><arg type="a(ia{sv})"/><arg type="a(ias)"/></signal>
<signal name="LayoutUpdated"><arg type="u"/><arg type="i"/></signal>
<property name="Version" type="u" access="read"/><property name="TextDirection" type="s" access="read"/>
<property name="Status" type="s" access="read"/><property name="IconThemePath" type="as" access="read"/>
)xml";

QVariantMap propertiesOf(const MenuRow& row) {
  if (row.separator) return {{u"type"_s, u"separator"_s}};
  QString title = row.title;
  // A single underscore would mark an access key.
  QVariantMap properties{{u"label"_s, title.replace(u'_', u"__"_s)}, {u"enabled"_s, row.enabled}};
  if (row.checked) {
    properties.insert(u"toggle-type"_s, u"checkmark"_s);
    properties.insert(u"toggle-state"_s, *row.checked ? 1 : 0);
  }
  if (!row.toolTip.isEmpty()) properties.insert(u"accessible-desc"_s, row.toolTip);
  if (!row.key.isNull()) {
    const QList<QStringList> shortcut{{u"Control"_s, QString(row.key)}};
    properties.insert(u"shortcut"_s, QVariant::fromValue(shortcut));
  }
  return properties;
}

QVariantMap only(const QVariantMap& properties, const QStringList& names) {
  if (names.isEmpty()) return properties;
  QVariantMap wanted;
  for (const QString& name : names) {
    if (properties.contains(name)) wanted.insert(name, properties.value(name));
  }
  return wanted;
}

}  // namespace

DBusMenu::DBusMenu(const QDBusConnection& bus, Triggered triggered)
    : DBusObject(bus, QString::fromLatin1(kPath), u"com.canonical.dbusmenu"_s, QString::fromLatin1(kDescription)),
      triggered_(std::move(triggered)) {
  registerDBusMenuTypes();
}

void DBusMenu::setRows(const QList<MenuRow>& rows) {
  const QList<MenuRow> before = std::exchange(rows_, rows);
  if (before.size() != rows_.size()) {
    emitSignal(u"LayoutUpdated"_s, {++revision_, 0});
    return;
  }
  QList<DBusMenuProperties> updated;
  QList<DBusMenuRemoved> removed;
  for (int i = 0; i < rows_.size(); ++i) {
    if (rows_.at(i) == before.at(i)) continue;
    const QVariantMap old = propertiesOf(before.at(i));
    const QVariantMap now = propertiesOf(rows_.at(i));
    DBusMenuProperties changed{i + 1, {}};
    for (auto it = now.begin(); it != now.end(); ++it) {
      if (!old.contains(it.key()) || old.value(it.key()) != it.value()) changed.properties.insert(it.key(), it.value());
    }
    DBusMenuRemoved gone{i + 1, {}};
    for (auto it = old.begin(); it != old.end(); ++it) {
      if (!now.contains(it.key())) gone.names.append(it.key());
    }
    if (!changed.properties.isEmpty()) updated.append(changed);
    if (!gone.names.isEmpty()) removed.append(gone);
  }
  if (updated.isEmpty() && removed.isEmpty()) return;
  emitSignal(u"ItemsPropertiesUpdated"_s, {QVariant::fromValue(updated), QVariant::fromValue(removed)});
}

QVariantMap DBusMenu::properties() const {
  return {{u"Version"_s, 3U},
          {u"TextDirection"_s, QGuiApplication::isRightToLeft() ? u"rtl"_s : u"ltr"_s},
          {u"Status"_s, u"normal"_s},
          {u"IconThemePath"_s, QStringList()}};
}

std::optional<QVariantList> DBusMenu::call(const QString& method, const QVariantList& arguments) {
  if (method == "GetLayout"_L1) return getLayout(arguments);
  if (method == "GetGroupProperties"_L1) return getGroupProperties(arguments);
  if (method == "GetProperty"_L1) return getProperty(arguments);
  if (method == "Event"_L1) {
    const int id = arguments.value(0).toInt();
    if (id != 0 && !hasRow(id)) return std::nullopt;
    event(id, arguments.value(1).toString());
    return QVariantList();
  }
  if (method == "EventGroup"_L1) return eventGroup(arguments);
  if (method == "AboutToShow"_L1) return QVariantList{false};  // The rows are always up to date.
  if (method == "AboutToShowGroup"_L1) {
    return QVariantList{QVariant::fromValue(QList<int>()), QVariant::fromValue(QList<int>())};
  }
  return std::nullopt;
}

std::optional<QVariantList> DBusMenu::getLayout(const QVariantList& arguments) const {
  const int parent = arguments.value(0).toInt();
  const int depth = arguments.value(1, -1).toInt();
  const QStringList names = arguments.value(2).toStringList();
  DBusMenuLayout layout{parent, {}, {}};
  if (parent == 0) {
    layout.properties = only({{u"children-display"_s, u"submenu"_s}}, names);
    for (int i = 0; depth != 0 && i < rows_.size(); ++i) {
      const DBusMenuLayout child{i + 1, only(propertiesOf(rows_.at(i)), names), {}};
      layout.children.append(QDBusVariant(QVariant::fromValue(child)));
    }
  } else if (hasRow(parent)) {
    layout.properties = only(propertiesOf(rows_.at(parent - 1)), names);
  } else {
    return std::nullopt;
  }
  return QVariantList{revision_, QVariant::fromValue(layout)};
}

QVariantList DBusMenu::getGroupProperties(const QVariantList& arguments) const {
  auto ids = qdbus_cast<QList<int>>(arguments.value(0));
  if (ids.isEmpty()) {
    for (int id = 1; id <= rows_.size(); ++id) ids.append(id);
  }
  QList<DBusMenuProperties> group;
  for (const int id : std::as_const(ids)) {
    if (hasRow(id)) group.append({id, only(propertiesOf(rows_.at(id - 1)), arguments.value(1).toStringList())});
  }
  return {QVariant::fromValue(group)};
}

std::optional<QVariantList> DBusMenu::getProperty(const QVariantList& arguments) const {
  const int id = arguments.value(0).toInt();
  const QString name = arguments.value(1).toString();
  if (!hasRow(id)) return std::nullopt;
  const QVariantMap all = propertiesOf(rows_.at(id - 1));
  if (!all.contains(name)) return std::nullopt;
  return QVariantList{QVariant::fromValue(QDBusVariant(all.value(name)))};
}

QVariantList DBusMenu::eventGroup(const QVariantList& arguments) {
  QList<int> unknown;
  for (const DBusMenuEvent& each : qdbus_cast<QList<DBusMenuEvent>>(arguments.value(0))) {
    if (each.id == 0 || hasRow(each.id)) {
      event(each.id, each.event);
    } else {
      unknown.append(each.id);
    }
  }
  return {QVariant::fromValue(unknown)};
}

void DBusMenu::event(int id, const QString& what) {
  if (what != "clicked"_L1 || !hasRow(id)) return;
  const MenuRow& row = rows_.at(id - 1);
  if (!row.enabled || row.action == MenuAction::none) return;
  // After the reply: the panel must not wait for the action of a row.
  QTimer::singleShot(0, this, [this, action = row.action] { triggered_(action); });
}

}  // namespace vantora
