// The window and the menu and dialog commands against a recording desktop: start-up
// and layout, analysis, steps and their timer, history, the fault guard, the
// settings dialogs and the model files.

#include "ui/Commands.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "display/ColorScale.h"
#include "model/Faults.h"
#include "model/ModelFile.h"
#include "model/NumberText.h"
#include "optimize/History.h"
#include "support/FakeDesktop.h"
#include "support/ModelBuilders.h"
#include "ui/Editing.h"
#include "ui/Window.h"

namespace quillane {
namespace {

namespace fs = std::filesystem;
using support::makeCantilever;
using test::FakeDesktop;

// A fresh folder of this test process, removed with the fixture.
struct TempDir {
    fs::path path = fs::temp_directory_path() /
                    ("quillane-commands-" + std::to_string(::getpid()) + "-" +
                     ::testing::UnitTest::GetInstance()->current_test_info()->name());
    TempDir() { fs::create_directories(path); }
    ~TempDir() { fs::remove_all(path); }
    std::string file(const std::string& name) const { return (path / name).string(); }
};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool printedText(const RecordingSurface& s, const std::string& text) {
    const auto prints = s.ofKind(DrawOp::Print);
    return std::ranges::any_of(prints, [&](const DrawOp& op) { return op.text == text; });
}

TEST(Window, StartUpSetsDefaultsAndAResizeCentresTheOriginAndRedraws) {
    Model m;
    FakeDesktop d;
    m.DomainWidth = 500;
    m.EditMode = kEditLoad;
    m.DisplayMode = 2;
    m.Lambda = 0.5f;
    m.HistoryRecording = -1;
    d.timerInterval = 1;
    StartUp(m, d);
    EXPECT_EQ(d.title, kMainTitle);
    EXPECT_EQ(d.status, "Width = 2000mm  Element Size = 100mm");
    EXPECT_TRUE(d.timerInterval == 0 && !d.resultMenusEnabled);
    EXPECT_TRUE(m.EditMode == 0 && m.DisplayMode == 1 && m.Lambda == 0.05f &&
                m.HistoryRecording == 0);

    m.ViewRight = 123; // as after a Move Origin
    d.barSurface.forget();
    AfterResize(m, d);
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Scale).back().a, -1000);
    EXPECT_FALSE(d.canvasSurface.sinceClear().empty());
    EXPECT_TRUE(printedText(d.barSurface, "stress(MPa)"));

    m.ElementSize = 12.5f;
    EXPECT_EQ(SummaryText(m), "Width = 2000mm  Element Size = 12.5mm");
}

TEST(Window, LayoutRoundsEachQuantityHalfToEvenAsSoonAsItIsComputed) {
    const struct {
        double h, w;
        int ch, lt, cb, cw;
    } cases[] = {
        {1350, 8085, 1050, 1120, 275, 7810},   // 1050 / 21 x 5.5 = 275 exactly
        {1350.5, 8085, 1050, 1120, 275, 7810}, // 1050.5 and 1120.5 go to even
        {363, 1000, 63, 133, 16, 984},         // 63 / 21 x 5.5 = 16.5 -> 16
        {321, 1000, 21, 91, 6, 994},           // 5.5 -> 6
    };
    for (const auto& c : cases) {
        const LayoutBoxes b = ComputeLayout(c.h, c.w);
        EXPECT_EQ((std::vector<int>{b.canvasHeight, b.labelTop, b.colorBarWidth, b.canvasWidth}),
                  (std::vector<int>{c.ch, c.lt, c.cb, c.cw}))
            << c.h;
    }
    EXPECT_THROW(ComputeLayout(40000, 1000), OverflowFault);
}

TEST(Window, ClearModelEmptiesTheGeometryAndClosesOnlyARecordingHistory) {
    TempDir dir;
    const std::string path = dir.file("History.tmp");
    FakeDesktop d(path); // 1380 x 920: 2000 x 1333.3 mm
    Model m = makeCantilever(2, 3);
    MakeColorTable(m);
    RebuildView(m, d);
    const auto table = m.ColorTable;
    m.YoungModulus = 70000;
    m.ElementSize = 50;
    m.ClickCount = 1;
    m.EditMode = kEditFixX;
    std::ofstream(path, std::ios::binary) << "keep"; // not recording: left as it is
    ClearModel(m, d);
    EXPECT_EQ(readFile(path), "keep");
    EXPECT_TRUE(m.EditMode == 0 && !d.resultMenusEnabled);
    EXPECT_EQ(m.DomainDefined + m.NodeCount + m.ElementCount + m.ClickCount, 0);
    EXPECT_TRUE(m.CellState.empty() && m.NodeXY.empty() && m.NodeLoad.empty());
    EXPECT_TRUE(m.YoungModulus == 70000 && m.ElementSize == 50.0f && m.ColorTable == table);
    // Redrawn empty: the axes and 20 + 20 + 13 + 13 grid lines; the legend's title.
    EXPECT_TRUE(d.canvasSurface.ofKind(DrawOp::FilledBox).empty());
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Line).size(), 2u + 66);
    EXPECT_TRUE(printedText(d.barSurface, "stress(MPa)"));

    ASSERT_TRUE(d.history().Start(m));
    ClearModel(m, d);
    EXPECT_TRUE(!d.history().isOpen() && m.HistoryRecording == 0);
    EXPECT_EQ(readFile(path).rfind("Iteration, Max, Avg, Min\r\n", 0), 0u);

    ASSERT_TRUE(d.history().Start(m));
    ExitProgram(m, d);
    EXPECT_TRUE(!d.history().isOpen() && m.HistoryRecording == 0);
}

