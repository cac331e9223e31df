// Canvas clicks and the menu and dialog commands against a recording desktop: the
// design domain, cells, supports and loads, the layout, Clear Model, analysis,
// steps and history, the fault guard, the settings dialogs and the model files.
#include "ui/Commands.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "display/Canvas.h"
#include "model/Faults.h"
#include "model/ModelFile.h"
#include "model/NumberText.h"
#include "support/FakeDesktop.h"
#include "support/ModelBuilders.h"
#include "ui/Editing.h"
#include "ui/Window.h"

namespace quillane {
namespace {

namespace fs = std::filesystem;
using support::makeCantilever;
using Texts = std::vector<std::string>;
using Values = std::vector<double>;

// The texts the user reads, written out here rather than taken from the program, so
// that a changed letter in the program shows.
const std::string kElementMissed = "選ばれた要素は設計領域にありません。";
const std::string kNodeMissed = "選ばれた節点は設計領域にありません。";
const std::string kNeedsDomain = "\r\n設計領域をはじめに入力してください。";
const std::string kAlreadyRecording = "すでに履歴を記録しています。";
const std::string kNoCells =
    "The design domain needs at least one row and one column of cells: click the two corners "
    "on different grid lines in x and in y. The previous domain is kept.";
const std::string kTooLarge =
    "The design domain is too large: it may have at most 32767 cells and 32767 nodes. Choose "
    "a smaller domain or a larger element size. The previous domain is kept.";
const std::string kNotPositive =
    "The display width and the element size must be greater than 0. Nothing was changed.";
const std::string kOpenedCaption =
    "Quillane Optimization for Shape and Topology      by HARROW Lab., Calder univ.";
const std::string kFileMessage =
    "ファイルを開くときにエラーが発生しました。\r\nファイルを選んでください。";

bool printedText(const RecordingSurface& s, const std::string& text) {
    return std::ranges::any_of(s.ofKind(DrawOp::Print),
                               [&](const DrawOp& op) { return op.text == text; });
}

// A model, a recording desktop (1380 x 920 pixels) and a folder for this test's files.
struct Ui : ::testing::Test {
    const fs::path dir = fs::temp_directory_path() /
                         ("quillane-ui-" + std::to_string(::getpid()) + "-" +
                          ::testing::UnitTest::GetInstance()->current_test_info()->name());
    Ui() { fs::create_directories(dir); }
    ~Ui() override { fs::remove_all(dir); }
    std::string file(const std::string& name) const { return (dir / name).string(); }
    std::string read(const std::string& name) const {
        std::ifstream in(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    void press(float x, float y) { CanvasMouseDown(m, d, x, y); }
    void clickTwice(int16 mode, float x1, float y1, float x2, float y2) {
        m.EditMode = mode;
        m.ClickCount = 0;
        press(x1, y1);
        press(x2, y2);
    }
    // The worked domain: x from -400 to 300, y from -300 to 200, 7 x 5 cells.
    void setUpExampleDomain() { clickTwice(kEditDomain, -449, -260, 251, 240); }
    Values domain() const { return {m.DomainX1, m.DomainX2, m.DomainY1, m.DomainY2}; }
    // The warnings shown since the last call.
    Texts warnings() {
        Texts texts;
        for (const auto& message : d.messages) {
            EXPECT_EQ(message.title, "警告");
            texts.push_back(message.text);
        }
        d.messages.clear();
        return texts;
    }

    Model m;
    test::FakeDesktop d{file("History.tmp")};
};

TEST_F(Ui, DomainSetUpMarksTheFirstCornerThenBuildsTheMesh) {
    m.EditMode = kEditDomain;
    press(-449, -260);
    const auto& mark = d.canvasSurface.ops(); // circle of DomainWidth / 200, two strokes
    ASSERT_EQ(mark.size(), 3u);
    ASSERT_EQ(m.ClickCount, 1);
    ASSERT_EQ(mark[0].color, PaletteColor(12));
    EXPECT_EQ(Values({mark[0].a, mark[0].b, mark[0].c, mark[1].a, mark[1].c, mark[2].b, mark[2].d}),
              Values({-400, -300, 10, -420, -380, -320, -280}));
    press(251, 240);
    EXPECT_EQ(domain(), Values({-400, 300, -300, 200}));
    EXPECT_EQ(m.NodeCount, 48);
    EXPECT_EQ(m.CellState(5, 7), kCellEmpty);
    EXPECT_EQ(m.DomainDefined, -1);
    EXPECT_EQ(m.EditMode, kEditNothing);
    EXPECT_EQ(m.ClickCount, 0);
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Clear).size(), 1u);
    EXPECT_FALSE(d.canvasSurface.sinceClear().empty()); // redrawn, the mark gone
    clickTwice(kEditDomain, 251, 240, -449, -260);      // corners in the other order
    EXPECT_EQ(domain(), Values({-400, 300, -300, 200}));
}

TEST_F(Ui, RefusedOrAbandonedDomainsKeepThePreviousOne) {
    const struct {
        float size, x1, x2, y2;
        std::string message;
    } cases[] = {
        {100, 0, 40, 500, kNoCells},       // same vertical grid line
        {100, 0, 500, -20, kNoCells},      // same horizontal grid line
        {1, 0, 16383, 1, kTooLarge},       // 16383 cells but 32768 nodes
        {0.1f, -2e5f, 2e5f, 1, kTooLarge}, // beyond any 16-bit count
    };
    for (const auto& c : cases) {
        m = Model{};
        setUpExampleDomain();
        m.CellState(2, 3) = kCellNonDesign;
        m.ElementSize = c.size;
        clickTwice(kEditDomain, c.x1, 0, c.x2, c.y2);
        EXPECT_EQ(warnings(), Texts{c.message}) << c.x2;
        EXPECT_EQ(domain(), Values({-400, 300, -300, 200}));
        EXPECT_EQ(m.NodeCount, 48) << c.x2;
        EXPECT_EQ(m.CellState(2, 3), kCellNonDesign) << c.x2;
        EXPECT_EQ(m.ClickCount, 0) << c.x2; // start again
        EXPECT_EQ(m.EditMode, kEditDomain) << c.x2;
    }
    m.ElementSize = 100;
    press(-1500, 0); // a first corner only, then another tool is chosen
    for (const int16 mode : {kEditAddDesign, kEditFixXY, kEditLoad}) {
        EXPECT_NO_THROW(clickTwice(mode, 200, 0, 250, 50)) << mode;
    }
    ClearModel(m, d); // no cells and no nodes left: every click is refused
    for (const auto& [mode, message] :
         {std::pair{kEditAddDesign, kElementMissed}, {kEditLoad, kNodeMissed}}) {
        EXPECT_NO_THROW(clickTwice(mode, 0, 0, 0, 0)) << mode;
        EXPECT_EQ(warnings(), Texts(2, message)) << mode;
        EXPECT_EQ(m.ClickCount, 0) << mode;
    }
}

TEST_F(Ui, CellRectanglesInsideTheDomainInAnyCornerOrderLaterOnesOverwrite) {
    setUpExampleDomain();
    m.EditMode = kEditAddDesign;
    press(300, -250); // the right edge belongs to no cell
    EXPECT_EQ(warnings(), Texts{kElementMissed});
    d.canvasSurface.forget();
    press(-400, -250); // the left edge is column 1
    EXPECT_EQ(m.ClickCount, 1);
    EXPECT_EQ(m.FirstCornerColumn, 1);
    EXPECT_EQ(m.FirstCornerRow, 1);
    const auto& ops = d.canvasSurface.ops(); // the cell marked, outlined in cyan
    ASSERT_EQ(ops.size(), 2u);
    ASSERT_EQ(ops[0].kind, DrawOp::FilledBox);
    ASSERT_EQ(ops[1].kind, DrawOp::Box);
    EXPECT_EQ(ops[0].color, PaletteColor(4));
    EXPECT_EQ(ops[1].color, PaletteColor(3));
    EXPECT_EQ(Values({ops[1].a, ops[1].b, ops[1].c, ops[1].d}), Values({-400, -300, -300, -200}));
    EXPECT_EQ(m.CellState(1, 1), kCellEmpty); // nothing changes before the second click
    press(250, 200);                          // the top edge: refused, first corner kept
    EXPECT_EQ(m.ClickCount, 1);
    EXPECT_EQ(warnings(), Texts{kElementMissed});
    d.canvasSurface.forget();
    press(-250, -150); // the second corner: the cells change and the canvas is redrawn
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Clear).size(), 1u);
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::FilledBox).size(), 1u + 4);
    EXPECT_EQ(m.ClickCount, 0);
    EXPECT_EQ(m.EditMode, kEditAddDesign);
    EXPECT_EQ(m.CellState(1, 1), kCellDesign);
    EXPECT_EQ(m.CellState(2, 2), kCellDesign);
    EXPECT_EQ(m.CellState(3, 2), kCellEmpty);
    EXPECT_EQ(m.CellState(2, 3), kCellEmpty);

    clickTwice(kEditAddNonDesign, 150, 150, -350, -250); // second corner below and left
    EXPECT_EQ(m.CellState(1, 1), kCellNonDesign);
    EXPECT_EQ(m.CellState(5, 6), kCellNonDesign);
    EXPECT_EQ(m.CellState(5, 7), kCellEmpty);
    for (const auto& [mode, state] : {std::pair{kEditAddDesign, kCellDesign},
                                      {kEditEmpty, kCellEmpty},
                                      {kEditCutOut, kCellCutOut}}) {
        clickTwice(mode, -50, 50, -50, 50); // one cell: clicked twice
        EXPECT_EQ(m.CellState(4, 4), state) << mode;
        EXPECT_EQ(m.CellState(4, 3), kCellNonDesign) << mode;
    }
    EXPECT_TRUE(warnings().empty());
}

