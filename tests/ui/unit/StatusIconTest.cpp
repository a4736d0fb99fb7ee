#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include "main/ui/StatusIcon.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/WidgetsApplication.h"

namespace vantora {
namespace {

const QColor kDot(0xff, 0x3b, 0x30);

class StatusIconTest : public testui::UiTest {
 protected:
  static QImage drawn(const QColor& fill, bool unread, int side, qreal ratio = 1) {
    return makeStatusIcon(fill, Qt::black, unread)
        .pixmap(QSize(side, side), ratio)
        .toImage()
        .convertToFormat(QImage::Format_ARGB32);
  }
  // The pixel at a point of the 18-point drawing with the origin at its lower left.
  static QColor at(const QImage& image, qreal x, qreal y) {
    const qreal scale = image.width() / 18.0;
    return image.pixelColor(static_cast<int>(x * scale), static_cast<int>((18 - y) * scale));
  }
};

TEST_F(StatusIconTest, showsTheStateByColour) {
  const QColor yellow = statusColor(IceState::initial);
  const QColor green = statusColor(IceState::connected);
  const QColor red = statusColor(IceState::failed);
  const QColor gray = statusColor(IceState::count);
  EXPECT_EQ(statusColor(IceState::checking), yellow);
  EXPECT_EQ(statusColor(IceState::completed), green);
  EXPECT_EQ(statusColor(IceState::disconnected), red);
  EXPECT_EQ(statusColor(IceState::closed), red);
  EXPECT_EQ(statusColor(static_cast<IceState>(42)), gray);
  EXPECT_NEAR(yellow.hsvHue(), 48, 15);
  EXPECT_NEAR(green.hsvHue(), 129, 20);
  EXPECT_TRUE(red.hsvHue() < 15 || red.hsvHue() > 345);
  EXPECT_LT(gray.hsvSaturation(), 20);
}

TEST_F(StatusIconTest, drawsTheBoltWhereItBelongs) {
  const QColor fill(10, 200, 30);
  const QImage image = drawn(fill, false, 180);
  // Inside the upper and the lower half of the bolt, on either side of its waist.
  for (const auto& [x, y] :
       {std::pair(9.2, 13.2), std::pair(8.6, 11.0), std::pair(10.6, 9.0), std::pair(9.5, 6.0), std::pair(11.0, 8.8)}) {
    EXPECT_EQ(at(image, x, y), fill) << x << ',' << y;
  }
  for (const auto& [x, y] : {std::pair(5.0, 13.0), std::pair(12.0, 13.0), std::pair(6.0, 6.0), std::pair(14.5, 6.0),
                             std::pair(0.5, 0.5), std::pair(17.5, 17.5), std::pair(14.7, 14.7)}) {
    EXPECT_EQ(at(image, x, y).alpha(), 0) << x << ',' << y;
  }
}

TEST_F(StatusIconTest, outlinesItInTheTextColourAtAThirdOfItsStrength) {
  QImage image(180, 180, QImage::Format_ARGB32);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  paintStatusIcon(painter, QRectF(0, 0, 180, 180), Qt::green, Qt::blue, false);
  painter.end();
  // Outside the tip at (10, 16), within half a line's width: nothing but the line.
  const QColor line = at(image, 10.2, 15.2);
  EXPECT_EQ(line.blue(), 255);
  EXPECT_NEAR(line.alphaF(), 0.35, 0.02);
  // Half a line's width is 0.4.
  EXPECT_EQ(at(image, 10.6, 14.0).alpha(), 0);
}

TEST_F(StatusIconTest, putsADotIntoTheUpperRightCornerForUnreadChat) {
  const QImage image = drawn(Qt::green, true, 180);
  EXPECT_EQ(at(image, 14.75, 14.75), kDot);
  for (const auto& [x, y] :
       {std::pair(12.7, 14.75), std::pair(16.8, 14.75), std::pair(14.75, 12.7), std::pair(14.75, 16.8)}) {
    EXPECT_EQ(at(image, x, y), kDot) << x << ',' << y;
  }
  EXPECT_EQ(at(image, 12.7, 16.8).alpha(), 0);
  EXPECT_EQ(at(image, 17.3, 14.75).alpha(), 0);
}

TEST_F(StatusIconTest, isRedrawnForEverySizeAndScale) {
  for (const auto& [side, ratio] : {std::pair(16, 1.0), std::pair(18, 2.0), std::pair(22, 1.5), std::pair(64, 3.0)}) {
    const QImage image = drawn(Qt::green, true, side, ratio);
    EXPECT_EQ(image.width(), qRound(side * ratio));
    // Enlarged images have blurred edges: an edge of a drawing has at most two blended pixels.
    int blurred = 0;
    const int y = static_cast<int>(image.height() * (18 - 14.75) / 18);
    for (int x = image.width() * 11 / 18; x < image.width(); ++x) {
      const int alpha = image.pixelColor(x, y).alpha();
      blurred += alpha > 0 && alpha < 255 ? 1 : 0;
    }
    EXPECT_LE(blurred, 4) << side << '*' << ratio;
  }
}

TEST_F(StatusIconTest, keepsItsColoursWhateverTheDesktopDoesWithIcons) {
  const QIcon icon = makeStatusIcon(Qt::green, Qt::black, false);
  EXPECT_FALSE(icon.isMask());
  EXPECT_EQ(icon.pixmap(QSize(32, 32), QIcon::Disabled).toImage(), icon.pixmap(QSize(32, 32)).toImage());
}

}  // namespace
}  // namespace vantora
