// Names found for the images of real themes, and the shapes that the viewer receives.
#include <gtest/gtest.h>

#include <QStringList>
#include <map>
#include <set>

#include "main/control/cursor/CursorShapes.h"
#include "platform/portal/cursor/CursorNames.h"
#include "platform/portal/cursor/CursorTheme.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/portal/ThemeImages.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// A theme, and the names whose drawing it shares with a cursor of another shape: that one is found.
struct Theme {
  const char* name;
  std::map<QString, QString> drawnAs;
};

const Theme kAdwaita{"Adwaita",
                     {{u"col-resize"_s, u"ew-resize"_s},
                      {u"row-resize"_s, u"ns-resize"_s},
                      {u"14fef782d02440884392942c11205230"_s, u"ew-resize"_s},
                      {u"2870a09082c103050810ffdffffe0204"_s, u"ns-resize"_s},
                      {u"hand1"_s, u"grab"_s}}};
const Theme kBreeze{"breeze_cursors",
                    {{u"n-resize"_s, u"ns-resize"_s},
                     {u"s-resize"_s, u"ns-resize"_s},
                     {u"e-resize"_s, u"ew-resize"_s},
                     {u"w-resize"_s, u"ew-resize"_s},
                     {u"move"_s, u"grabbing"_s},
                     {u"dnd-move"_s, u"grabbing"_s},
                     {u"4498f0e0c1937ffe01fd06f973665830"_s, u"grabbing"_s},
                     {u"9081237383d90e509aa00f00170e968f"_s, u"grabbing"_s}}};

void PrintTo(const Theme& theme, std::ostream* out) { *out << theme.name; }

class CursorNamesTest : public testing::TestWithParam<Theme> {
 protected:
  static const CursorNames& names() {
    static std::map<std::string, std::shared_ptr<const CursorNames>> read;
    auto& names = read[GetParam().name];
    if (!names) names = readCursorTheme(GetParam().name, 24);
    return *names;
  }
  static QString expectedShape(const QString& name) {
    const auto shared = GetParam().drawnAs.find(name);
    return shared == GetParam().drawnAs.end() ? mapNSCursorToWebCursor(name) : shared->second;
  }
  static std::vector<CursorBitmap> imagesOf(const QString& name, int size) {
    return themeImages(GetParam().name, name.toStdString(), size);
  }
  // Of all known names, those whose image gets another shape after `change`. `cursors`: how many the theme has.
  template <typename Change>
  static QStringList misses(int size, int& cursors, const Change& change) {
    QStringList missed;
    for (const QLatin1StringView name : themeCursorNames()) {
      const auto frames = imagesOf(name, size);
      if (frames.empty()) continue;
      ++cursors;
      const QString found = names().find(change(frames.front()));
      if (mapNSCursorToWebCursor(found) != expectedShape(name)) missed += name + u" -> "_s + found;
    }
    return missed;
  }
};

TEST_P(CursorNamesTest, everyCursorOfTheThemeHasItsShape) {
  for (const int size : {24, 32, 48}) {
    int cursors = 0;
    const auto missed = misses(size, cursors, [](const CursorBitmap& image) { return image; });
    EXPECT_EQ(missed, QStringList()) << size << ": " << missed.join(u", "_s).toStdString();
    EXPECT_GE(cursors, 60);
  }
}

TEST_P(CursorNamesTest, scaledImagesHaveTheShapeOfTheirDrawing) {
  // Programs draw for the next whole scale of their screen, and the compositor brings that to the scale itself.
  const std::map<int, std::vector<double>> factors{{24, {1.25, 1.5, 1.75, 2}}, {48, {0.5, 0.625, 0.75, 0.875}}};
  for (const auto& [size, each] : factors) {
    for (const double factor : each) {
      for (const Filter filter : {Filter::nearest, Filter::linear}) {
        int cursors = 0;
        const auto missed =
            misses(size, cursors, [&](const CursorBitmap& image) { return scaled(image, factor, filter); });
        // Without smoothing a thin line is drawn twice as wide or left out.
        EXPECT_LE(missed.size(), filter == Filter::nearest ? 3 : 0)
            << size << " * " << factor << ": " << missed.join(u", "_s).toStdString();
        EXPECT_GE(cursors, 60);
      }
    }
  }
}

TEST_P(CursorNamesTest, roundedColoursDoNotMatter) {
  int cursors = 0;
  const auto missed = misses(24, cursors, [](CursorBitmap image) {
    for (std::uint32_t& pixel : image.pixels) {
      if ((pixel & 0xff) > 0) --pixel;
    }
    return image;
  });
  EXPECT_EQ(missed, QStringList()) << missed.join(u", "_s).toStdString();
}