TEST_F(Ui, SupportsLoadsAndTheirReadoutSnapToTheNearestNodeInsideTheDomain) {
    setUpExampleDomain();
    for (const auto& [mode, fx, fy] :
         {std::tuple{kEditFixXY, 1, 1}, {kEditFixX, 1, 0}, {kEditFixY, 0, 1}, {kEditFree, 0, 0}}) {
        m.EditMode = mode;
        press(249, 151); // grid point (200, 200): node 47, both flags written
        EXPECT_EQ(m.NodeFreedom(47, 1), fx) << mode;
        EXPECT_EQ(m.NodeFreedom(47, 2), fy) << mode;
    }
    const auto freedom = m.NodeFreedom;
    m.EditMode = kEditFixXY;
    press(351, 0); // snaps to x = 400, beyond the domain
    EXPECT_EQ(warnings(), Texts{kNodeMissed});
    EXPECT_EQ(m.NodeFreedom, freedom);
    press(300, 200); // the corner node is on the boundary and accepted
    EXPECT_EQ(m.NodeFreedom(48, 2), 1);

    m.EditMode = kEditLoad;
    m.LoadFx = 10;
    m.LoadFy = -5;
    press(-350, -250); // midway in both: up and right to (-300, -200), node 10
    EXPECT_EQ(m.NodeLoad(10, 1), 10);
    EXPECT_EQ(m.NodeLoad(10, 2), -5);
    EXPECT_EQ(m.NodeLoad(1, 1), 0);
    m.LoadFx = 3;
    press(-301, -199); // replaces, not adds
    EXPECT_EQ(m.NodeLoad(10, 1), 3);
    EXPECT_EQ(d.beeps, 2);
    m.ClickCount = 1;
    press(351, 0);
    EXPECT_EQ(warnings(), Texts{kNodeMissed});
    EXPECT_EQ(m.ClickCount, 0);
    EXPECT_EQ(d.beeps, 2);
    m.EditMode = kEditLoadValue;
    press(-290, -210);
    EXPECT_EQ(d.status, "Px = 3N  Py = -5N");
}

