#include <gtest/gtest.h>

#include "main/control/cursor/ElementShape.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const QRectF kFrame(100, 200, 400, 300);
constexpr QPointF kInside(300, 350);

using Elements = std::vector<AccessibleElement>;
using Shape = std::optional<QString>;

Shape shapeOf(const Elements& elements, const QPointF& pointer = kInside) { return elementShape(elements, pointer); }

AccessibleElement role(const QString& text) { return {.role = text}; }
AccessibleElement window() { return {.role = u"AXWindow"_s, .frame = kFrame}; }

TEST(ElementShape, showsTextOverTextFieldsAndAreas) {
  EXPECT_EQ(shapeOf({role(u"AXTextField"_s)}), u"text"_s);
  EXPECT_EQ(shapeOf({role(u"AXTextArea"_s)}), u"text"_s);
  EXPECT_EQ(shapeOf({{.role = u"AXGroup"_s, .roleDescription = u"Search field"_s}}), u"text"_s);
  EXPECT_EQ(shapeOf({{.role = u"AXGroup"_s, .roleDescription = u"some Editable Text"_s}}), u"text"_s);
}

TEST(ElementShape, aTextFieldIsToldByItsRoleAlone) {
  EXPECT_EQ(shapeOf({{.role = u"AXGroup"_s, .subrole = u"AXTextField"_s}}), std::nullopt);
  EXPECT_EQ(shapeOf({{.role = u"AXGroup"_s, .roleDescription = u"textarea"_s}}), std::nullopt);
  EXPECT_EQ(shapeOf({{.role = u"editable text"_s}}), std::nullopt);
}

TEST(ElementShape, showsAHandOverLinksAndButtons) {
  for (const QString& text : {u"AXLink"_s, u"AXButton"_s, u"AXRadioButton"_s, u"AXPopUpButton"_s, u"hyperlink"_s}) {
    EXPECT_EQ(shapeOf({{.role = text}}), u"pointer"_s) << text.toStdString();
    EXPECT_EQ(shapeOf({{.role = u"AXGroup"_s, .subrole = text}}), u"pointer"_s) << text.toStdString();
    EXPECT_EQ(shapeOf({{.role = u"AXGroup"_s, .roleDescription = text}}), u"pointer"_s) << text.toStdString();
  }
}

TEST(ElementShape, showsTheDirectionInWhichASplitterMoves) {
  for (const QString& text : {u"AXSplitter"_s, u"AXGrowArea"_s}) {
    EXPECT_EQ(shapeOf({{.role = text, .orientation = u"AXVerticalOrientation"_s}}), u"col-resize"_s);
    EXPECT_EQ(shapeOf({{.role = text, .orientation = u"AXHorizontalOrientation"_s}}), u"row-resize"_s);
    EXPECT_EQ(shapeOf({role(text)}), u"row-resize"_s);
  }
}

TEST(ElementShape, showsMoveOverATitleBar) {
  EXPECT_EQ(shapeOf({role(u"AXTitleBar"_s)}), u"move"_s);
  EXPECT_EQ(shapeOf({{.role = u"AXGroup"_s, .roleDescription = u"title bar"_s}}), u"move"_s);
}

TEST(ElementShape, theFirstRuleThatFitsAnElementDecides) {
  EXPECT_EQ(shapeOf({{.role = u"AXTextField"_s, .roleDescription = u"link"_s}}), u"text"_s);
  EXPECT_EQ(shapeOf({{.role = u"AXWindow"_s, .subrole = u"AXCloseButton"_s, .frame = kFrame}}), u"pointer"_s);
  EXPECT_EQ(shapeOf({{.role = u"AXSplitter"_s, .roleDescription = u"title bar"_s}}), u"row-resize"_s);
  EXPECT_EQ(shapeOf({{.role = u"AXWindow"_s, .subrole = u"title bar"_s, .frame = kFrame}}), u"move"_s);
}

