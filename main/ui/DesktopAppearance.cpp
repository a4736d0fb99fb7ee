#include "main/ui/DesktopAppearance.h"

#include <QApplication>
#include <QDBusVariant>

#include "base/dbus/DBusCall.h"
#include "main/ui/Theme.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr auto kPortal = "org.freedesktop.portal.Desktop"_L1;
constexpr auto kPath = "/org/freedesktop/portal/desktop"_L1;
constexpr auto kSettings = "org.freedesktop.portal.Settings"_L1;
constexpr auto kNamespace = "org.freedesktop.appearance"_L1;
constexpr auto kKey = "color-scheme"_L1;
constexpr uint kPrefersDark = 1;

// The portal wraps a value once or twice.
QVariant unwrapped(QVariant value) {
  while (value.metaType() == QMetaType::fromType<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
  return value;
}

}  // namespace

DesktopAppearance::DesktopAppearance(const QDBusConnection& bus) {
  if (!bus.isConnected()) return;
  changed_ =
      std::make_unique<DBusSignal>(bus, kPath, kSettings, u"SettingChanged"_s, [this](const QDBusMessage& signal) {
        const QVariantList arguments = signal.arguments();
        if (arguments.value(0).toString() == kNamespace && arguments.value(1).toString() == kKey) {
          apply(unwrapped(arguments.value(2)).toUInt());
        }
      });
  QDBusMessage read = QDBusMessage::createMethodCall(kPortal, kPath, kSettings, u"Read"_s);
  read.setArguments({QString(kNamespace), QString(kKey)});
  callDBus(bus, read, &context_, [this](const QDBusMessage& reply) {
    if (reply.type() == QDBusMessage::ReplyMessage) apply(unwrapped(reply.arguments().value(0)).toUInt());
  });
}

void DesktopAppearance::apply(uint colorScheme) {
  const bool wanted = colorScheme == kPrefersDark;
  if (wanted == oursIsOn_) return;
  // Nothing to do if the desktop's own palette is dark already.
  if (wanted && theme::isDark(QApplication::palette())) return;
  oursIsOn_ = wanted;
  QApplication::setPalette(wanted ? theme::darkPalette() : QPalette());
}

}  // namespace vantora
