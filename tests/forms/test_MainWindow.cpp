// The main window on the offscreen platform: start-up, layout, mouse input, and a
// small cantilever built by clicks, analysed and optimized through the window.
#include <gtest/gtest.h>

#include <QTest>
#include <QtWidgets>
#include <cmath>

#include "display/Canvas.h"
#include "display/ResultMaps.h"
#include "display/qt/ImageSurface.h"
#include "fem/Mesh.h"
#include "model/ModelFile.h"
#include "optimize/Optimization.h"
#include "ui/Commands.h"
#include "ui/Editing.h"
#include "ui/Window.h"
#include "ui/forms/frmMain.h"

namespace quillane {
namespace {

struct MainWindowTest : ::testing::Test {
    void SetUp() override {
        QDir::setCurrent(folder.path()); // where History.tmp goes
        window.setMessageHandler([this](const std::string& text, const std::string& title) {
            messages.push_back(title + ": " + text);
        });
        window.resize(900, 640);
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    }
    void TearDown() override { QDir::setCurrent(previous); }
    void clicks(int mode, std::initializer_list<QPointF> at) {
        m.EditMode = mode;
        for (QPointF p : at) {
            emit canvas->mouseDown(p.x(), p.y());
        }
    }
    int legendWidth() { return std::nearbyint(canvas->height() / 21.0 * 5.5); }