TEST(ElementShape, theInnermostElementThatSaysSomethingDecides) {
  EXPECT_EQ(shapeOf({role(u"AXStaticText"_s), role(u"AXLink"_s), role(u"AXTextArea"_s)}), u"pointer"_s);
  EXPECT_EQ(shapeOf({role(u"AXTextArea"_s), role(u"AXLink"_s)}), u"text"_s);
}

TEST(ElementShape, walksSixElementsAndNoMore) {
  Elements elements(5, role(u"AXGroup"_s));
  elements.push_back(role(u"AXLink"_s));
  EXPECT_EQ(shapeOf(elements), u"pointer"_s);
  elements.insert(elements.begin(), role(u"AXGroup"_s));
  EXPECT_EQ(shapeOf(elements), std::nullopt);
}

TEST(ElementShape, knowsNothingOfOtherElementsAndOfNone) {
  EXPECT_EQ(shapeOf({}), std::nullopt);
  EXPECT_EQ(shapeOf({AccessibleElement{}}), std::nullopt);
  EXPECT_EQ(shapeOf({role(u"AXStaticText"_s), role(u"AXSplitGroup"_s), role(u"AXApplication"_s)}), std::nullopt);
}

TEST(ElementShape, aWindowEndsTheWalk) {
  EXPECT_EQ(shapeOf({window(), role(u"AXLink"_s)}), std::nullopt);
  EXPECT_EQ(shapeOf({role(u"AXWindow"_s), role(u"AXLink"_s)}, kFrame.topLeft()), std::nullopt);
  EXPECT_EQ(shapeOf({role(u"AXGroup"_s), window()}, {100, 350}), u"w-resize"_s);
}

TEST(WindowEdge, threePointsInsideTheTopLeftCornerResizesDiagonally) {
  EXPECT_EQ(shapeOf({window()}, {103, 203}), u"nwse-resize"_s);
}

TEST(WindowEdge, eachCornerAndEdgeHasItsShape) {
  const auto at = [](double x, double y) { return windowEdgeShape(kFrame, {x, y}); };
  EXPECT_EQ(at(100, 200), u"nwse-resize"_s);
  EXPECT_EQ(at(498, 498), u"nwse-resize"_s);
  EXPECT_EQ(at(498, 203), u"nesw-resize"_s);
  EXPECT_EQ(at(103, 498), u"nesw-resize"_s);
  EXPECT_EQ(at(300, 203), u"n-resize"_s);
  EXPECT_EQ(at(300, 497), u"s-resize"_s);
  EXPECT_EQ(at(103, 350), u"w-resize"_s);
  EXPECT_EQ(at(497, 350), u"e-resize"_s);
  EXPECT_EQ(at(300, 350), std::nullopt);
}

TEST(WindowEdge, theMarginIsSixPoints) {
  const auto at = [](double x, double y) { return windowEdgeShape(kFrame, {x, y}); };
  EXPECT_EQ(at(106, 350), u"w-resize"_s);
  EXPECT_EQ(at(106.1, 350), std::nullopt);
  EXPECT_EQ(at(106, 206), u"nwse-resize"_s);
  EXPECT_EQ(at(106.1, 206), u"n-resize"_s);
  EXPECT_EQ(at(494, 350), u"e-resize"_s);
  EXPECT_EQ(at(493.9, 350), std::nullopt);
  EXPECT_EQ(at(300, 494), u"s-resize"_s);
  EXPECT_EQ(at(300, 493.9), std::nullopt);
  EXPECT_EQ(at(95, 350), u"w-resize"_s);
  EXPECT_EQ(at(93.9, 350), std::nullopt);
  EXPECT_EQ(at(300, 700), std::nullopt);
  // In line with an edge, but far from the window.
  EXPECT_EQ(at(100, 900), std::nullopt);
}

TEST(WindowEdge, invalidFramesHaveNoEdges) {
  EXPECT_EQ(windowEdgeShape(QRectF(), {0, 0}), std::nullopt);
  EXPECT_EQ(windowEdgeShape(QRectF(10, 10, -5, 20), {10, 10}), std::nullopt);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(windowEdgeShape(kFrame, {nan, nan}), std::nullopt);
}

}  // namespace
}  // namespace vantora
