// The exports: the shape's SVG read back with Qt's XML reader, and "Export Image..."
// and "Export Shape..." through the main window.
#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QTest>
#include <QXmlStreamReader>
#include <QtWidgets>

#include "display/ColorScale.h"
#include "display/Shape.h"
#include "display/ShapeExport.h"
#include "display/qt/Picture.h"
#include "model/Messages.h"
#include "model/NumberText.h"
#include "support/ModelBuilders.h"
#include "ui/Window.h"
#include "ui/forms/frmMain.h"

namespace quillane {
namespace {

// The shape's SVG as read back: the root's size, the path's attributes, its rings.
struct ShapeSvgFile {
    QString width, height, viewBox, fillRule, commands;
    int paths = 0;
    std::vector<std::vector<QPointF>> rings;
};

ShapeSvgFile readShapeSvg(const std::string& text) {
    ShapeSvgFile svg;
    QXmlStreamReader xml(QByteArray::fromStdString(text));
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        const QXmlStreamAttributes a = xml.attributes();
        if (xml.name() == u"svg") {
            svg.width = a.value("width").toString();
            svg.height = a.value("height").toString();
            svg.viewBox = a.value("viewBox").toString();
        } else if (xml.name() == u"path") {
            ++svg.paths;
            svg.fillRule = a.value("fill-rule").toString();
            // Commands and numbers, absolute only.
            QPointF at;
            QChar command;
            QList<double> numbers;
            static const QRegularExpression token("[A-Za-z]|-?[0-9.]+");
            for (const QRegularExpressionMatch& m : token.globalMatch(a.value("d"))) {
                const QString t = m.captured();
                if (t[0].isLetter()) {
                    command = t[0];
                    svg.commands += command;
                    continue;
                }
                numbers.append(t.toDouble());
                if (command == 'M' && numbers.size() == 2) {
                    at = {numbers[0], numbers[1]};
                    svg.rings.push_back({at});
                } else if (command == 'L' && numbers.size() == 2) {
                    at = {numbers[0], numbers[1]};
                } else if (command == 'H') {
                    at.setX(numbers[0]);
                } else if (command == 'V') {
                    at.setY(numbers[0]);
                } else {
                    continue;
                }
                if (command != 'M') {
                    svg.rings.back().push_back(at);
                }
                numbers.clear();
            }
        }
    }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    return svg;
}

TEST(ShapeSvg, ReadBackItIsThePathOfTheRingsUprightInMillimetres) {
    // Cells of 25 mm from (-50, 100): a piece with a hole, and a cell at a corner of it.
    Model m = support::makePlate(4, 5, 25.0f, kCellEmpty, -50.0f, 100.0f);
    const char* rows[] = {"...#.", "###..", "#.#..", "###.."}; // top row first
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 5; ++j) {
            m.CellState(4 - i, j + 1) = rows[i][j] == '#' ? kCellDesign : kCellEmpty;
        }
    }
    const ShapeSvgFile svg = readShapeSvg(ShapeSvg(TraceShape(m)));
    EXPECT_EQ(svg.width, "125mm");
    EXPECT_EQ(svg.height, "100mm");
    EXPECT_EQ(svg.viewBox, "-50 -200 125 100"); // y negated: the top edge is y = 200
    EXPECT_EQ(svg.paths, 1);
    EXPECT_EQ(svg.fillRule, "evenodd");
    EXPECT_EQ(svg.commands, "MHVHZMVHVZMHVHZ"); // Z draws the last side
    ASSERT_EQ(svg.rings.size(), 3u);
    // The outer ring starts at the piece's lower-left corner (-50, 100), drawn upright.
    EXPECT_EQ(svg.rings[0].front(), QPointF(-50, -100));
    // Areas in the model's orientation: 8 cells and a hole of 1, plus the single cell.
    std::vector<double> areas;
    for (const auto& ring : svg.rings) {
        double twice = 0.0;
        for (std::size_t k = 0; k < ring.size(); ++k) {
            const QPointF a = ring[k];
            const QPointF b = ring[(k + 1) % ring.size()];
            twice += a.x() * -b.y() - b.x() * -a.y();
        }
        areas.push_back(twice / 2.0);
    }
    EXPECT_EQ(areas, (std::vector<double>{9 * 625.0, -625.0, 625.0}));
    EXPECT_EQ(svg.rings[2].front(), QPointF(25, -175)); // the cell at the block's corner
}