    QTemporaryDir folder;
    QString previous = QDir::currentPath();
    frmMain window;
    CanvasWidget* const canvas = window.picCanvas;
    Model& m = window.model();
    std::vector<std::string> messages;
};

TEST_F(MainWindowTest, StartUpCaptionsLayoutAndMoveOrigin) {
    EXPECT_EQ(window.windowTitle().toStdString(), kMainTitle);
    EXPECT_EQ(window.lblUpDate->text().toStdString(), "Width = 2000mm  Element Size = 100mm");
    EXPECT_FALSE(window.mnuOptimization->isEnabled());
    EXPECT_FALSE(window.mnuHistory->isEnabled());
    EXPECT_TRUE(window.mnuStressAnalysis->isEnabled());
    EXPECT_FALSE(window.tmrOpt->isActive());
    QStringList captions; // the menu bar, each menu after its title; a spelling kept
    for (QAction* top : window.menuBar()->actions()) {
        captions << top->text();
        for (QAction* item : top->menu() ? top->menu()->actions() : QList<QAction*>()) {
            captions << (item->isSeparator() ? QStringLiteral("-") : item->text());
        }
    }
    EXPECT_EQ(captions.join('|'), "File|Open model|Save model|Copy image|Record history|-|Exit|"
                                  "-|Export Image...|Export Shape...|"
                                  "Graphic|Width and Mesh Density|Move Origin|-|Graphics|Values|-|"
                                  "Clear Model|Shape|Parameter|Design Property|Freedom Conditions|"
                                  "Applied Load|Optimizaion Parameter|FEA|Optimization|"
                                  "Run|Convergence Chart...|Stop Rules...");
    window.setWindowState(Qt::WindowMinimized);
    QApplication::processEvents();
    if (window.isMinimized()) { // not every platform minimizes
        EXPECT_EQ(window.windowTitle().toStdString(), "POST");
        window.setWindowState(Qt::WindowNoState);
        QApplication::processEvents();
        EXPECT_EQ(window.windowTitle().toStdString(), kMainTitle);
    }

    const int ch = canvas->height();
    const int w = canvas->width();
    EXPECT_EQ(window.picColorBar->width(), legendWidth());
    EXPECT_EQ(window.picColorBar->x(), w);
    EXPECT_EQ(w + legendWidth(), window.centralWidget()->width());
    EXPECT_LT(ch, window.centralWidget()->height());
    EXPECT_GE(window.lblUpDate->y(), ch);
    // One millimetre is as long in y as in x, the origin in the centre.
    EXPECT_FLOAT_EQ(m.DomainHeight, static_cast<float>(2000.0 * ch / w));
    const QPointF topLeft = canvas->toUser(QPointF(0, 0));
    EXPECT_NEAR(topLeft.x(), -1000, 1e-3);
    EXPECT_NEAR(topLeft.y(), m.DomainHeight / 2, 1e-3);
    EXPECT_NEAR(canvas->toUser(QPointF(w, ch)).x(), 1000, 1e-3);
    // The first picture is shown: the red axes cross at the origin.
    EXPECT_EQ(canvas->surface().image().pixelColor(canvas->toPixels(0, 0).toPoint()),
              QColor(128, 0, 0));

    window.mnuMoveOrigin->trigger();
    EXPECT_EQ(m.EditMode, kEditMoveOrigin);
    clicks(kEditMoveOrigin, {{500, 200}});
    EXPECT_NEAR(canvas->toUser(QPointF(0, 0)).x(), -1500, 1e-3);
    clicks(kEditMoveOrigin, {{0, 0}}); // the new origin: nothing moves
    EXPECT_FLOAT_EQ(m.ViewRight, 500.0f);
    window.resize(1200, 800);
    QApplication::processEvents();
    EXPECT_NEAR(canvas->toUser(QPointF(0, 0)).x(), -1000, 1e-3);
    EXPECT_EQ(window.picColorBar->width(), legendWidth());
}

TEST_F(MainWindowTest, SettingsDialogsStopTheCanvasEditingAndTheOthersDoNot) {
    // Each menu opens its dialog modally; it is cancelled as soon as it shows.
    const auto openAndCancel = [](QAction* item) {
        QTimer::singleShot(0, [] {
            if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
                dialog->reject();
            }
        });
        item->trigger();
    };
    for (QAction* item : {window.mnuWidth, window.mnuMaterial, window.mnuFreedom,
                          window.mnuAppliedLoad, window.mnuDrivingParameter}) {
        m.EditMode = kEditMoveOrigin;
        openAndCancel(item);
        EXPECT_EQ(m.EditMode, kEditNothing) << item->text().toStdString();
    }
    for (QAction* item : {window.mnuShape, window.mnuImageIndicator, window.mnuValueIndicator}) {
        m.EditMode = kEditMoveOrigin;
        openAndCancel(item);
        EXPECT_EQ(m.EditMode, kEditMoveOrigin) << item->text().toStdString();
    }
}

TEST_F(MainWindowTest, MouseIsReadOutAndAnyButtonPressIsDispatched) {
    QTest::mouseMove(canvas, canvas->toPixels(-355, 115).toPoint()); // a pixel is under 3 mm
    QApplication::processEvents();
    EXPECT_TRUE(
        window.lblMouseXY->text().contains(QRegularExpression("^x = -35[2-8]mm  y = 11[2-8]mm$")))
        << window.lblMouseXY->text().toStdString();

    // The 7 x 5 domain by a left and a right click, corners on the grid lines.
    m.EditMode = kEditDomain;
    QTest::mouseClick(canvas, Qt::LeftButton, {}, canvas->toPixels(-449, -260).toPoint());
    QTest::mouseClick(canvas, Qt::RightButton, {}, canvas->toPixels(251, 240).toPoint());
    EXPECT_EQ(m.DomainDefined, -1);
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_EQ((std::vector<float>{m.DomainX1, m.DomainY1, m.DomainX2, m.DomainY2}),
              (std::vector<float>{-400, -300, 300, 200}));
    EXPECT_EQ(m.ElementCount, 35);
    EXPECT_EQ(m.NodeCount, 48);
    EXPECT_TRUE(messages.empty());
}

TEST_F(MainWindowTest, FaultThenAnalysisStepsCopyAndClearThroughTheWindow) {
    // A domain without material: the analysis has nothing to solve, reported.
    clicks(kEditDomain, {{-200, -100}, {200, 100}});
    window.mnuStressAnalysis->trigger();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_FALSE(window.tmrOpt->isActive());
    EXPECT_EQ(m.AutoOptimize, 0);
    messages.clear();
    // The program goes on: completed to a 4 x 2 cantilever, it is analysed.
    clicks(kEditAddDesign, {{-150, -50}, {150, 50}});
    clicks(kEditFixXY, {{-200, -100}, {-200, 0}, {-200, 100}});
    m.LoadFy = -1000;
    clicks(kEditLoad, {{200, -100}});
    window.mnuStressAnalysis->trigger();
    ASSERT_TRUE(messages.empty()) << messages.front();
    EXPECT_TRUE(window.lblUpDate->text().startsWith("  Volume = "));
    EXPECT_TRUE(window.mnuOptimization->isEnabled());
    EXPECT_TRUE(window.mnuHistory->isEnabled());

    window.mnuHistory->trigger();
    AutomaticStart(m, window);
    EXPECT_TRUE(window.tmrOpt->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(m.StepCount >= 3, 10000);
    AutomaticStop(m, window);
    EXPECT_FALSE(window.tmrOpt->isActive());
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_TRUE(window.lblUpDate->text().endsWith(QString::number(m.StepCount - 1) + "step"))
        << window.lblUpDate->text().toStdString();
    EXPECT_TRUE(QFile::exists(folder.filePath("History.tmp")));
    window.mnuImageCopy->trigger();
    const QImage copied = QApplication::clipboard()->image();
    ASSERT_EQ(copied.size(), canvas->size());
    EXPECT_EQ(copied.convertToFormat(QImage::Format_RGB32),
              canvas->surface().image().convertToFormat(QImage::Format_RGB32));
    EXPECT_EQ(m.HistoryRecording, -1);
    window.mnuClear->trigger();
    EXPECT_EQ(m.HistoryRecording, 0);
    EXPECT_EQ(m.DomainDefined, 0);
    EXPECT_EQ(m.NodeCount, 0);
    EXPECT_FALSE(window.mnuOptimization->isEnabled());
    clicks(kEditFixX, {{0, 0}});
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_NE(messages[0].find("選ばれた節点は設計領域にありません。"), std::string::npos);
}

TEST_F(MainWindowTest, LabelsShowTheirWholeTextOrCutItWithTheWholeAsTooltip) {
    const std::string pair = "u = -0.000123456789012345mm  v = -0.000987654321098765mm";
    window.setStatus(pair);
    EXPECT_EQ(window.lblUpDate->text().toStdString(), pair); // widened, not cut
    EXPECT_GT(window.lblUpDate->width(), 333);
    EXPECT_GE(window.lblMouseXY->x(), window.lblUpDate->geometry().right());
    EXPECT_TRUE(window.lblUpDate->toolTip().isEmpty());
    // In a narrow window the label keeps its share; the rest is cut, the whole in the tooltip.
    window.resize(640, 480);
    QApplication::processEvents();
    EXPECT_TRUE(window.lblUpDate->text().endsWith(QChar(0x2026)))
        << window.lblUpDate->text().toStdString();
    EXPECT_EQ(window.lblUpDate->toolTip().toStdString(), pair);
    window.setStatus("Width = 2000mm  Element Size = 100mm");
    EXPECT_EQ(window.lblUpDate->width(), 333); // back to the layout's width
    EXPECT_TRUE(window.lblUpDate->toolTip().isEmpty());
}

TEST_F(MainWindowTest, TheOptimizationDialogOpensBesideTheCanvas) {
    const QRect screen = window.screen()->availableGeometry();
    // The window at the screen's left, at its right, and across all of it: the dialog
    // goes to the right of the window, to its left, or from the canvas's right edge
    // over the legend.
    window.mnuOptimization->setEnabled(true);
    for (const int side : {0, 1, 2}) {
        window.resize(side == 2 ? screen.width() - 4 : 400, 300);
        QApplication::processEvents();
        window.move(side == 1 ? screen.right() + 1 - window.frameGeometry().width() : screen.left(),
                    screen.top());
        QApplication::processEvents();
        const QRect canvasOnScreen(canvas->mapToGlobal(QPoint(0, 0)), canvas->size());
        QRect dialogOnScreen;
        QTimer::singleShot(0, [&dialogOnScreen] {
            if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
                dialogOnScreen = dialog->frameGeometry();
                dialog->reject();
            }
        });
        window.mnuOptimization->trigger();
        ASSERT_FALSE(dialogOnScreen.isNull());
        EXPECT_TRUE(screen.contains(dialogOnScreen)) << side;
        const QRect frame = window.frameGeometry();
        // Across the screen, a legend narrower than the dialog leaves it at the screen's
        // right edge, over as little of the canvas as can be.
        const int expectedLeft[] = {
            frame.right() + 1, frame.left() - dialogOnScreen.width(),
            std::min(canvasOnScreen.right() + 1, screen.right() + 1 - dialogOnScreen.width())};
        EXPECT_EQ(dialogOnScreen.left(), expectedLeft[side]) << side;
        EXPECT_EQ(dialogOnScreen.top(), side == 2 ? canvasOnScreen.top() : frame.top()) << side;
        EXPECT_EQ(dialogOnScreen.intersects(canvasOnScreen), side == 2) << side;
    }
}

TEST_F(MainWindowTest, ExitAndClosingTheWindowCloseTheHistory) {
    for (int way = 0; way < 2; ++way) {
        ASSERT_TRUE(window.history().Start(m));
        way == 0 ? window.mnuExit->trigger() : (void)window.close();
        EXPECT_FALSE(window.history().isOpen()) << way;
        EXPECT_EQ(m.HistoryRecording, 0) << way;
        window.show();
    }
}

} // namespace
} // namespace quillane