TEST(Window, SummaryMouseTextAndLayoutRoundAsWritten) {
    EXPECT_EQ(MouseText(2.5f, -2.5f), "x = 3mm  y = -3mm"); // halves away from zero
    EXPECT_EQ(MouseText(-350.2f, 119.6f), "x = -350mm  y = 120mm");
    Model m;
    m.ElementSize = 12.5f;
    EXPECT_EQ(SummaryText(m), "Width = 2000mm  Element Size = 12.5mm");
}

TEST_F(Ui, ClearModelEmptiesTheGeometryAndClosesOnlyARecordingHistory) {
    m = makeCantilever(2, 3);
    RebuildView(m, d);
    m.ElementSize = 50;
    m.EditMode = kEditFixX;
    std::ofstream(file("History.tmp"), std::ios::binary) << "keep"; // not recording
    ClearModel(m, d);
    EXPECT_EQ(read("History.tmp"), "keep");
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_FALSE(d.resultMenusEnabled);
    EXPECT_EQ(m.DomainDefined, 0);
    EXPECT_TRUE(m.CellState.empty());
    EXPECT_TRUE(m.NodeXY.empty());
    EXPECT_TRUE(m.NodeLoad.empty());
    // Redrawn empty: the axes and 20 + 20 + 13 + 13 grid lines; the legend's title.
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Line).size(), 2u + 66);
    EXPECT_TRUE(printedText(d.barSurface, "stress(MPa)"));
    for (auto close : {ClearModel, ExitProgram}) {
        ASSERT_TRUE(d.history().Start(m));
        close(m, d);
        EXPECT_FALSE(d.history().isOpen());
        EXPECT_EQ(m.HistoryRecording, 0);
    }
}