struct ExportTest : ::testing::Test {
    void SetUp() override {
        window.setMessageHandler([this](const std::string& text, const std::string& title) {
            messages.push_back(title + ": " + text);
        });
        window.setSaveFileChooser([this](const std::string& caption) {
            asked.push_back(caption);
            return chosen;
        });
        window.resize(900, 640);
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    }
    std::string file(const char* name) const { return folder.filePath(name).toStdString(); }
    void exportTo(QAction* item, const std::string& path) {
        chosen = path;
        item->trigger();
    }

    QTemporaryDir folder;
    frmMain window;
    Model& m = window.model();
    std::vector<std::string> messages;
    std::vector<std::string> asked;
    std::string chosen;
};

TEST_F(ExportTest, TheWindowWritesWhatItShowsAndTheShape) {
    // A 2 x 4 cantilever analysed through the menu: the stress map is on screen.
    m = support::makeCantilever(2, 4);
    MakeColorTable(m);
    RebuildView(m, window);
    window.mnuStressAnalysis->trigger();
    ASSERT_TRUE(messages.empty()) << messages.front();

    exportTo(window.mnuExportImage, file("map.png"));
    exportTo(window.mnuExportImage, file("map.svg"));
    exportTo(window.mnuExportShape, file("part.svg"));
    ASSERT_TRUE(messages.empty()) << messages.front();
    EXPECT_EQ(asked, (std::vector<std::string>{"Export Image", "Export Image", "Export Shape"}));
    // The PNG is the canvas and the legend as they are on screen.
    const QImage png(QString::fromStdString(file("map.png")));
    const QImage canvas = window.picCanvas->surface().image();
    ASSERT_EQ(png.size(), QSize(canvas.width() + window.picColorBar->width(), canvas.height()));
    EXPECT_EQ(png.copy(QRect(QPoint(0, 0), canvas.size())).convertToFormat(QImage::Format_RGB32),
              canvas);
    EXPECT_EQ(png.copy(QRect(QPoint(canvas.width(), 0), window.picColorBar->size()))
                  .convertToFormat(QImage::Format_RGB32),
              window.picColorBar->surface().image());
    // The SVG holds the legend's title and values as text.
    QFile svg(QString::fromStdString(file("map.svg")));
    ASSERT_TRUE(svg.open(QIODevice::ReadOnly));
    const QString text = svg.readAll();
    for (const std::string& label : {std::string("stress(MPa)"), formatScientific(m.MaxStress)}) {
        EXPECT_TRUE(text.contains(QString::fromStdString(">" + label + "</text>"))) << label;
    }
    QFile shape(QString::fromStdString(file("part.svg")));
    ASSERT_TRUE(shape.open(QIODevice::ReadOnly));
    EXPECT_EQ(shape.readAll().toStdString(), ShapeSvg(TraceShape(m)));

    // A name without a format, a folder that is not there: said, and nothing written.
    const QStringList before = QDir(folder.path()).entryList(QDir::Files);
    exportTo(window.mnuExportImage, file("map.jpg"));
    exportTo(window.mnuExportImage, file("gone/map.png"));
    exportTo(window.mnuExportImage, ""); // cancelled
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0], std::string("Export Image: ") + kImageFileName);
    EXPECT_EQ(messages[1].rfind("Export Image: The file could not be written: cannot create ", 0),
              0u)
        << messages[1];
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), before);

    // After Clear Model there is no shape: said before any file is asked for.
    window.mnuClear->trigger();
    messages.clear();
    asked.clear();
    exportTo(window.mnuExportShape, file("none.svg"));
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(messages, std::vector<std::string>{std::string("Export Shape: ") + kNoShapeToExport});
}

} // namespace
} // namespace quillane
