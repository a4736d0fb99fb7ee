// A window on a Wayland desktop, and the input that it has received.
#pragma once

#include <linux/input-event-codes.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QPointF>
#include <QRect>
#include <QSize>
#include <QString>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "tests/fakes/Places.h"
#include "tests/wayland/support/LineProcess.h"
#include "tests/wayland/support/WaylandDesktop.h"

namespace vantora::testwayland {

// Covers one monitor (tests/wayland/canvas). What it has received is known once the event loop has run.
class Canvas {
 public:
  struct Scroll {
    int axis = 0;      // 0: vertical, 1: horizontal.
    double value = 0;  // Positive: down or right.
    double steps = 0;
  };
  struct Key {
    int code = 0;
    bool down = false;
    bool operator==(const Key&) const = default;
  };

  Canvas(const WaylandDesktop& desktop, int monitor)
      : process_(testplaces::program(QStringLiteral("wayland_canvas")), {QStringLiteral("fullscreen %1").arg(monitor)},
                 desktop.environment(), [this](const QJsonObject& report) { take(report); }) {
    (void)testloop::waitFor([this] { return !size_.isEmpty() || !process_.running(); });
  }

  bool running() const { return process_.running() && !size_.isEmpty(); }
  // Painted units, which are pixels.
  QSize size() const { return size_; }
  void send(const QString& command) { process_.send(command); }

  // Paints and waits until it is on the screen.
  [[nodiscard]] bool paint(std::uint32_t rgb, const QRect& area) {
    const int wanted = ++painting_;
    send(QStringLiteral("paint %1 %2 %3 %4 %5")
             .arg(rgb, 6, 16, QLatin1Char('0'))
             .arg(area.x())
             .arg(area.y())
             .arg(area.width())
             .arg(area.height()));
    return testloop::waitFor([&] { return painted_ >= wanted; });
  }
  // "none": none; "bitmap": one that no theme has.
  [[nodiscard]] bool showCursor(const QString& name) {
    shownCursor_.clear();
    send(QStringLiteral("cursor ") + name);
    return testloop::waitFor([&] { return shownCursor_ == name; });
  }

  // Layout units from its top left corner; nullopt while the pointer is elsewhere.
  std::optional<QPointF> pointer() const { return pointer_; }
  std::vector<QPointF>& motions() { return motions_; }
  bool focused() const { return focused_; }
  bool hasPointerDevice() const { return hasPointerDevice_; }
  // Down, as far as it was told.
  const std::set<int>& buttons() const { return buttons_; }
  const std::set<int>& keys() const { return keys_; }
  // All that came since the last clear().
  const std::vector<Key>& keyEvents() const { return keyEvents_; }
  // What a program types for the keys; Enter is a line feed.
  const QString& text() const { return text_; }
  const std::vector<Key>& buttonEvents() const { return buttonEvents_; }
  const std::vector<Scroll>& scrolls() const { return scrolls_; }
  // As the layout numbers them: 1 Shift, 4 Control, 8 Alt, 64 Super.
  int modifiers() const { return modifiers_; }
  void clear() {
    motions_.clear();
    keyEvents_.clear();
    text_.clear();
    buttonEvents_.clear();
    scrolls_.clear();
  }

 private:
  static QPointF point(const QJsonArray& pair) { return {pair.at(0).toDouble(), pair.at(1).toDouble()}; }
  static void note(const QJsonArray& event, std::set<int>& down, std::vector<Key>& events) {
    const Key key{event.at(0).toInt(), event.at(1).toInt() != 0};
    events.push_back(key);
    if (key.down)
      down.insert(key.code);
    else
      down.erase(key.code);
  }

  void take(const QJsonObject& report) {
    const QString what = report.isEmpty() ? QString() : report.begin().key();
    const QJsonValue value = report.value(what);
    const QJsonArray list = value.toArray();
    if (what == u"ready") size_ = {list.at(0).toInt(), list.at(1).toInt()};
    if (what == u"painted") painted_ = value.toInt();
    if (what == u"cursor") shownCursor_ = value.toString();
    if (what == u"seat") hasPointerDevice_ = value.toObject().value(QStringLiteral("pointer")).toBool();
    if (what == u"enter" || what == u"motion") {
      pointer_ = point(list);
      motions_.push_back(*pointer_);
    }
    if (what == u"leave") pointer_.reset();
    if (what == u"button") note(list, buttons_, buttonEvents_);
    if (what == u"axis") scrolls_.push_back({list.at(0).toInt(), list.at(1).toDouble(), list.at(2).toDouble()});
    // A key without a meaning, by which a session announces its keyboard, counts for nothing.
    if (what == u"key" && list.at(0).toInt() != KEY_UNKNOWN) note(list, keys_, keyEvents_);
    if (what == u"text") text_ += value.toString();
    if (what == u"modifiers") modifiers_ = list.at(0).toInt();
    if (what == u"focus") {
      focused_ = value.toBool();
      keys_.clear();
    }
    if (what == u"held") {
      for (const QJsonValue key : list) keys_.insert(key.toInt());
    }
  }

  QSize size_;
  int painting_ = 0;
  int painted_ = 0;
  QString shownCursor_;
  std::optional<QPointF> pointer_;
  std::vector<QPointF> motions_;
  bool hasPointerDevice_ = false;
  bool focused_ = false;
  std::set<int> buttons_;
  std::set<int> keys_;
  std::vector<Key> keyEvents_;
  QString text_;
  std::vector<Key> buttonEvents_;
  std::vector<Scroll> scrolls_;
  int modifiers_ = 0;
  LineProcess process_;  // Last: its reports fill the others.
};

}  // namespace vantora::testwayland
