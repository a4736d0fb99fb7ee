#include "main/ui/Theme.h"

#include <QApplication>
#include <QFontInfo>
#include <algorithm>

namespace vantora::theme {
namespace {

// Text of the usual size on the usual desktop, in device-independent pixels.
constexpr qreal kUsualPixels = 13.5;

QColor mixed(const QColor& a, const QColor& b, qreal share) {
  const auto part = [share](int x, int y) { return qRound(x * share + y * (1 - share)); };
  return {part(a.red(), b.red()), part(a.green(), b.green()), part(a.blue(), b.blue())};
}

}  // namespace

bool isDark(const QPalette& palette) {
  return palette.color(QPalette::WindowText).lightness() > palette.color(QPalette::Window).lightness();
}

QColor secondaryText(const QPalette& palette) {
  return mixed(palette.color(QPalette::Text), palette.color(QPalette::Base), 0.62);
}

QColor link(const QPalette& palette) { return isDark(palette) ? QColor(0x6c, 0xb4, 0xff) : QColor(0x0b, 0x57, 0xd0); }

qreal textScale() { return std::max(1.0, QFontInfo(QApplication::font()).pixelSize() / kUsualPixels); }

QPalette darkPalette() {
  const QColor window(0x24, 0x25, 0x28);
  const QColor base(0x1b, 0x1c, 0x1f);
  const QColor text(0xf0, 0xf0, 0xf2);
  const QColor faint(0x7c, 0x7d, 0x82);
  QPalette palette(QColor(0x35, 0x36, 0x3a), window);
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
    palette.setColor(role, text);
    palette.setColor(QPalette::Disabled, role, faint);
  }
  palette.setColor(QPalette::Window, window);
  palette.setColor(QPalette::Base, base);
  palette.setColor(QPalette::AlternateBase, window);
  palette.setColor(QPalette::ToolTipBase, QColor(0x3a, 0x3b, 0x40));
  palette.setColor(QPalette::Button, QColor(0x35, 0x36, 0x3a));
  palette.setColor(QPalette::PlaceholderText, faint);
  palette.setColor(QPalette::BrightText, Qt::white);
  palette.setColor(QPalette::Highlight, QColor(0x2f, 0x6f, 0xde));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, link(palette));
  return palette;
}

}  // namespace vantora::theme
