#include <gtest/gtest.h>

#include <QSet>
#include <map>

#include "main/control/cursor/CursorShapes.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace vantora {
namespace {

const QStringList kVocabulary{u"default"_s,    u"pointer"_s,     u"text"_s,      u"grab"_s,        u"grabbing"_s,
                              u"crosshair"_s,  u"not-allowed"_s, u"ew-resize"_s, u"ns-resize"_s,   u"n-resize"_s,
                              u"s-resize"_s,   u"w-resize"_s,    u"e-resize"_s,  u"nwse-resize"_s, u"nesw-resize"_s,
                              u"col-resize"_s, u"row-resize"_s,  u"move"_s};

TEST(CursorShapes, areTheAgreedVocabulary) {
  QStringList shapes;
  for (const QLatin1StringView shape : cursorShapes()) shapes.append(shape);
  EXPECT_EQ(shapes, kVocabulary);
}

TEST(CursorShapes, everyShapeIsItsOwnName) {
  for (const QString& shape : kVocabulary) EXPECT_EQ(mapNSCursorToWebCursor(shape), shape);
}

TEST(CursorShapes, knowsTheNamesOfThemesAndOfTheXFont) {
  const std::map<QString, QStringList> names{
      {u"default"_s, {u"left_ptr"_s, u"arrow"_s, u"top_left_arrow"_s, u"default"_s, u"right_ptr"_s}},
      {u"text"_s, {u"xterm"_s, u"ibeam"_s, u"vertical-text"_s}},
      {u"pointer"_s, {u"hand2"_s, u"hand1"_s, u"hand"_s, u"pointing_hand"_s}},
      {u"w-resize"_s, {u"left_side"_s, u"sb_left_arrow"_s}},
      {u"e-resize"_s, {u"right_side"_s, u"sb_right_arrow"_s}},
      {u"n-resize"_s, {u"top_side"_s, u"sb_up_arrow"_s}},
      {u"s-resize"_s, {u"bottom_side"_s, u"sb_down_arrow"_s}},
      {u"ew-resize"_s, {u"sb_h_double_arrow"_s, u"h_double_arrow"_s, u"size_hor"_s}},
      {u"ns-resize"_s, {u"sb_v_double_arrow"_s, u"v_double_arrow"_s, u"size_ver"_s}},
      {u"crosshair"_s, {u"cross"_s, u"tcross"_s, u"cross_reverse"_s}},
      {u"grabbing"_s, {u"closedhand"_s}},
      {u"grab"_s, {u"openhand"_s}},
      {u"not-allowed"_s, {u"crossed_circle"_s, u"forbidden"_s, u"no-drop"_s, u"dnd-no-drop"_s, u"circle"_s}},
      {u"nwse-resize"_s,
       {u"nw-resize"_s, u"se-resize"_s, u"top_left_corner"_s, u"bottom_right_corner"_s, u"size_fdiag"_s,
        u"bd_double_arrow"_s}},
      {u"nesw-resize"_s,
       {u"ne-resize"_s, u"sw-resize"_s, u"top_right_corner"_s, u"bottom_left_corner"_s, u"size_bdiag"_s,
        u"fd_double_arrow"_s}},
      {u"col-resize"_s, {u"split_h"_s}},
      {u"row-resize"_s, {u"split_v"_s}},
      {u"move"_s, {u"fleur"_s, u"size_all"_s, u"all-scroll"_s, u"dnd-move"_s}},
  };
  for (const auto& [shape, cursors] : names) {
    for (const QString& cursor : cursors) EXPECT_EQ(mapNSCursorToWebCursor(cursor), shape) << cursor.toStdString();
  }
}

TEST(CursorShapes, knowsTheImageHashesOfOldToolkits) {
  const std::map<QString, QString> hashes{
      {u"e29285e634086352946a0e7090d73106"_s, u"pointer"_s},
      {u"9d800788f1b08800ae810202380a0822"_s, u"pointer"_s},
      {u"028006030e0e7ebffc7f7070c0600140"_s, u"ew-resize"_s},
      {u"00008160000006810000408080010102"_s, u"ns-resize"_s},
      {u"c7088f0f3e6c8088236ef8e1e3e70000"_s, u"nwse-resize"_s},
      {u"fcf1c3c7cd4491d801f1e1c78f100000"_s, u"nesw-resize"_s},
      {u"14fef782d02440884392942c11205230"_s, u"col-resize"_s},
      {u"2870a09082c103050810ffdffffe0204"_s, u"row-resize"_s},
      {u"03b6e0fcb3499374a867c041f52298f0"_s, u"not-allowed"_s},
      {u"4498f0e0c1937ffe01fd06f973665830"_s, u"move"_s},
  };
  for (const auto& [hash, shape] : hashes) EXPECT_EQ(mapNSCursorToWebCursor(hash), shape) << hash.toStdString();
}

TEST(CursorShapes, anythingElseIsTheDefault) {
  for (const QString& cursor :
       {u""_s, u"watch"_s, u"gumby"_s, u"progress"_s, u"XTERM2"_s, u"\0text"_s, QString(100000, u'x')}) {
    EXPECT_EQ(mapNSCursorToWebCursor(cursor), u"default"_s);
  }
  EXPECT_EQ(mapNSCursorToWebCursor(QStringView()), u"default"_s);
}

TEST(CursorShapes, theCaseOfLettersDoesNotMatter) {
  EXPECT_EQ(mapNSCursorToWebCursor(u"IBeam"_s), u"text"_s);
  EXPECT_EQ(mapNSCursorToWebCursor(u"PointingHand"_s), u"pointer"_s);
}

TEST(TestCursor, showsThirteenShapesForThreeSecondsEach) {
  const QStringList first13 = kVocabulary.first(13);
  const auto start = 13 * 3s * 1000;
  for (int second = 0; second < 80; ++second) {
    const QString& wanted = first13.at(second / 3 % 13);
    EXPECT_EQ(simulateTestCursor(start + std::chrono::seconds(second)), wanted) << second;
    EXPECT_EQ(simulateTestCursor(start + std::chrono::seconds(second) + 999999999ns), wanted) << second;
  }
}

}  // namespace
}  // namespace vantora
