// The main window on the offscreen platform: start-up, layout, mouse input, the
// editing of a small cantilever by clicks, and analysis and steps through it.
#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QMenuBar>
#include <QSignalSpy>
#include <QTest>
#include <cmath>
#include <filesystem>

#include "ui/Commands.h"
#include "ui/Editing.h"
#include "ui/Window.h"
#include "ui/forms/frmMain.h"

namespace quillane {
namespace {

struct MainWindowTest : ::testing::Test {
    void SetUp() override {
        dir =
            std::filesystem::temp_directory_path() /
            ("quillane-main-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
             "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir);
        previous = std::filesystem::current_path();
        // History.tmp goes to the current directory.
        std::filesystem::current_path(dir);
        window = std::make_unique<frmMain>();
        window->setMessageHandler([this](const std::string& text, const std::string& title) {
            messages.push_back(title + ": " + text);
        });
        window->resize(900, 640);
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }
    void TearDown() override {
        window.reset();
        std::filesystem::current_path(previous);
        std::filesystem::remove_all(dir);
    }

    Model& m() { return window->model(); }
    void press(float x, float y) { emit window->picCanvas->mouseDown(x, y); }

    // A 4 x 2 cantilever by clicks: domain, design material, supports, a load.
    void buildCantilever() {
        m().EditMode = kEditDomain;
        press(-200, -100);
        press(200, 100);
        m().EditMode = kEditAddDesign;
        press(-150, -50);
        press(150, 50);
        m().EditMode = kEditFixXY;
        press(-200, -100);
        press(-200, 0);
        press(-200, 100);
        m().LoadFx = 0;
        m().LoadFy = -1000;
        m().EditMode = kEditLoad;
        press(200, -100);
        m().EditMode = kEditNothing;
    }

    std::filesystem::path dir;
    std::filesystem::path previous;
    std::unique_ptr<frmMain> window;
    std::vector<std::string> messages;
};

TEST_F(MainWindowTest, StartsWithTitleSummaryAndGreyedResultMenus) {
    EXPECT_EQ(window->windowTitle().toStdString(), kMainTitle);
    EXPECT_EQ(window->lblUpDate->text().toStdString(), "Width = 2000mm  Element Size = 100mm");
    EXPECT_FALSE(window->mnuOptimization->isEnabled());
    EXPECT_FALSE(window->mnuHistory->isEnabled());
    EXPECT_TRUE(window->mnuStressAnalysis->isEnabled());
    EXPECT_FALSE(window->tmrOpt->isActive());

    // The menu bar in order, captions exactly (the parameter item's spelling kept).
    QStringList top;
    for (QAction* action : window->menuBar()->actions()) {
        top << action->text();
    }
    EXPECT_EQ(top, QStringList({"File", "Graphic", "Shape", "Parameter", "FEA", "Optimization"}));
    auto captions = [](QMenu* menu) {
        QStringList list;
        for (QAction* action : menu->actions()) {
            list << (action->isSeparator() ? QStringLiteral("-") : action->text());
        }
        return list;
    };
    EXPECT_EQ(captions(window->mnuFile), QStringList({"Open model", "Save model", "Copy image",
                                                      "Record history", "-", "Exit"}));
    EXPECT_EQ(captions(window->mnuGraphicArea),
              QStringList({"Width and Mesh Density", "Move Origin", "-", "Graphics", "Values", "-",
                           "Clear Model"}));
    EXPECT_EQ(captions(window->mnuAnalysis),
              QStringList({"Design Property", "Freedom Conditions", "Applied Load",
                           "Optimizaion Parameter"}));
}

TEST_F(MainWindowTest, LaysOutCanvasAndLegendInProportion) {
    const QWidget* client = window->centralWidget();
    const int ch = window->picCanvas->height();
    const int cb = window->picColorBar->width();
    EXPECT_LT(ch, client->height());
    EXPECT_EQ(cb, static_cast<int>(std::nearbyint(ch / 21.0 * 5.5)));
    EXPECT_EQ(window->picCanvas->width() + cb, client->width());
    EXPECT_EQ(window->picColorBar->x(), window->picCanvas->width());
    EXPECT_GE(window->lblUpDate->y(), ch);

    // One millimetre is as long in y as in x, the origin in the centre.
    const double w = window->picCanvas->width();
    EXPECT_FLOAT_EQ(m().DomainHeight, static_cast<float>(2000.0 * ch / w));
    const QPointF left = window->picCanvas->toUser(QPointF(0, 0));
    const QPointF right = window->picCanvas->toUser(QPointF(w, ch));
    EXPECT_NEAR(left.x(), -1000, 1e-3);
    EXPECT_NEAR(right.x(), 1000, 1e-3);
    EXPECT_NEAR(left.y(), m().DomainHeight / 2, 1e-3);
    EXPECT_NEAR(right.y(), -m().DomainHeight / 2, 1e-3);

    // The first picture is on the canvas: the red axes cross at the origin, the
    // legend shows its boxes.
    const QPoint origin = window->picCanvas->toPixels(0, 0).toPoint();
    EXPECT_EQ(window->picCanvas->surface().image().pixelColor(origin), QColor(128, 0, 0));
    EXPECT_EQ(window->picColorBar->surface().image().size(), window->picColorBar->size());

    // The window grows: the proportions follow.
    window->resize(1200, 800);
    QApplication::processEvents();
    EXPECT_EQ(window->picColorBar->width(),
              static_cast<int>(std::nearbyint(window->picCanvas->height() / 21.0 * 5.5)));
}

TEST_F(MainWindowTest, MouseReadOutFollowsThePointer) {
    // The centre of the canvas is the origin.
    const QPoint centre(window->picCanvas->width() / 2, window->picCanvas->height() / 2);
    QTest::mouseMove(window->picCanvas, centre);
    QApplication::processEvents();
    const QString text = window->lblMouseXY->text();
    EXPECT_TRUE(text.startsWith("x = ")) << text.toStdString();
    EXPECT_TRUE(text.contains("mm  y = ")) << text.toStdString();

    emit window->picCanvas->mouseMove(-350.2f, 119.6f);
    EXPECT_EQ(window->lblMouseXY->text().toStdString(), "x = -350mm  y = 120mm");
}

TEST_F(MainWindowTest, AnyButtonPressOnTheCanvasIsDispatched) {
    m().EditMode = kEditDomain;
    const QPoint a = window->picCanvas->toPixels(-449, -260).toPoint();
    const QPoint b = window->picCanvas->toPixels(-120, 230).toPoint();
    QTest::mouseClick(window->picCanvas, Qt::LeftButton, {}, a);
    QTest::mouseClick(window->picCanvas, Qt::RightButton, {}, b);
    EXPECT_EQ(m().DomainDefined, -1);
    EXPECT_EQ(m().DomainX1, -400.0f);
    EXPECT_EQ(m().DomainY1, -300.0f);
    EXPECT_EQ(m().DomainX2, -100.0f);
    EXPECT_EQ(m().DomainY2, 200.0f);
    EXPECT_EQ(m().EditMode, 0);
}

TEST_F(MainWindowTest, BuildsTheSevenByFiveDomainByTwoClicks) {
    m().EditMode = kEditDomain;
    press(-449, -260);
    press(251, 240);
    EXPECT_EQ(m().CellColumnCount, 7);
    EXPECT_EQ(m().CellRowCount, 5);
    EXPECT_EQ(m().ElementCount, 35);
    EXPECT_EQ(m().NodeCount, 48);
    EXPECT_EQ(m().NodeXY(8, 1), 300.0);
    EXPECT_EQ(m().NodeXY(9, 2), -200.0);
    EXPECT_EQ(m().ElementNodes(1, 3), 10);
    EXPECT_TRUE(messages.empty());
}

TEST_F(MainWindowTest, MoveOriginThenResizeRestoresTheCentre) {
    window->mnuMoveOrigin->trigger();
    EXPECT_EQ(m().EditMode, kEditMoveOrigin);
    press(500, 200);
    EXPECT_NEAR(window->picCanvas->toUser(QPointF(0, 0)).x(), -1500, 1e-3);
    EXPECT_FLOAT_EQ(m().ViewRight, 500.0f);
    press(0, 0); // the new origin: nothing moves
    EXPECT_FLOAT_EQ(m().ViewRight, 500.0f);

    window->resize(window->width() + 40, window->height());
    QApplication::processEvents();
    EXPECT_NEAR(window->picCanvas->toUser(QPointF(0, 0)).x(), -1000, 1e-3);
}

TEST_F(MainWindowTest, MinimizedCaptionIsPost) {
    window->setWindowState(Qt::WindowMinimized);
    QApplication::processEvents();
    if (!window->isMinimized()) {
        GTEST_SKIP() << "this platform does not minimize windows";
    }
    EXPECT_EQ(window->windowTitle().toStdString(), "POST");
    window->setWindowState(Qt::WindowNoState);
    QApplication::processEvents();
    EXPECT_EQ(window->windowTitle().toStdString(), kMainTitle);
}

TEST_F(MainWindowTest, AnalysisAndAutomaticStepsThroughTheWindow) {
    buildCantilever();
    ASSERT_TRUE(messages.empty()) << messages.front();
    EXPECT_EQ(m().NodeFreedom(1, 1), 1);
    EXPECT_EQ(m().NodeLoad(5, 2), -1000.0);

    window->mnuStressAnalysis->trigger();
    ASSERT_TRUE(messages.empty()) << messages.front();
    EXPECT_TRUE(window->lblUpDate->text().startsWith("  Volume = "));
    EXPECT_TRUE(window->mnuOptimization->isEnabled());
    EXPECT_TRUE(window->mnuHistory->isEnabled());
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);