TEST(Commands, GuardReportsFaultsRestoresPointerAndStopsTheTimer) {
    Model unloaded = makeCantilever(2, 3, 100.0f, 0.0);
    Model empty = support::makePlate(2, 2, 100.0f, kCellEmpty);
    Model fresh;
    for (Model* m : {&unloaded, &empty, &fresh}) {
        FakeDesktop d;
        AutomaticStart(*m, d);
        EXPECT_FALSE(RunGuarded(*m, d, [&] { StressAnalysisCommand(*m, d); }));
        EXPECT_TRUE(!d.busy && m->AutoOptimize == 0 && d.timerInterval == 0);
        ASSERT_EQ(d.messages.size(), 1u);
        EXPECT_EQ(d.messages[0].title, FloatingPointFault("x").title());
        EXPECT_EQ(d.messages[0].text.rfind("The calculation stopped: ", 0), 0u);
    }

    // Every kind of failure gets its own title and names its reason.
    const struct {
        std::exception_ptr error;
        std::string title, reason;
    } cases[] = {
        {std::make_exception_ptr(OverflowFault("The step count overflowed.")), "Overflow",
         "The calculation stopped: The step count overflowed.\r\n"},
        {std::make_exception_ptr(HistoryFileError("cannot create /x")), "History file",
         "cannot create /x."},
        {std::make_exception_ptr(ModelFileError("line 3: too short")), kModelFileErrorTitle,
         "line 3: too short."},
        {std::make_exception_ptr(std::bad_alloc()), "Out of memory", "ran out of memory"},
        {std::make_exception_ptr(std::runtime_error("odd")), "Error", "unexpectedly: odd."},
    };
    for (const auto& c : cases) {
        try {
            std::rethrow_exception(c.error);
        } catch (const std::exception& e) {
            EXPECT_EQ(FaultTitle(e), c.title);
            EXPECT_NE(FaultMessage(e).find(c.reason), std::string::npos) << FaultMessage(e);
        }
    }
}

TEST(Commands, AnalysisThenStepsTheTimerAndDisplayModes) {
    Model m = makeCantilever(2, 4);
    FakeDesktop d;
    d.resultMenusEnabled = false;
    m.EditMode = 4;
    StressAnalysisCommand(m, d);
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_EQ(d.pointerChanges, (std::vector<bool>{true, false}));
    EXPECT_TRUE(d.resultMenusEnabled && d.messages.empty());
    EXPECT_EQ(d.status, "  Volume = 8.00E+04mm^3");
    EXPECT_TRUE(printedText(d.barSurface, formatScientific(m.MaxStress)) &&
                printedText(d.barSurface, formatScientific(m.MinStress))); // the map is drawn
    ApplyImageChoice(m, d, false);
    EXPECT_TRUE(printedText(d.barSurface, "Potential"));
    ApplyImageChoice(m, d, true);

    d.canvasSurface.forget();
    OptimizationStep(m, d);
    EXPECT_EQ(d.status, "  Volume = " + formatScientific(m.Volume) + "mm^3     0step");
    // The plain canvas (8 cells), then the stress map over it (8 more boxes).
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Clear).size(), 1u);
    EXPECT_GE(d.canvasSurface.ofKind(DrawOp::FilledBox).size(), 16u);
    OptimizationStep(m, d);
    EXPECT_EQ(d.status.substr(d.status.size() - 10), "     1step");

    // Another DisplayMode draws nothing but still updates the label.
    m.DisplayMode = 3;
    d.canvasSurface.forget();
    d.barSurface.forget();
    OptimizationStep(m, d);
    EXPECT_TRUE(d.canvasSurface.ops().empty() && d.barSurface.ops().empty());
    EXPECT_EQ(d.status.substr(d.status.size() - 5), "2step");

    OptimizationTimerTick(m, d); // not running: no step
    EXPECT_EQ(m.StepCount, 3);
    AutomaticStart(m, d);
    EXPECT_TRUE(m.AutoOptimize == -1 && d.timerInterval == 1 && d.busy);
    OptimizationTimerTick(m, d);
    BitByBit(m, d); // an extra step between ticks; the run goes on
    EXPECT_TRUE(m.AutoOptimize == -1 && d.timerInterval == 1 && !d.busy);
    EXPECT_EQ(m.StepCount, 5);
    AutomaticStop(m, d);
    EXPECT_TRUE(m.AutoOptimize == 0 && d.timerInterval == 0 && !d.busy);
    OptimizationTimerTick(m, d);
    BitByBit(m, d);
    CancelOptimization(m, d);
    EXPECT_TRUE(m.StepCount == 6 && m.AutoOptimize == 0 && d.timerInterval == 0 && !d.busy);
}

