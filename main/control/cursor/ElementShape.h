// The cursor shape that belongs to an element of a user interface. Pure functions.
#pragma once

#include <QLatin1StringView>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <optional>
#include <span>

#include "platform/Accessibility.h"

namespace vantora {

// How many elements decide about the shape: the one under the pointer and its nearest ancestors.
inline constexpr int kElementsWalked = 6;

// A text attribute: "AXRole", "AXSubrole", "AXRoleDescription" or "AXOrientation"; empty when the element lacks it.
QString getStringAttr(const AccessibleElement& element, QLatin1StringView attribute);

// The element's "AXFrame".
std::optional<QRectF> getCGRectAttr(const AccessibleElement& element);

// The resize shape for a pointer at most 6.0 points from an edge of `frame`, inside or outside; a corner takes
// precedence over its edges. Empty further inside and further outside.
std::optional<QString> windowEdgeShape(const QRectF& frame, const QPointF& pointer);

// The shape for a pointer over `elements`, listed from the inside out; only the first kElementsWalked count. Empty when
// no element determines the shape.
std::optional<QString> elementShape(std::span<const AccessibleElement> elements, const QPointF& pointer);

}  // namespace vantora