TEST(Commands, GuardReportsFaultsRestoresPointerAndStopsTheTimer) {
    Model m; // no domain: nothing to solve
    test::FakeDesktop d;
    AutomaticStart(m, d);
    EXPECT_FALSE(RunGuarded(m, d, [&] { StressAnalysisCommand(m, d); }));
    EXPECT_FALSE(d.busy);
    EXPECT_EQ(m.AutoOptimize, 0);
    EXPECT_EQ(d.timerInterval, 0);
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.messages[0].title, FloatingPointFault("x").title());
    EXPECT_EQ(d.messages[0].text.rfind("The calculation stopped: ", 0), 0u);
    // Every kind of failure gets its own title and names its reason.
    const OverflowFault overflow("The step count overflowed.");
    const std::bad_alloc memory;
    const std::runtime_error odd("odd");
    const std::tuple<const std::exception*, std::string, std::string> cases[] = {
        {&overflow, "Overflow", "The calculation stopped: The step count overflowed.\r\n"},
        {&memory, "Out of memory", "ran out of memory"},
        {&odd, "Error", "unexpectedly: odd."}};
    for (const auto& [error, title, reason] : cases) {
        EXPECT_EQ(FaultTitle(*error), title);
        EXPECT_NE(FaultMessage(*error).find(reason), std::string::npos) << FaultMessage(*error);
    }
}

TEST_F(Ui, AnalysisStepsAndHistoryRecordsZeroZeroOneTwo) {
    // "Graphics" before any domain or result: the legend with its title and zeros.
    for (const auto& [stress, title] : {std::pair{true, "stress(MPa)"}, {false, "Potential"}}) {
        d.barSurface.forget();
        ApplyImageChoice(m, d, stress);
        EXPECT_EQ(m.DisplayMode, stress ? 1 : 2);
        Texts printed;
        for (const DrawOp& op : d.barSurface.ofKind(DrawOp::Print)) {
            printed.push_back(op.text);
        }
        Texts expected(17, "0.00E+00");
        expected[0] = title;
        EXPECT_EQ(printed, expected);
    }
    m = makeCantilever(2, 4);
    d.resultMenusEnabled = false;
    m.EditMode = kEditLoad;
    StressAnalysisCommand(m, d);
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_TRUE(d.resultMenusEnabled);
    EXPECT_TRUE(d.messages.empty());
    EXPECT_EQ(d.pointerChanges, (std::vector<bool>{true, false}));
    EXPECT_EQ(d.status, "  Volume = 8.00E+04mm^3");
    EXPECT_TRUE(printedText(d.barSurface, formatScientific(m.MinStress))); // the stress map

    RecordHistory(m, d);
    RecordHistory(m, d);
    EXPECT_EQ(warnings(), Texts{kAlreadyRecording});
    d.canvasSurface.forget();
    OptimizationTimerTick(m, d); // not running: no step
    OptimizationStep(m, d);
    EXPECT_EQ(d.status, "  Volume = " + formatScientific(m.Volume) + "mm^3     0step");
    // The plain canvas (8 cells), then the stress map over it (8 more boxes).
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Clear).size(), 1u);
    EXPECT_GE(d.canvasSurface.ofKind(DrawOp::FilledBox).size(), 16u);
    AutomaticStart(m, d);
    OptimizationTimerTick(m, d);
    OptimizationTimerTick(m, d);
    EXPECT_EQ(m.StepCount, 3);
    std::istringstream history(read("History.tmp"));
    std::string line;
    for (const char* step : {"Iteration", "0,", "0,", "1,", "2,"}) {
        ASSERT_TRUE(std::getline(history, line)) << line;
        EXPECT_TRUE(line.starts_with(step)) << line;
    }

    // A recorder that cannot write is reported and closed, so a new start may follow.
    test::FakeDesktop nowhere(file("missing/History.tmp"));
    Model other;
    EXPECT_FALSE(RunGuarded(other, nowhere, [&] { RecordHistory(other, nowhere); }));
    EXPECT_EQ(nowhere.messages.at(0).title, "History file");
    EXPECT_EQ(other.HistoryRecording, 0);
}

