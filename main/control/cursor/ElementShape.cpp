#include "main/control/cursor/ElementShape.h"

#include <algorithm>
#include <cmath>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr double kEdgeMargin = 6.0;

struct Texts {
  QString role;
  QString subrole;
  QString description;

  bool roleHas(QLatin1StringView part) const { return role.contains(part); }
  bool descriptionHas(QLatin1StringView part) const { return description.contains(part); }
  bool anyHas(QLatin1StringView part) const {
    return role.contains(part) || subrole.contains(part) || description.contains(part);
  }
};

bool near(double value, double edge) { return std::abs(value - edge) <= kEdgeMargin; }

}  // namespace

QString getStringAttr(const AccessibleElement& element, QLatin1StringView attribute) {
  if (attribute == "AXRole"_L1) return element.role;
  if (attribute == "AXSubrole"_L1) return element.subrole;
  if (attribute == "AXRoleDescription"_L1) return element.roleDescription;
  if (attribute == "AXOrientation"_L1) return element.orientation;
  return {};
}

std::optional<QRectF> getCGRectAttr(const AccessibleElement& element) { return element.frame; }

std::optional<QString> windowEdgeShape(const QRectF& frame, const QPointF& pointer) {
  const QRectF reach = frame.adjusted(-kEdgeMargin, -kEdgeMargin, kEdgeMargin, kEdgeMargin);
  if (!(frame.isValid() && reach.contains(pointer))) return std::nullopt;
  const bool left = near(pointer.x(), frame.left());
  const bool right = near(pointer.x(), frame.right());
  const bool top = near(pointer.y(), frame.top());
  const bool bottom = near(pointer.y(), frame.bottom());
  if ((top && left) || (bottom && right)) return u"nwse-resize"_s;
  if ((top && right) || (bottom && left)) return u"nesw-resize"_s;
  if (top) return u"n-resize"_s;
  if (bottom) return u"s-resize"_s;
  if (left) return u"w-resize"_s;
  if (right) return u"e-resize"_s;
  return std::nullopt;
}

std::optional<QString> elementShape(std::span<const AccessibleElement> elements, const QPointF& pointer) {
  const auto walked = elements.first(std::min<std::size_t>(elements.size(), kElementsWalked));
  for (const AccessibleElement& element : walked) {
    const Texts texts{getStringAttr(element, "AXRole"_L1).toLower(), getStringAttr(element, "AXSubrole"_L1).toLower(),
                      getStringAttr(element, "AXRoleDescription"_L1).toLower()};
    if (texts.roleHas("textfield"_L1) || texts.roleHas("textarea"_L1) || texts.descriptionHas("search field"_L1) ||
        texts.descriptionHas("editable text"_L1)) {
      return u"text"_s;
    }
    if (texts.anyHas("link"_L1) || texts.anyHas("button"_L1) || texts.anyHas("hyperlink"_L1)) return u"pointer"_s;
    if (texts.anyHas("splitter"_L1) || texts.anyHas("growarea"_L1)) {
      const QString orientation = getStringAttr(element, "AXOrientation"_L1).toLower();
      return orientation.contains("vertical"_L1) ? u"col-resize"_s : u"row-resize"_s;
    }
    if (texts.anyHas("titlebar"_L1) || texts.anyHas("title bar"_L1)) return u"move"_s;
    if (texts.anyHas("window"_L1)) {
      const auto frame = getCGRectAttr(element);
      return frame ? windowEdgeShape(*frame, pointer) : std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace vantora