TEST(Commands, HistoryRecordsZeroZeroOneTwoAndRefusesASecondStart) {
    TempDir dir;
    const std::string path = dir.file("History.tmp");
    Model m = makeCantilever(2, 4);
    FakeDesktop d(path);
    StressAnalysisCommand(m, d);
    RecordHistory(m, d);
    for (int i = 0; i < 3; ++i) {
        OptimizationStep(m, d);
    }
    RecordHistory(m, d);
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.messages[0].text, kHistoryAlreadyRecording);
    EXPECT_EQ(d.messages[0].title, kWarningTitle);
    std::ifstream in(path, std::ios::binary);
    std::vector<std::string> steps;
    for (std::string line; std::getline(in, line);) {
        steps.push_back(line.substr(0, line.find(',')));
    }
    EXPECT_EQ(steps, (std::vector<std::string>{"Iteration", "0", "0", "1", "2"}));

    // A recorder that cannot write is reported and closed, so a new start may follow.
    FakeDesktop nowhere(dir.file("missing/History.tmp"));
    Model other;
    EXPECT_FALSE(RunGuarded(other, nowhere, [&] { RecordHistory(other, nowhere); }));
    EXPECT_EQ(nowhere.messages.at(0).title, "History file");
    EXPECT_EQ(other.HistoryRecording, 0);
}

TEST(Commands, DialogChoicesNeedADomainOrResultsWhereTheyWorkOnThem) {
    const struct {
        ShapeOption option;
        int16 withDomain;
        bool needsDomain;
    } shapes[] = {
        {ShapeOption::DesignDomain, 1, false},       {ShapeOption::AddElements, 2, true},
        {ShapeOption::RemoveElements, -2, true},     {ShapeOption::AddNonDesignElements, 3, true},
        {ShapeOption::DeleteDesignDomain, -1, true}, {ShapeOption::Nothing, 0, false}};
    for (const auto& c : shapes) {
        for (const int16 defined : {int16{0}, int16{-1}}) {
            Model m;
            FakeDesktop d;
            m.DomainDefined = defined;
            m.EditMode = 7;
            m.ClickCount = 1;
            ApplyShape(m, d, c.option);
            const bool refused = c.needsDomain && defined == 0;
            EXPECT_EQ(m.EditMode, refused ? 7 : c.withDomain);
            EXPECT_EQ(m.ClickCount, 0);
            ASSERT_EQ(d.messages.size(), refused ? 1u : 0u);
            if (refused) {
                EXPECT_EQ(d.messages[0].text, kDomainFirst);
                EXPECT_EQ(d.messages[0].title, "警告");
            }
        }
    }
    // The supports need a domain too; the codes of the value and support choices
    // are pinned through the dialogs' buttons.
    Model m;
    FakeDesktop d;
    ApplyFreedom(m, d, FreedomOption::FixXY);
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_EQ(d.messages.size(), 1u);
    Model none; // no domain, no results: nothing to draw
    FakeDesktop quiet;
    ApplyImageChoice(none, quiet, false);
    EXPECT_EQ(none.DisplayMode, 2);
    ApplyImageChoice(none, quiet, true);
    EXPECT_EQ(none.DisplayMode, 1);
    EXPECT_TRUE(quiet.canvasSurface.ops().empty() && quiet.barSurface.ops().empty());
}