TEST_F(Ui, DialogsWarnWithoutADomainAndShowTheirValues) {
    m.EditMode = 7;
    m.ClickCount = 1;
    for (const auto option : {ShapeOption::AddElements, ShapeOption::RemoveElements,
                              ShapeOption::AddNonDesignElements, ShapeOption::DeleteDesignDomain}) {
        ApplyShape(m, d, option);
    }
    ApplyFreedom(m, d, FreedomOption::FixXY);
    EXPECT_EQ(warnings(), Texts(5, kNeedsDomain));
    EXPECT_EQ(m.EditMode, 7);
    EXPECT_EQ(m.ClickCount, 0);
    ApplyShape(m, d, ShapeOption::DesignDomain); // needs none
    ApplyAppliedLoad(m, d, false, "10", "-5");   // loads off: the mode stays
    EXPECT_EQ(d.status, "x方向荷重成分 = 10N   y方向荷重成分 = -5N");
    EXPECT_EQ(m.EditMode, kEditDomain);
    ApplyAppliedLoad(m, d, true, "2.5kN", "abc"); // no domain yet: refused, still shown
    EXPECT_EQ(d.status, "x方向荷重成分 = 2.5N   y方向荷重成分 = 0N");
    EXPECT_EQ(warnings(), Texts{kNeedsDomain});
    EXPECT_EQ(m.EditMode, kEditDomain);
    ApplyMaterial(m, d, "70000", "2.5", "x");
    EXPECT_EQ(d.status, "ヤング率 = 70000MPa  板厚 = 2.5mm  ポアソン比 = 0");

    m.ViewRight = 123.0f; // a moved origin is undone
    ASSERT_TRUE(ApplyWidth(m, d, "1000", "50mm"));
    EXPECT_EQ(d.status, "Width = 1000mm  Element Size = 50mm");
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Scale).back().a, -500.0);
    d.canvasSurface.forget();
    for (const auto& [width, size] : {std::pair{"0", "100"}, {"100", "-5"}}) {
        EXPECT_FALSE(ApplyWidth(m, d, width, size));
        EXPECT_EQ(warnings(), Texts{kNotPositive});
    }
    EXPECT_EQ(m.DomainWidth, 1000.0f);
    EXPECT_EQ(m.ElementSize, 50.0f);
    EXPECT_EQ(m.ViewRight, 500.0f);
    EXPECT_TRUE(d.canvasSurface.ops().empty());
}

