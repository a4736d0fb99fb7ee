#include "main/ui/tray/StatusNotifierItem.h"

#include <QDBusObjectPath>
#include <QIcon>
#include <QImage>
#include <QTimer>
#include <QtEndian>

#include "main/ui/BringToFront.h"
#include "main/ui/StatusIcon.h"
#include "main/ui/tray/DBusMenu.h"
#include "main/ui/tray/DBusMenuTypes.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr auto kDescription = R"xml(
<property name="Category" type="s" access="read"/><property name="Id" type="s" access="read"/>
<property name="Title" type="s" access="read"/><property name="Status" type="s" access="read"/>
<property name="WindowId" type="i" access="read"/><property name="IconName" type="s" access="read"/>
<property name="IconPixmap" type="a(iiay)" access="read"/><property name="OverlayIconName" type="s" access="read"/>
<property name="OverlayIconPixmap" type="a(iiay)" access="read"/>
<property name="AttentionIconName" type="s" access="read"/>
<property name="AttentionIconPixmap" type="a(iiay)" access="read"/>
<property name="AttentionMovieName" type="s" access="read"/>
<property name="ToolTip" type="(sa(iiay)ss)" access="read"/><property name="IconThemePath" type="s" access="read"/>
<property name="ItemIsMenu" type="b" access="read"/><property name="Menu" type="o" access="read"/>
<method name="ContextMenu"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
<method name="Activate"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
<method name="SecondaryActivate"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
<method name="Scroll"><arg type="i" direction="in"/><arg type="s" direction="in"/></method>
<method name="ProvideXdgActivationToken"><arg type="s" direction="in"/></method>
<signal name="NewTitle"/><signal name="NewIcon"/><signal name="NewAttentionIcon"/><signal name="NewOverlayIcon"/>
<signal name="NewToolTip"/><signal name="NewStatus"><arg type="s"/></signal>
)xml";

QList<DBusImage> images(const TrayAppearance& appearance) {
  const QIcon icon = makeStatusIcon(appearance.fill, appearance.outline, appearance.unread);
  QList<DBusImage> all;
  for (const QSize& size : icon.availableSizes()) {
    QImage image = icon.pixmap(size, 1.0).toImage().convertToFormat(QImage::Format_ARGB32);
    DBusImage converted{image.width(), image.height(), {}};
    converted.pixels.resize(image.sizeInBytes());
    qToBigEndian<quint32>(image.constBits(), image.sizeInBytes() / 4, converted.pixels.data());
    all.append(converted);
  }
  return all;
}

}  // namespace

StatusNotifierItem::StatusNotifierItem(const QDBusConnection& bus, std::function<void()> activated)
    : DBusObject(bus, QString::fromLatin1(kPath), u"org.kde.StatusNotifierItem"_s, QString::fromLatin1(kDescription)),
      activated_(std::move(activated)) {
  registerDBusMenuTypes();
}

void StatusNotifierItem::setAppearance(const TrayAppearance& appearance) {
  const TrayAppearance before = std::exchange(appearance_, appearance);
  if (before.fill != appearance.fill || before.outline != appearance.outline || before.unread != appearance.unread) {
    emitSignal(u"NewIcon"_s);
  }
  if (before.toolTip != appearance.toolTip) emitSignal(u"NewToolTip"_s);
}

QVariantMap StatusNotifierItem::properties() const {
  const QVariant noImages = QVariant::fromValue(QList<DBusImage>());
  // The text is in the title: panels read the description as markup, and the text contains input of a viewer.
  const DBusToolTip toolTip{{}, {}, appearance_.toolTip, {}};
  return {{u"Category"_s, u"ApplicationStatus"_s},
          {u"Id"_s, u"vantora-host"_s},
          {u"Title"_s, u"Vantora Host"_s},
          {u"Status"_s, u"Active"_s},
          {u"WindowId"_s, 0},
          {u"IconName"_s, QString()},
          {u"IconPixmap"_s, QVariant::fromValue(images(appearance_))},
          {u"OverlayIconName"_s, QString()},
          {u"OverlayIconPixmap"_s, noImages},
          {u"AttentionIconName"_s, QString()},
          {u"AttentionIconPixmap"_s, noImages},
          {u"AttentionMovieName"_s, QString()},
          {u"ToolTip"_s, QVariant::fromValue(toolTip)},
          {u"IconThemePath"_s, QString()},
          // Any click opens the menu.
          {u"ItemIsMenu"_s, true},
          {u"Menu"_s, QVariant::fromValue(QDBusObjectPath(QString::fromLatin1(DBusMenu::kPath)))}};
}

std::optional<QVariantList> StatusNotifierItem::call(const QString& method, const QVariantList& arguments) {
  if (method == "Activate"_L1 || method == "SecondaryActivate"_L1 || method == "ContextMenu"_L1) {
    QTimer::singleShot(0, this, [this] { activated_(); });
    return QVariantList();
  }
  if (method == "Scroll"_L1) return QVariantList();
  if (method == "ProvideXdgActivationToken"_L1) {
    keepActivationToken(arguments.value(0).toString());
    return QVariantList();
  }
  return std::nullopt;
}

}  // namespace vantora