namespace quillane {
namespace {

// The picture box's image against the same drawing painted primitive by primitive on
// a fresh image: what the window shows is never a stale or cached-wrong picture.
void expectFreshPicture(CanvasWidget& box, const char* when) {
    ImageSurface fresh(box.surface().size());
    fresh.setFont(box.surface().font());
    Replay(box.surface().ops(), fresh);
    EXPECT_EQ(box.surface().image(), fresh.image()) << when;
}

Rgb rgbOf(const QColor& c) {
    return {static_cast<std::uint8_t>(c.red()), static_cast<std::uint8_t>(c.green()),
            static_cast<std::uint8_t>(c.blue())};
}

TEST_F(MainWindowTest, AnAutomaticRunShowsTheEngineStepsAndPicturesAsDrawnFromScratch) {
    const int steps = 25;
    ASSERT_TRUE(OpenModelCommand(m, window, QUILLANE_EXAMPLES_DIR, "mbb.model"));
    window.mnuStressAnalysis->trigger();
    QEventLoop loop;
    QObject::connect(&window, &frmMain::runChanged, &loop, [&] {
        if (m.StepCount == 12) {
            QApplication::processEvents(); // the pictures are looked at mid-run
            expectFreshPicture(*canvas, "mid-run");
        }
        if (m.StepCount >= steps) {
            AutomaticStop(m, window);
            loop.quit();
        }
    });
    AutomaticStart(m, window);
    QTimer::singleShot(20000, &loop, &QEventLoop::quit);
    loop.exec();
    ASSERT_TRUE(messages.empty()) << messages.front();
    ASSERT_EQ(m.StepCount, steps);
    EXPECT_FALSE(window.tmrOpt->isActive());

    // The engine alone on the same file: the same cells, record and status line.
    Model e;
    OpenModel(e, std::string(QUILLANE_EXAMPLES_DIR) + "/mbb.model",
              CanvasSize{window.canvasWidth(), window.canvasHeight()});
    MarkActiveNodes(e);
    RunStressAnalysis(e);
    for (int k = 0; k < steps; ++k) {
        Optimization(e);
    }
    EXPECT_TRUE(e.CellState == m.CellState);
    ASSERT_EQ(e.Record.entries.size(), m.Record.entries.size());
    for (std::size_t k = 0; k < e.Record.entries.size(); ++k) {
        EXPECT_EQ(e.Record.entries[k].volume, m.Record.entries[k].volume) << k;
        EXPECT_EQ(e.Record.entries[k].maxStress, m.Record.entries[k].maxStress) << k;
    }
    e.StepCount = static_cast<int16>(steps - 1); // the step shown is the count before
    EXPECT_EQ(window.lblUpDate->text().toStdString(), StepStatusText(e));

    // The last step's pictures drawn from the model on new images, primitive by
    // primitive: the canvas with the stress map, and the legend.
    Model drawn = m;
    ImageSurface canvasImage(canvas->surface().size());
    canvasImage.setFont(canvas->surface().font());
    ImageSurface barImage(window.picColorBar->surface().size());
    barImage.setFont(window.picColorBar->surface().font());
    barImage.setBackColor(rgbOf(window.palette().color(QPalette::Window)));
    ApplyCanvasScale(drawn, canvasImage);
    DrawCanvas(drawn, canvasImage);
    DrawStressMap(drawn, canvasImage, barImage, drawn.MaxStress, drawn.MinStress, drawn.CellStress);
    EXPECT_EQ(canvas->surface().image(), canvasImage.image());
    EXPECT_EQ(window.picColorBar->surface().image(), barImage.image());

    // Whatever changes the picture next shows at once, never the cached one.
    ApplyImageChoice(m, window, false);
    expectFreshPicture(*canvas, "potential map");
    expectFreshPicture(*window.picColorBar, "its legend");
    BitByBit(m, window);
    expectFreshPicture(*canvas, "a step by hand");
    window.resize(700, 500);
    QApplication::processEvents();
    expectFreshPicture(*canvas, "resized");
    clicks(kEditMoveOrigin, {{100, 50}});
    expectFreshPicture(*canvas, "origin moved");
    window.mnuClear->trigger();
    expectFreshPicture(*canvas, "cleared");
    ASSERT_TRUE(OpenModelCommand(m, window, QUILLANE_EXAMPLES_DIR, "bridge.model"));
    expectFreshPicture(*canvas, "another model");
    QTest::qWait(3 * CanvasWidget::kFrameInterval);
    EXPECT_EQ(canvas->grab().toImage().convertToFormat(QImage::Format_RGB32),
              canvas->surface().image());
}

} // namespace
} // namespace quillane