TEST_F(Ui, ModelFilesThroughTheDialogs) {
    for (const auto& [folder, full] : {std::pair{"/tmp/a", "/tmp/a/m.model"},
                                       {"/tmp/a/", "/tmp/a/m.model"},
                                       {"/", "/m.model"},
                                       {"", "m.model"}}) {
        EXPECT_EQ(ModelPathOf(folder, "m.model"), full);
    }
    const Model saved = m = makeCantilever(2, 3);
    ASSERT_TRUE(SaveModelCommand(m, d, dir.string(), "plate.model"));
    m = makeCantilever(1, 1);
    StressAnalysisCommand(m, d);
    RecordHistory(m, d);
    ASSERT_TRUE(OpenModelCommand(m, d, dir.string() + "/", "plate.model"));
    EXPECT_EQ(m.CellState, saved.CellState);
    EXPECT_EQ(m.NodeFreedom, saved.NodeFreedom);
    EXPECT_EQ(m.NodeLoad, saved.NodeLoad);
    EXPECT_EQ(m.DomainDefined, -1);
    EXPECT_EQ(m.HistoryRecording, 0);
    EXPECT_FALSE(d.history().isOpen());
    EXPECT_FALSE(d.resultMenusEnabled);
    EXPECT_TRUE(m.Record.entries.empty()); // the analysis was of the replaced model
    EXPECT_EQ(d.title, kOpenedCaption);
    EXPECT_FALSE(d.canvasSurface.sinceClear().empty()); // redrawn
    // Failures keep the dialog open with the file message.
    EXPECT_FALSE(OpenModelCommand(m, d, dir.string(), "missing.model"));
    EXPECT_FALSE(SaveModelCommand(m, d, file("no/such/folder"), "x.model"));
    ASSERT_EQ(d.messages.size(), 2u);
    for (const auto& message : d.messages) {
        EXPECT_EQ(message.text + message.title, kFileMessage + "データ読込");
    }
}

TEST_F(Ui, StartUpSetsEveryValueAndCaptionAsWritten) {
    // Every setting changed, as after a long session.
    std::tie(m.DomainWidth, m.ElementSize, m.OriginFracX, m.OriginFracY) =
        std::tuple(1.0f, 2.0f, 0.1f, 0.9f);
    std::tie(m.YoungModulus, m.Thickness, m.PoissonRatio, m.LoadFx, m.LoadFy) =
        std::tuple(3.0, 4.0, 0.45, 5.0, 6.0);
    std::tie(m.StressTarget, m.Epsilon, m.Lambda) = std::tuple(7.0f, int16{8}, 0.9f);
    std::tie(m.EditMode, m.DisplayMode, m.DomainDefined, m.AutoOptimize, m.HistoryRecording) =
        std::tuple(int16{5}, int16{2}, int16{-1}, int16{-1}, int16{-1});
    StartUp(m, d);
    EXPECT_EQ(std::tie(m.DomainWidth, m.ElementSize, m.OriginFracX, m.OriginFracY),
              std::make_tuple(2000.0f, 100.0f, 0.5f, 0.5f));
    EXPECT_EQ(std::tie(m.YoungModulus, m.Thickness, m.PoissonRatio, m.LoadFx, m.LoadFy),
              std::make_tuple(210000.0, 1.0, 0.3, 0.0, 0.0));
    EXPECT_EQ(std::tie(m.StressTarget, m.Epsilon, m.Lambda),
              std::make_tuple(0.0f, int16{1}, 0.05f));
    EXPECT_EQ(
        std::tie(m.EditMode, m.DisplayMode, m.DomainDefined, m.AutoOptimize, m.HistoryRecording),
        std::make_tuple(int16{0}, int16{1}, int16{0}, int16{0}, int16{0}));
    EXPECT_EQ(d.title,
              "Quillane Optimization for Shape and Topology      HARROW Lab., Calder univ.");
    EXPECT_EQ(d.status, "Width = 2000mm  Element Size = 100mm");
    EXPECT_FALSE(d.resultMenusEnabled);
    EXPECT_EQ(d.timerInterval, 0);
}

TEST_F(Ui, MoveOriginShiftsTheViewByThePressInXAndY) {
    RebuildView(m, d); // 2000 mm on 1380 x 920 pixels: x -1000..1000, y -666.7..666.7
    m.EditMode = kEditMoveOrigin;
    press(300, -200);
    const DrawOp scale = d.canvasSurface.ofKind(DrawOp::Scale).back();
    EXPECT_EQ(Values({scale.a, scale.c}), Values({-1300, 700}));
    EXPECT_FLOAT_EQ(static_cast<float>(scale.b), 866.6667f);
    EXPECT_FLOAT_EQ(static_cast<float>(scale.d), -466.6667f);
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Clear).size(), 1u); // redrawn there
}