TEST(Commands, AppliedLoadMaterialAndParameterCaptions) {
    Model m;
    FakeDesktop d;
    ApplyAppliedLoad(m, d, false, "10", "-5");
    EXPECT_EQ(d.status, "x方向荷重成分 = 10N   y方向荷重成分 = -5N");
    EXPECT_TRUE(m.LoadFx == 10.0 && m.LoadFy == -5.0 && m.EditMode == 0 && d.messages.empty());
    ApplyAppliedLoad(m, d, true, "2.5kN", "abc"); // no domain yet: refused, still shown
    EXPECT_EQ(d.status, "x方向荷重成分 = 2.5N   y方向荷重成分 = 0N");
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_EQ(d.messages.size(), 1u);
    m.DomainDefined = -1;
    ApplyAppliedLoad(m, d, true, "1", "1");
    EXPECT_EQ(m.EditMode, 4);

    ApplyMaterial(m, d, "210000", "1", "0.3");
    EXPECT_EQ(d.status, "ヤング率 = 210000MPa  板厚 = 1mm  ポアソン比 = 0.3");
    ApplyMaterial(m, d, "70000", "2.5", "x");
    EXPECT_EQ(d.status, "ヤング率 = 70000MPa  板厚 = 2.5mm  ポアソン比 = 0");
    ApplyController(m, d, "120", "2.5", "0.05x");
    EXPECT_EQ(d.status, "Stress Target = 120MPa   Epsilon = 2   Lambda = 0.05");
}

TEST(Commands, WidthRefitsTheViewOrRefusesNonPositiveValues) {
    Model m;
    FakeDesktop d;        // 1380 x 920, a 3 : 2 canvas
    m.ViewRight = 123.0f; // a moved origin is undone
    ASSERT_TRUE(ApplyWidth(m, d, "1000", "50mm"));
    EXPECT_EQ(m.DomainHeight, 1000.0f * 920.0f / 1380.0f);
    EXPECT_EQ(m.ElementSize, 50.0f);
    EXPECT_EQ(d.status, "Width = 1000mm  Element Size = 50mm");
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Scale).back().a, -500.0);
    EXPECT_FALSE(d.canvasSurface.sinceClear().empty());

    for (const auto& [width, size] : {std::pair{"0", "100"}, {"100", "-5"}}) {
        const Model before = m;
        FakeDesktop refused;
        EXPECT_FALSE(ApplyWidth(m, refused, width, size));
        EXPECT_TRUE(m.DomainWidth == before.DomainWidth && m.ElementSize == before.ElementSize &&
                    m.ViewRight == before.ViewRight);
        EXPECT_TRUE(refused.canvasSurface.ops().empty() && refused.status.empty());
        ASSERT_EQ(refused.messages.size(), 1u);
        EXPECT_EQ(refused.messages[0].text, kWidthNotPositive);
    }
}

TEST(Commands, ModelFilesThroughTheDialogs) {
    const std::pair<std::string, std::string> paths[] = {{"/tmp/a", "/tmp/a/m.model"},
                                                         {"/tmp/a/", "/tmp/a/m.model"},
                                                         {"/", "/m.model"},
                                                         {"", "m.model"}};
    for (const auto& [folder, full] : paths) {
        EXPECT_EQ(ModelPathOf(folder, "m.model"), full);
    }

    TempDir dir;
    Model saved = makeCantilever(2, 3);
    FakeDesktop d(dir.file("History.tmp"));
    ASSERT_TRUE(SaveModelCommand(saved, d, dir.path.string(), "plate.model"));
    EXPECT_EQ(saved.ModelFilePath, dir.file("plate.model"));

    Model opened = makeCantilever(1, 1);
    StressAnalysisCommand(opened, d);
    RecordHistory(opened, d);
    ASSERT_TRUE(d.history().isOpen());
    ASSERT_TRUE(OpenModelCommand(opened, d, dir.path.string() + "/", "plate.model"));
    EXPECT_TRUE(opened.CellState == saved.CellState && opened.NodeXY == saved.NodeXY &&
                opened.NodeFreedom == saved.NodeFreedom && opened.NodeLoad == saved.NodeLoad);
    EXPECT_TRUE(opened.DomainDefined == -1 && opened.HistoryRecording == 0 &&
                !d.history().isOpen() && !d.resultMenusEnabled);
    EXPECT_EQ(d.title, kOpenedTitle);
    EXPECT_TRUE(!d.canvasSurface.sinceClear().empty() && d.messages.empty()); // redrawn

    // Failures keep the dialog open with the file message.
    FakeDesktop failed;
    EXPECT_FALSE(OpenModelCommand(opened, failed, dir.path.string(), "missing.model"));
    EXPECT_FALSE(SaveModelCommand(opened, failed, dir.file("no/such/folder"), "x.model"));
    ASSERT_EQ(failed.messages.size(), 2u);
    for (const auto& message : failed.messages) {
        EXPECT_EQ(message.text, kModelFileErrorMessage);
        EXPECT_EQ(message.title, "データ読込");
    }
    EXPECT_TRUE(failed.title.empty());
}

} // namespace
} // namespace quillane