    // Read-outs after the analysis: a stress in the status label; the potential of
    // the lowest row is the read-out's subscript fault, reported, not fatal.
    ApplyValueChoice(m(), ValueOption::Stress);
    press(150, 50);
    EXPECT_TRUE(window->lblUpDate->text().startsWith("1,3   stress = "))
        << window->lblUpDate->text().toStdString();
    ApplyValueChoice(m(), ValueOption::Potential);
    press(150, -50);
    ASSERT_EQ(messages.size(), 1u);
    messages.clear();
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);

    window->mnuHistory->trigger();
    AutomaticStart(m(), *window);
    EXPECT_TRUE(window->tmrOpt->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(m().StepCount >= 3, 10000);
    AutomaticStop(m(), *window);
    EXPECT_FALSE(window->tmrOpt->isActive());
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_TRUE(window->lblUpDate->text().endsWith(QString::number(m().StepCount - 1) + "step"))
        << window->lblUpDate->text().toStdString();
    EXPECT_TRUE(std::filesystem::exists(dir / "History.tmp"));
}

TEST_F(MainWindowTest, FaultIsReportedAndTheProgramGoesOn) {
    // A domain without material: the analysis has nothing to solve.
    m().EditMode = kEditDomain;
    press(-200, -100);
    press(200, 100);
    window->mnuStressAnalysis->trigger();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_FALSE(window->tmrOpt->isActive());
    EXPECT_EQ(m().AutoOptimize, 0);

    // The window still works: the model can be completed and analysed.
    m().EditMode = kEditAddDesign;
    press(-150, -50);
    press(150, 50);
    EXPECT_EQ(m().CellState(1, 1), 1);
}

TEST_F(MainWindowTest, CopyImagePutsTheCanvasOnTheClipboard) {
    buildCantilever();
    window->mnuImageCopy->trigger();
    const QImage copied = QApplication::clipboard()->image();
    ASSERT_FALSE(copied.isNull());
    EXPECT_EQ(copied.size(), window->picCanvas->size());
    EXPECT_EQ(copied.convertToFormat(QImage::Format_RGB32),
              window->picCanvas->surface().image().convertToFormat(QImage::Format_RGB32));
}

TEST_F(MainWindowTest, ClearModelEmptiesTheGeometryAndRefusesClicks) {
    buildCantilever();
    window->mnuStressAnalysis->trigger();
    window->mnuHistory->trigger();
    EXPECT_EQ(m().HistoryRecording, -1);
    window->mnuClear->trigger();
    EXPECT_EQ(m().HistoryRecording, 0);
    EXPECT_EQ(m().DomainDefined, 0);
    EXPECT_EQ(m().NodeCount, 0);
    EXPECT_FALSE(window->mnuOptimization->isEnabled());
    EXPECT_EQ(m().YoungModulus, 210000.0);

    m().EditMode = kEditFixX;
    press(0, 0);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_NE(messages[0].find("選ばれた節点は設計領域にありません。"), std::string::npos);
}

} // namespace
} // namespace quillane
