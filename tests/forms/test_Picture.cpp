// The headless picture: canvas and legend side by side, drawn by the desktop's code
// into a QImage.
#include <gtest/gtest.h>

#include "display/ColorScale.h"
#include "display/qt/Picture.h"
#include "support/ModelBuilders.h"

namespace quillane {
namespace {

TEST(Picture, DrawsCanvasAndLegendWithTheMapOverTheModel) {
    // A 2 x 4 plate centred on the origin; the right half has the highest potential.
    Model m = support::makePlate(2, 4, 100.0f, kCellDesign, -200.0f, -100.0f);
    MakeColorTable(m);
    for (int j = 1; j <= 4; ++j) {
        m.Potential(1, j) = m.Potential(2, j) = j <= 2 ? 0.0 : 10.0;
    }
    const QImage picture = RenderPicture(m, QSize(840, 420), PictureMap::Potential);
    ASSERT_EQ(picture.size(), QSize(840, 420));
    // The legend is 420 / 21 x 5.5 = 110 pixels wide; the canvas the rest.
    const int canvasWidth = 840 - 110;
    EXPECT_FLOAT_EQ(m.DomainHeight, 2000.0f * 420 / canvasWidth);
    auto pixelAt = [&](double x, double y) {
        return picture.pixelColor(static_cast<int>((x + 1000.0) / 2000.0 * canvasWidth),
                                  static_cast<int>((m.ViewTop - y) / m.DomainHeight * 420));
    };
    auto level = [&](int n) {
        return QColor(LevelColor(m, n).r, LevelColor(m, n).g, LevelColor(m, n).b);
    };
    EXPECT_EQ(pixelAt(-140, -40), level(1));              // potential 0: the lowest level
    EXPECT_EQ(pixelAt(140, 40), level(16));               // potential 10: the highest
    EXPECT_EQ(pixelAt(-750, 250), QColor(255, 255, 128)); // background between grid lines
    // The legend's lowest box (y 0..1 of its -1..17 scale) holds level 1.
    EXPECT_EQ(picture.pixelColor(canvasWidth + static_cast<int>((0.75 + 0.5) / 5.5 * 110),
                                 static_cast<int>((17 - 0.5) / 18.0 * 420)),
              level(1));
}

} // namespace
} // namespace quillane
