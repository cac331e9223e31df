// The headless picture: canvas and legend side by side, drawn by the desktop's code
// into a QImage, and the same drawing as SVG.
#include <gtest/gtest.h>

#include <QPainter>
#include <QSvgRenderer>
#include <QXmlStreamReader>

#include "display/ColorScale.h"
#include "display/qt/Picture.h"
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
