// The cursors of real themes, from the program that shows them to the shape that the viewer receives.
#include <QMap>

#include "main/control/cursor/CursorShapes.h"
#include "tests/x11/cursor/X11CursorFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora::testx11 {
namespace {

class X11CursorNamesTest : public X11CursorFixture, public testing::WithParamInterface<const char*> {
 protected:
  [[nodiscard]] bool showsAs(const QString& shape) {
    return testloop::waitFor([&] {
      const auto name = currentName();
      return name && mapNSCursorToWebCursor(*name) == shape;
    });
  }
};

TEST_P(X11CursorNamesTest, everyShapeOfTheVocabularyArrives) {
  showCursorsOf(GetParam());
  watch();
  for (const QLatin1StringView shape : cursorShapes()) {
    // Through another shape first, so that the previous one cannot pass.
    ASSERT_TRUE(program_->show(shape == "text"_L1 ? "fleur" : "xterm"));
    ASSERT_TRUE(showsAs(shape == "text"_L1 ? u"move"_s : u"text"_s));
    // Not every theme has a drawing for every name.
    if (shape == "move"_L1 && !program_->show("move")) continue;
    EXPECT_TRUE(program_->show(std::string(shape.data(), static_cast<std::size_t>(shape.size())))) << shape.data();
    EXPECT_TRUE(showsAs(shape)) << shape.data();
  }
}

TEST_P(X11CursorNamesTest, theOldNamesArrive) {
  showCursorsOf(GetParam());
  watch();
  const QMap<QString, QString> names{
      {u"left_ptr"_s, u"default"_s},
      {u"hand2"_s, u"pointer"_s},
      {u"sb_h_double_arrow"_s, u"ew-resize"_s},
      {u"sb_v_double_arrow"_s, u"ns-resize"_s},
      {u"top_side"_s, u"n-resize"_s},
      {u"bottom_side"_s, u"s-resize"_s},
      {u"left_side"_s, u"w-resize"_s},
      {u"right_side"_s, u"e-resize"_s},
      {u"top_left_corner"_s, u"nwse-resize"_s},
      {u"bottom_right_corner"_s, u"nwse-resize"_s},
      {u"top_right_corner"_s, u"nesw-resize"_s},
      {u"bottom_left_corner"_s, u"nesw-resize"_s},
      {u"crossed_circle"_s, u"not-allowed"_s},
      {u"14fef782d02440884392942c11205230"_s, u"col-resize"_s},
      {u"2870a09082c103050810ffdffffe0204"_s, u"row-resize"_s},
      {u"fcf1c3c7cd4491d801f1e1c78f100000"_s, u"nesw-resize"_s},
      {u"c7088f0f3e6c8088236ef8e1e3e70000"_s, u"nwse-resize"_s},
      {u"e29285e634086352946a0e7090d73106"_s, u"pointer"_s},
      {u"4498f0e0c1937ffe01fd06f973665830"_s, u"move"_s},
  };
  int shown = 0;
  for (auto name = names.begin(); name != names.end(); ++name) {
    ASSERT_TRUE(program_->show(name.value() == "text"_L1 ? "fleur" : "xterm"));
    ASSERT_TRUE(showsAs(u"text"_s));
    if (!program_->show(name.key().toStdString())) continue;  // The theme has no such cursor.
    ++shown;
    EXPECT_TRUE(showsAs(name.value())) << name.key().toStdString();
  }
  EXPECT_GE(shown, 12);
}

// Cursors of programs that know only the X cursor font.
TEST_P(X11CursorNamesTest, cursorsOfTheXFontArrive) {
  ::setenv("XCURSOR_THEME", GetParam(), 1);
  showCursorsOf(GetParam());
  watch();
  const QMap<unsigned, QString> shapes{{152, u"text"_s},     {60, u"pointer"_s},      {30, u"crosshair"_s},
                                       {52, u"move"_s},      {108, u"ew-resize"_s},   {116, u"ns-resize"_s},
                                       {138, u"n-resize"_s}, {134, u"nwse-resize"_s}, {136, u"nesw-resize"_s}};
  for (auto shape = shapes.begin(); shape != shapes.end(); ++shape) {
    ASSERT_TRUE(program_->show("wait"));
    ASSERT_TRUE(showsAs(u"default"_s));
    program_->showFromFont(shape.key());
    EXPECT_TRUE(showsAs(shape.value())) << shape.key();
  }
}

// Cursors of the font have no names; they are recognised by their images. By number, as in the font.
TEST_F(X11CursorFixture, cursorsOfTheFontAreRecognisedByTheirImages) {
  const QMap<unsigned, QString> names{
      {12, u"bottom_left_corner"_s},
      {14, u"bottom_right_corner"_s},
      {16, u"bottom_side"_s},
      {18, u"bottom_tee"_s},
      {24, u"circle"_s},
      {30, u"cross"_s},
      {32, u"cross_reverse"_s},
      {34, u"crosshair"_s},
      {36, u"diamond_cross"_s},
      {42, u"double_arrow"_s},
      {52, u"fleur"_s},
      {58, u"hand1"_s},
      {60, u"hand2"_s},
      {70, u"left_side"_s},
      {72, u"left_tee"_s},
      {76, u"ll_angle"_s},
      {78, u"lr_angle"_s},
      {96, u"right_side"_s},
      {98, u"right_tee"_s},
      {106, u"sb_down_arrow"_s},
      {108, u"sb_h_double_arrow"_s},
      {110, u"sb_left_arrow"_s},
      {112, u"sb_right_arrow"_s},
      {114, u"sb_up_arrow"_s},
      {116, u"sb_v_double_arrow"_s},
      {130, u"tcross"_s},
      {134, u"top_left_corner"_s},
      {136, u"top_right_corner"_s},
      {138, u"top_side"_s},
      {140, u"top_tee"_s},
      {144, u"ul_angle"_s},
      {148, u"ur_angle"_s},
      {152, u"xterm"_s},
  };
  showCursorsOf("Adwaita");
  watch();
  for (unsigned number = 0; number < 154; number += 2) {
    ASSERT_TRUE(program_->show("help"));
    ASSERT_TRUE(becomes(u"help"_s));
    program_->showGlyph(number);
    EXPECT_TRUE(becomes(names.value(number, u""_s))) << number;
  }
}

INSTANTIATE_TEST_SUITE_P(Themes, X11CursorNamesTest, testing::Values("Adwaita", "breeze_cursors"));

}  // namespace
}  // namespace vantora::testx11
