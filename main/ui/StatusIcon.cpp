#include "main/ui/StatusIcon.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPolygonF>
#include <algorithm>

namespace vantora {
namespace {

// The drawing is made on a square of this many points, the origin at its lower left corner.
constexpr qreal kSide = 18;
const QColor kRed(0xff, 0x3b, 0x30);
const QColor kYellow(0xff, 0xcc, 0x00);
const QColor kGreen(0x28, 0xcd, 0x41);
const QColor kGray(0x8e, 0x8e, 0x93);

QPolygonF bolt() { return QPolygonF{{10, 16}, {6.2, 10.2}, {10, 10.2}, {7.8, 2}, {13.6, 9.8}, {9.8, 9.8}, {10, 16}}; }

class BoltEngine final : public QIconEngine {
 public:
  BoltEngine(const QColor& fill, const QColor& outline, bool unread)
      : fill_(fill), outline_(outline), unread_(unread) {}

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override {
    paintStatusIcon(*painter, rect, fill_, outline_, unread_);
  }
  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
    QPixmap canvas(size);
    canvas.fill(Qt::transparent);
    QPainter painter(&canvas);
    paint(&painter, QRect({}, size), mode, state);
    return canvas;
  }
  QIconEngine* clone() const override { return new BoltEngine(*this); }
  QString key() const override { return QStringLiteral("vantora-bolt"); }
  // The sizes that trays request at the usual scale factors.
  QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
    return {{16, 16}, {22, 22}, {24, 24}, {32, 32}, {44, 44}, {48, 48}, {64, 64}, {96, 96}, {128, 128}};
  }

 private:
  QColor fill_;
  QColor outline_;
  bool unread_;
};

}  // namespace

QColor statusColor(IceState state) {
  switch (state) {
    case IceState::initial:
    case IceState::checking:
      return kYellow;
    case IceState::connected:
    case IceState::completed:
      return kGreen;
    case IceState::failed:
    case IceState::disconnected:
    case IceState::closed:
      return kRed;
    case IceState::count:
      return kGray;
  }
  return kGray;
}

void paintStatusIcon(QPainter& painter, const QRectF& area, const QColor& fillColor, const QColor& outline,
                     bool unread) {
  const qreal scale = std::min(area.width(), area.height()) / kSide;
  if (scale <= 0) return;
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.translate(area.center().x() - kSide * scale / 2, area.center().y() + kSide * scale / 2);
  painter.scale(scale, -scale);
  QColor edge = outline;
  edge.setAlphaF(0.35F);
  painter.setPen(QPen(edge, 0.8));
  painter.setBrush(fillColor);
  painter.drawPolygon(bolt());
  if (unread) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(kRed);
    painter.drawEllipse(QRectF(12.5, 12.5, 4.5, 4.5));
  }
  painter.restore();
}

QColor iconOutline() { return QGuiApplication::palette().color(QPalette::WindowText); }

QIcon makeStatusIcon(const QColor& fillColor, const QColor& outline, bool unread) {
  return QIcon(new BoltEngine(fillColor, outline, unread));
}

}  // namespace vantora
