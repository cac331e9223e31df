// The headless picture: canvas and legend side by side, drawn by the desktop's code
// into a QImage, and the same drawing as SVG.
#include <gtest/gtest.h>

#include <QPainter>
#include <QSvgRenderer>
#include <QXmlStreamReader>
#include <random>

#include "display/ColorScale.h"
#include "display/qt/ImageSurface.h"
#include "display/qt/Picture.h"
#include "display/qt/PictureSurface.h"
#include "support/ModelBuilders.h"

namespace quillane {
namespace {

// A 2 x 4 plate centred on the origin; the right half has the highest potential.
Model halfAndHalf() {
    Model m = support::makePlate(2, 4, 100.0f, kCellDesign, -200.0f, -100.0f);
    MakeColorTable(m);
    for (int j = 1; j <= 4; ++j) {
        m.Potential(1, j) = m.Potential(2, j) = j <= 2 ? 0.0 : 10.0;
    }
    return m;
}

QColor levelColor(const Model& m, int n) {
    return QColor(LevelColor(m, n).r, LevelColor(m, n).g, LevelColor(m, n).b);
}

// The texts of an SVG document in order, and its root's viewBox.
std::vector<std::string> svgTexts(const std::string& svg, QString* viewBox = nullptr) {
    std::vector<std::string> texts;
    QXmlStreamReader xml(QByteArray::fromStdString(svg));
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        if (xml.name() == u"svg" && viewBox != nullptr) {
            *viewBox = xml.attributes().value("viewBox").toString();
        } else if (xml.name() == u"text") {
            texts.push_back(xml.readElementText().toStdString());
        }
    }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    return texts;
}

TEST(Picture, DrawsCanvasAndLegendWithTheMapOverTheModel) {
    Model m = halfAndHalf();
    const QImage picture = RenderPicture(m, QSize(840, 420), PictureMap::Potential);
    ASSERT_EQ(picture.size(), QSize(840, 420));
    // The legend is 420 / 21 x 5.5 = 110 pixels wide; the canvas the rest.
    const int canvasWidth = 840 - 110;
    EXPECT_FLOAT_EQ(m.DomainHeight, 2000.0f * 420 / canvasWidth);
    auto pixelAt = [&](double x, double y) {
        return picture.pixelColor(static_cast<int>((x + 1000.0) / 2000.0 * canvasWidth),
                                  static_cast<int>((m.ViewTop - y) / m.DomainHeight * 420));
    };
    EXPECT_EQ(pixelAt(-140, -40), levelColor(m, 1));      // potential 0: the lowest level
    EXPECT_EQ(pixelAt(140, 40), levelColor(m, 16));       // potential 10: the highest
    EXPECT_EQ(pixelAt(-750, 250), QColor(255, 255, 128)); // background between grid lines
    // The legend's lowest box (y 0..1 of its -1..17 scale) holds level 1.
    EXPECT_EQ(picture.pixelColor(canvasWidth + static_cast<int>((0.75 + 0.5) / 5.5 * 110),
                                 static_cast<int>((17 - 0.5) / 18.0 * 420)),
              levelColor(m, 1));
}

TEST(Picture, SvgDrawsTheSamePictureWithTheLegendTextsAsText) {
    Model m = halfAndHalf();
    const PictureParts parts = DrawPicture(m, QSize(840, 420), PictureMap::Potential);
    const QImage image = SideBySide(parts.canvas, parts.bar);
    EXPECT_EQ(image, RenderPicture(m, QSize(840, 420), PictureMap::Potential));
    const std::string svg = PictureSvg(parts.canvas, parts.bar);
    QString viewBox;
    const std::vector<std::string> texts = svgTexts(svg, &viewBox);
    EXPECT_EQ(viewBox, "0 0 840 420");
    // The legend as shown after the map: its title and the 16 levels' values.
    ASSERT_EQ(texts.size(), 17u);
    EXPECT_EQ(texts[0], "Potential");
    EXPECT_EQ(texts[1], "0.00E+00");
    EXPECT_EQ(texts[2], "6.67E-01");
    EXPECT_EQ(texts[16], "1.00E+01");
    // Drawn by an SVG renderer, the cells and the legend's boxes have their colours.
    QSvgRenderer renderer(QByteArray::fromStdString(svg));
    ASSERT_TRUE(renderer.isValid());
    QImage drawn(image.size(), QImage::Format_RGB32);
    drawn.fill(Qt::black);
    QPainter painter(&drawn);
    renderer.render(&painter);
    painter.end();
    // Two cells, the legend's lowest and highest boxes, the background.
    const int w = parts.canvas.image.width();
    const std::vector<std::pair<QPoint, QColor>> points = {
        {{w * 430 / 1000, 215}, levelColor(m, 1)},
        {{w * 570 / 1000, 200}, levelColor(m, 16)},
        {{w + 34, 385}, levelColor(m, 1)},
        {{w + 34, 35}, levelColor(m, 16)},
        {{20, 20}, QColor(255, 255, 128)}};
    for (const auto& [at, color] : points) {
        EXPECT_EQ(image.pixelColor(at), color) << at.x() << "," << at.y();
        EXPECT_EQ(drawn.pixelColor(at), color) << at.x() << "," << at.y();
    }
}

} // namespace
} // namespace quillane

namespace quillane {
namespace {

// The picture box's surface against an image that paints every primitive as it comes:
// random drawings with repeated places, looked at after each, so the cached layer,
// the boxes left out and the skipped repeats all meet changes in every position.
TEST(PictureSurface, PaintsWhatEachPrimitivePaintedAtOnceWouldAfterAnyChange) {
    const QSize size(120, 90);
    PictureSurface cached(size);
    ImageSurface direct(size);
    TeeSurface both(cached, direct);
    std::mt19937 random(13);
    const auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const Rgb colours[] = {{255, 255, 128}, {0, 0, 255}, {0, 255, 255}, {20, 200, 40}};
    int looks = 0;
    for (int picture = 0; picture < 40; ++picture) {
        both.setBackColor(colours[pick(2)]);
        both.setScale(-10, 10, 10, -5);
        both.clear();
        // A fixed part (a layer to keep), then boxes of which a few change each time.
        both.filledBox(-9, 9, 9, -4, {255, 255, 255});
        for (int k = -9; k <= 9; k += 3) {
            both.line(k, 10, k, -5, colours[2]);
        }
        for (int n = 0; n < 30; ++n) {
            const double x = -9 + pick(6) * 3.0;
            const double y = -4 + pick(4) * 3.0;
            both.setDrawWidth(1 + pick(2));
            if (pick(3) == 0) {
                both.box(x, y, x + 3, y + 3, colours[pick(4)]);
            } else {
                both.filledBox(x, y, x + 3, y + 3, colours[picture % 7 == 0 ? pick(4) : n % 4]);
            }
        }
        both.setTextPosition(-9, 9);
        both.print(picture % 3 == 0 ? "1.00E+01" : "2.50E+00", colours[1]);
        both.circle(0, 0, 2, colours[1]);
        both.line(-9, -4, 9, 9, colours[3]);
        if (pick(4) == 0) {
            continue; // not looked at: the next picture replaces it unseen
        }
        ++looks;
        ASSERT_EQ(cached.image(), direct.image()) << "picture " << picture;
        ASSERT_EQ(cached.image(), direct.image()); // looked at again, unchanged
    }
    // Repeated pictures are not painted again; the others are, once per look.
    EXPECT_LE(cached.paints(), looks);
    cached.resize(QSize(60, 50));
    direct.resize(QSize(60, 50));
    EXPECT_EQ(cached.image(), direct.image());
}

} // namespace
} // namespace quillane
