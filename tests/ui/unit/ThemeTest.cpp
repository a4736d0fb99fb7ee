#include <gtest/gtest.h>

#include <QFont>
#include <cmath>

#include "main/ui/Theme.h"
#include "tests/ui/support/WidgetsApplication.h"

namespace vantora {
namespace {

double luminance(const QColor& colour) {
  const auto part = [](double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * part(colour.redF()) + 0.7152 * part(colour.greenF()) + 0.0722 * part(colour.blueF());
}

// Contrast ratio for people with weak eyesight: 4.5 or more is readable.
double contrast(const QColor& a, const QColor& b) {
  const double high = std::max(luminance(a), luminance(b));
  const double low = std::min(luminance(a), luminance(b));
  return (high + 0.05) / (low + 0.05);
}

class ThemeTest : public testui::UiTest {};

TEST_F(ThemeTest, keepsEveryTextReadableInLightAndDark) {
  const QPalette light(QColor(0xef, 0xef, 0xef));
  ASSERT_FALSE(theme::isDark(light));
  ASSERT_TRUE(theme::isDark(theme::darkPalette()));
  for (const QPalette& palette : {light, theme::darkPalette()}) {
    const QColor base = palette.color(QPalette::Base);
    EXPECT_GE(contrast(theme::secondaryText(palette), base), 4.5);
    EXPECT_GE(contrast(theme::link(palette), base), 4.5);
    EXPECT_GE(contrast(palette.color(QPalette::Text), base), 7);
    EXPECT_GE(contrast(palette.color(QPalette::ButtonText), palette.color(QPalette::Button)), 7);
    EXPECT_GE(contrast(theme::secondaryText(palette), palette.color(QPalette::Window)), 4.5);
  }
}

TEST_F(ThemeTest, growsWithTheTextOfTheDesktopAndNeverShrinks) {
  const QFont usual = QApplication::font();
  QFont font = usual;
  font.setPixelSize(27);
  QApplication::setFont(font);
  EXPECT_DOUBLE_EQ(theme::textScale(), 2);
  font.setPixelSize(8);
  QApplication::setFont(font);
  EXPECT_DOUBLE_EQ(theme::textScale(), 1);
  QApplication::setFont(usual);
}

}  // namespace
}  // namespace vantora