TEST_F(Ui, SupportAndLoadClicksAfterAChangeOfElementSizeUseTheNewSizeOnTheOldDomain) {
    setUpExampleDomain(); // 7 x 5 cells of 100 mm from (-400, -300): 8 nodes a row
    m.ElementSize = 50;
    // (0, -300) is grid column 9 of the 50 mm grid, row 1: node 9, which lies at
    // (-400, -200) on the domain as built. Kept as the program always computed it.
    m.EditMode = kEditFixXY;
    press(0, -300);
    EXPECT_EQ(std::tie(m.NodeFreedom(9, 1), m.NodeFreedom(9, 2)), std::make_tuple(1, 1));
    m.EditMode = kEditLoad;
    m.LoadFy = -7;
    press(10, -290);
    EXPECT_EQ(m.NodeLoad(9, 2), -7.0);
    // The upper right corner is column 15, row 11: node 95 of 48, no node at all.
    press(300, 200);
    EXPECT_EQ(warnings(), Texts{kNodeMissed});
    EXPECT_EQ(d.beeps, 1);
}

TEST_F(Ui, APotentialReadoutWithNoCellBelowLeftSaysThereIsNothingToShow) {
    m = makeCantilever(2, 4);
    StressAnalysisCommand(m, d);
    m.EditMode = kEditPotentialValue;
    press(250, 150); // cell (2, 3): the potential of cell (1, 2)
    EXPECT_EQ(d.status, "1,2   Potential = 10");
    press(250, 50); // the lowest row
    EXPECT_EQ(warnings(), Texts{"There is no potential to show for this position: the read-out "
                                "shows the cell one row below and one column to the left of the "
                                "one clicked, and the lowest row and the leftmost column have no "
                                "such cell."});
    EXPECT_EQ(d.status, "1,2   Potential = 10");
}

TEST_F(Ui, MeaninglessInputIsRefusedBeforeTheSolverInTheUsersTerms) {
    const std::string start = "The analysis cannot start: ";
    const std::string property = " Enter it in Design Property (menu Parameter).";
    const std::pair<std::function<void(Model&)>, std::string> cases[] = {
        {[](Model& x) { x.YoungModulus = 0; },
         start + "Young's modulus is 0 MPa, but it must be greater than 0." + property},
        {[](Model& x) { x.Thickness = -2; },
         start + "The thickness is -2 mm, but it must be greater than 0." + property},
        {[](Model& x) { x.PoissonRatio = 1.5; },
         start + "Poisson's ratio is 1.5, but it must lie between -1 and 1 (0.3 for steel)." +
             property},
        {[](Model& x) { x.PoissonRatio = -1; },
         start + "Poisson's ratio is -1, but it must lie between -1 and 1 (0.3 for steel)." +
             property},
        {[](Model& x) { x.ElementSize = 0; },
         start + "The element size is 0 mm, but it must be greater than 0. Set it in Width and "
                 "Mesh Density (menu Graphic), then set up the design domain again."},
        {[](Model& x) { x.NodeLoad(5, 2) = -1e155; },
         start + "The loads are too large to calculate with (the largest, at node 5, is 1E+155 "
                 "N): the solver's numbers would overflow. Enter loads of at most 1E+100 N in "
                 "Applied Load (menu Parameter) and apply them again."},
        {[](Model& x) { x.NodeLoad(5, 2) = -1e-165; },
         start + "The loads are too small to calculate with (the largest, at node 5, is 1E-165 "
                 "N): the solver's numbers would vanish to nothing. Enter loads of at least "
                 "1E-100 N in Applied Load (menu Parameter) and apply them again."},
    };
    for (const auto& [change, message] : cases) {
        m = makeCantilever(2, 4); // loaded at node 5, the lower right corner
        change(m);
        EXPECT_FALSE(RunGuarded(m, d, [this] { StressAnalysisCommand(m, d); }));
        ASSERT_EQ(d.messages.size(), 1u);
        EXPECT_EQ(d.messages[0].text, message);
        EXPECT_EQ(d.messages[0].title, "Cannot analyse the model");
        d.messages.clear();
    }
    // A huge load on a fixed node never reaches the solver.
    m = makeCantilever(2, 4);
    m.NodeLoad(1, 1) = 1e200;
    EXPECT_TRUE(RunGuarded(m, d, [this] { StressAnalysisCommand(m, d); }));

    // Three elements sharing one corner, as only a hand-edited file can have them: the
    // row of that node's equation overflows; the user reads no internal name or index.
    m = support::makePlate(1, 3);
    for (const auto& [e, corner] : {std::pair{2, 1}, {3, 1}}) {
        m.ElementNodes(e, 1) = static_cast<int16>(corner);
    }
    support::fixNode(m, 8, true, true);
    support::loadNode(m, 4, 0, -100);
    EXPECT_FALSE(RunGuarded(m, d, [this] { StressAnalysisCommand(m, d); }));
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.messages[0].text,
              "The calculation stopped: The model's cells, nodes and elements do not fit "
              "together: a value was looked for where the model has none (for example at a node "
              "joined to more elements than a grid allows).\r\nSet up the design domain again, "
              "or open a model file saved by the program.");
    EXPECT_EQ(d.messages[0].title, "Subscript out of range");
}