TEST_P(CursorNamesTest, theOtherCursorsOfTheThemeAreNoneOfTheVocabulary) {
  for (const char* name : {"wait", "progress", "help", "context-menu", "alias", "copy", "cell", "pencil", "left_ptr",
                           "right_ptr", "left_ptr_watch", "zoom-in", "zoom-out", "color-picker", "pirate", "dotbox"}) {
    for (const CursorBitmap& frame : imagesOf(QString::fromLatin1(name), 24)) {
      const QString found = names().find(frame);
      EXPECT_EQ(mapNSCursorToWebCursor(found), u"default"_s) << name << " -> " << found.toStdString();
    }
  }
}

TEST_P(CursorNamesTest, aProgramsOwnImageHasNoName) {
  CursorBitmap ring{{24, 24}, {12, 12}, {}};
  CursorBitmap square{{16, 16}, {0, 0}, std::vector<std::uint32_t>(256, 0xffff0000)};
  for (int y = 0; y < 24; ++y) {
    for (int x = 0; x < 24; ++x) {
      const int distance = (x - 12) * (x - 12) + (y - 12) * (y - 12);
      ring.pixels.push_back(distance > 81 && distance < 121 ? 0xff000000 : 0);
    }
  }
  EXPECT_EQ(names().find(ring), QString());
  EXPECT_EQ(names().find(square), QString());
  EXPECT_EQ(names().find({{24, 24}, {0, 0}, std::vector<std::uint32_t>(576, 0)}), QString());
}

TEST_P(CursorNamesTest, theHotSpotOfTheLastCursorDoesNotMatter) {
  for (const char* name : {"default", "text", "pointer", "ns-resize"}) {
    CursorBitmap image = imagesOf(QString::fromLatin1(name), 48).front();
    image.hotSpot = {1, image.size.height() - 1};
    EXPECT_EQ(names().find(image), QString::fromLatin1(name));
    EXPECT_EQ(names().find(scaled(image, 0.75, Filter::linear)), QString::fromLatin1(name));
  }
}

TEST_P(CursorNamesTest, rowsThatAreShorterThanReportedDoNotMatter) {
  for (const char* name : {"default", "text", "pointer", "grabbing"}) {
    CursorBitmap image = scaled(imagesOf(QString::fromLatin1(name), 48).front(), 0.74, Filter::linear);
    image.size += QSize(1, 1);
    image.pixels.resize(static_cast<std::size_t>(image.size.width()) * static_cast<std::size_t>(image.size.height()));
    EXPECT_EQ(mapNSCursorToWebCursor(names().find(image)), QString::fromLatin1(name));
  }
}

TEST_P(CursorNamesTest, aThemeTakesLessThanTwoMegabytes) { EXPECT_LT(names().memory(), 2U * 1024 * 1024); }

INSTANTIATE_TEST_SUITE_P(Themes, CursorNamesTest, testing::Values(kAdwaita, kBreeze),
                         [](const auto& each) { return each.param.name; });

TEST(CursorThemeTest, triesEveryShapeOfTheVocabulary) {
  const auto tried = themeCursorNames();
  for (const QLatin1StringView shape : cursorShapes()) {
    EXPECT_NE(std::find(tried.begin(), tried.end(), shape), tried.end()) << shape.data();
  }
  EXPECT_EQ(std::set<QLatin1StringView>(tried.begin(), tried.end()).size(), tried.size());
}

TEST(CursorThemeTest, replacesAMissingTheme) {
  const auto names = readCursorTheme("no-such-theme", 24);
  const auto text = themeImages("Adwaita", "text", 24);
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(names->find(text.front()), u"text"_s);
}

TEST(CursorNamesFormTest, refusesMalformedImages) {
  CursorNames names;
  names.add(u"short"_s, {{{8, 8}, {0, 0}, {1, 2, 3}}});
  names.add(u"large"_s, {{{300, 1}, {0, 0}, std::vector<std::uint32_t>(300, 0xffffffff)}});
  names.add(u"nothing"_s, {});
  EXPECT_EQ(names.find({{8, 8}, {0, 0}, {1, 2, 3}}), QString());
  EXPECT_EQ(names.find({{300, 1}, {0, 0}, std::vector<std::uint32_t>(300, 0xffffffff)}), QString());
  EXPECT_EQ(names.find({{-1, -1}, {0, 0}, {1}}), QString());
  EXPECT_EQ(names.find({}), QString());
}

}  // namespace
}  // namespace vantora