TEST_F(Ui, StepsWithoutAMapAndTheLastStepBeforeTheCountOverflows) {
    m = makeCantilever(2, 4);
    StressAnalysisCommand(m, d);
    RecordHistory(m, d);
    // DisplayMode 3: no map is drawn, but the label and the history follow the step.
    m.DisplayMode = 3;
    d.canvasSurface.forget();
    d.barSurface.forget();
    OptimizationStep(m, d);
    EXPECT_TRUE(d.canvasSurface.ops().empty());
    EXPECT_TRUE(d.barSurface.ops().empty());
    EXPECT_EQ(d.status, "  Volume = 8.00E+04mm^3     0step");
    // The step numbered 32767 is shown and recorded before the count overflows.
    m.StepCount = 32767;
    EXPECT_FALSE(RunGuarded(m, d, [this] { OptimizationStep(m, d); }));
    EXPECT_EQ(d.status, "  Volume = 8.00E+04mm^3     32767step");
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.messages[0].title, "Overflow");
    d.history().Close(m);
    std::istringstream history(read("History.tmp"));
    std::vector<std::string> steps;
    for (std::string line; std::getline(history, line);) {
        steps.push_back(line.substr(0, line.find(',')));
    }
    EXPECT_EQ(steps, (Texts{"Iteration", "0", "0", "32767"}));
}

TEST_F(Ui, OpeningIsAllOrNothingAndARedrawFaultStillCompletesIt) {
    m = makeCantilever(2, 3);
    StressAnalysisCommand(m, d);
    RecordHistory(m, d);
    d.title = "before";
    const Model before = m;
    const std::size_t drawn = d.canvasSurface.ops().size();
    // An element that names node 99 of 12: nothing is taken from the file.
    Model other = makeCantilever(2, 3);
    SaveModel(other, file("bad.model"));
    std::string text = read("bad.model");
    text.replace(text.find("\r\n6,7,8,12,11\r\n"), 14, "\r\n6,7,8,99,11\r\n");
    std::ofstream(file("bad.model"), std::ios::binary) << text;
    EXPECT_FALSE(OpenModelCommand(m, d, dir.string(), "bad.model"));
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.messages[0].text + d.messages[0].title, kFileMessage + "データ読込");
    EXPECT_EQ(m.CellStress, before.CellStress);
    EXPECT_EQ(m.ElementNodes, before.ElementNodes);
    EXPECT_EQ(m.ModelFilePath, before.ModelFilePath);
    EXPECT_EQ(d.canvasSurface.ops().size(), drawn); // the canvas as it was
    EXPECT_EQ(d.title, "before");
    EXPECT_TRUE(d.resultMenusEnabled);
    EXPECT_TRUE(d.history().isOpen());
    d.messages.clear();

    // A file with a grid too fine to draw on this view opens; the redraw's fault is
    // reported and the window still follows the new model.
    other.ElementSize = 0.001f;
    SaveModel(other, file("fine.model"));
    EXPECT_TRUE(OpenModelCommand(m, d, dir.string(), "fine.model"));
    EXPECT_EQ(m.ElementSize, 0.001f);
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.messages[0].title, "Overflow");
    EXPECT_EQ(d.title, kOpenedCaption);
    EXPECT_FALSE(d.resultMenusEnabled);
    EXPECT_FALSE(d.history().isOpen());
    EXPECT_EQ(m.HistoryRecording, 0);
}

} // namespace
} // namespace quillane
