// The menu and dialog commands against a recording desktop: analysis, steps and
// their timer, history, the fault guard, the settings dialogs and the model files.

#include "ui/Commands.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include "model/Faults.h"
#include "model/ModelFile.h"
#include "model/NumberText.h"
#include "optimize/History.h"
#include "support/FakeDesktop.h"
#include "support/ModelBuilders.h"
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

std::vector<std::string> printed(const RecordingSurface& s) {
    std::vector<std::string> texts;
    for (const DrawOp& op : s.ofKind(DrawOp::Print)) {
        texts.push_back(op.text);
    }
    return texts;
}

bool contains(const std::vector<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

TEST(Commands, StressAnalysisShowsMapVolumeAndEnablesResults) {
    Model m = makeCantilever(2, 4);
    FakeDesktop d;
    d.resultMenusEnabled = false;
    m.EditMode = 4;
    StressAnalysisCommand(m, d);
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_EQ(d.pointerChanges, (std::vector<bool>{true, false}));
    EXPECT_TRUE(d.resultMenusEnabled);
    EXPECT_EQ(d.status, "  Volume = 8.00E+04mm^3");
    EXPECT_GE(d.canvasSurface.ofKind(DrawOp::FilledBox).size(), 8u); // every cell mapped
    const auto legend = printed(d.barSurface);
    EXPECT_TRUE(contains(legend, formatScientific(m.MaxStress)));
    EXPECT_TRUE(contains(legend, formatScientific(m.MinStress)));
    EXPECT_TRUE(d.messages.empty());
}

TEST(Commands, GuardReportsFaultsRestoresPointerAndStopsTheTimer) {
    Model unloaded = makeCantilever(2, 3, 100.0f, 0.0);
    Model empty = support::makePlate(2, 2, 100.0f, kCellEmpty);
    Model fresh;
    for (Model* m : {&unloaded, &empty, &fresh}) {
        FakeDesktop d;
        AutomaticStart(*m, d);
        EXPECT_FALSE(RunGuarded(*m, d, [&] { StressAnalysisCommand(*m, d); }));
        EXPECT_FALSE(d.busy);
        EXPECT_EQ(m->AutoOptimize, 0);
        EXPECT_EQ(d.timerInterval, 0);
        ASSERT_EQ(d.messages.size(), 1u);
        EXPECT_EQ(d.messages[0].title, FloatingPointFault("x").title());
        EXPECT_EQ(d.messages[0].text.rfind("The calculation stopped: ", 0), 0u);
    }
    FakeDesktop d;
    EXPECT_TRUE(RunGuarded(fresh, d, [] {}));
    EXPECT_TRUE(d.messages.empty());

    // Every kind of failure gets its own title and names its reason.
    struct Case {
        std::exception_ptr error;
        std::string title, reason;
    };
    const Case cases[] = {
        {std::make_exception_ptr(OverflowFault("The step count overflowed.")), "Overflow",
         "The calculation stopped: The step count overflowed.\r\n"},
        {std::make_exception_ptr(HistoryFileError("cannot create /x")), "History file",
         "cannot create /x."},
        {std::make_exception_ptr(ModelFileError("line 3: too short")), kModelFileErrorTitle,
         "line 3: too short."},
        {std::make_exception_ptr(std::bad_alloc()), "Out of memory", "ran out of memory"},
        {std::make_exception_ptr(std::runtime_error("odd")), "Error", "unexpectedly: odd."},
    };
    for (const Case& c : cases) {
        try {
            std::rethrow_exception(c.error);
        } catch (const std::exception& e) {
            EXPECT_EQ(FaultTitle(e), c.title);
            EXPECT_NE(FaultMessage(e).find(c.reason), std::string::npos) << FaultMessage(e);
        }
    }
}

TEST(Commands, StepsTimerAndDisplayModes) {
    Model m = makeCantilever(2, 4);
    FakeDesktop d;
    StressAnalysisCommand(m, d);
    d.canvasSurface.forget();
    OptimizationStep(m, d);
    EXPECT_EQ(d.status, "  Volume = " + formatScientific(m.Volume) + "mm^3     0step");
    // The plain canvas (8 cells), then the stress map over it (8 more boxes).
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Clear).size(), 1u);
    auto boxes = d.canvasSurface.sinceClear();
    EXPECT_GE(std::count_if(boxes.begin(), boxes.end(),
                            [](const DrawOp& op) { return op.kind == DrawOp::FilledBox; }),
              16);
    OptimizationStep(m, d);
    EXPECT_EQ(d.status.substr(d.status.size() - 10), "     1step");

    // Another DisplayMode draws nothing but still updates the label.
    m.DisplayMode = 3;
    d.canvasSurface.forget();
    d.barSurface.forget();
    OptimizationStep(m, d);
    EXPECT_TRUE(d.canvasSurface.ops().empty());
    EXPECT_TRUE(d.barSurface.ops().empty());
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

TEST(Commands, DialogChoicesNeedADomainWhereTheyWorkOnIt) {
    struct Case {
        ShapeOption option;
        int16 withDomain;
        bool needsDomain;
    };
    const Case shapes[] = {
        {ShapeOption::DesignDomain, 1, false},       {ShapeOption::AddElements, 2, true},
        {ShapeOption::RemoveElements, -2, true},     {ShapeOption::AddNonDesignElements, 3, true},
        {ShapeOption::DeleteDesignDomain, -1, true}, {ShapeOption::Nothing, 0, false}};
    for (const Case& c : shapes) {
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
                EXPECT_EQ(d.messages[0].title, kWarningTitle);
            }
        }
    }
    const FreedomOption kinds[] = {FreedomOption::FixX, FreedomOption::FixY, FreedomOption::FixXY,
                                   FreedomOption::Free};
    for (int k = 0; k < 4; ++k) {
        Model m;
        FakeDesktop d;
        ApplyFreedom(m, d, kinds[k]);
        EXPECT_EQ(m.EditMode, 0);
        EXPECT_EQ(d.messages.size(), 1u);
        m.DomainDefined = -1;
        ApplyFreedom(m, d, kinds[k]);
        EXPECT_EQ(m.EditMode, 11 + k);
    }
    const std::pair<ValueOption, int16> values[] = {{ValueOption::Load, 8},
                                                    {ValueOption::Displacement, 5},
                                                    {ValueOption::Stress, 6},
                                                    {ValueOption::Potential, 7},
                                                    {ValueOption::Nothing, 9}};
    for (const auto& [option, mode] : values) {
        Model m;
        m.EditMode = 9;
        ApplyValueChoice(m, option);
        EXPECT_EQ(m.EditMode, mode);
    }
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
    ApplyController(m, d, "120", "2.5", "0.05x");
    EXPECT_EQ(d.status, "Stress Target = 120MPa   Epsilon = 2   Lambda = 0.05");
}

TEST(Commands, WidthRefitsTheViewOrRefusesNonPositiveValues) {
    Model m;
    FakeDesktop d;        // 1380 x 920, a 3 : 2 canvas
    m.ViewRight = 123.0f; // a moved origin is undone
    ASSERT_TRUE(ApplyWidth(m, d, "1000", "50mm"));
    EXPECT_EQ(m.DomainHeight, 1000.0f * 920.0f / 1380.0f);
    EXPECT_NEAR(m.DomainHeight, 666.67, 0.01);
    EXPECT_EQ(m.ElementSize, 50.0f);
    EXPECT_EQ(d.status, "Width = 1000mm  Element Size = 50mm");
    const auto scales = d.canvasSurface.ofKind(DrawOp::Scale);
    ASSERT_FALSE(scales.empty());
    EXPECT_EQ(scales.back().a, -500.0);
    EXPECT_EQ(scales.back().c, 500.0);
    EXPECT_NEAR(scales.back().b, 333.33, 0.01);
    EXPECT_NEAR(scales.back().d, -333.33, 0.01);
    EXPECT_FALSE(d.canvasSurface.sinceClear().empty());

    for (const auto& [width, size] : {std::pair{"0", "100"}, {"abc", "100"}, {"100", "-5"}}) {
        const Model before = m;
        FakeDesktop refused;
        EXPECT_FALSE(ApplyWidth(m, refused, width, size));
        EXPECT_TRUE(m.DomainWidth == before.DomainWidth && m.ElementSize == before.ElementSize &&
                    m.DomainHeight == before.DomainHeight && m.ViewRight == before.ViewRight);
        EXPECT_TRUE(refused.canvasSurface.ops().empty() && refused.status.empty());
        ASSERT_EQ(refused.messages.size(), 1u);
        EXPECT_EQ(refused.messages[0].text, kWidthNotPositive);
    }
}

TEST(Commands, ImageChoiceDrawsOnlyWhatExists) {
    Model m;
    FakeDesktop d;
    ApplyImageChoice(m, d, false); // no domain, no results: nothing to draw
    EXPECT_EQ(m.DisplayMode, 2);
    ApplyImageChoice(m, d, true);
    EXPECT_EQ(m.DisplayMode, 1);
    EXPECT_TRUE(d.canvasSurface.ops().empty() && d.barSurface.ops().empty());

    Model plate = makeCantilever(2, 2);
    StressAnalysisCommand(plate, d);
    d.barSurface.forget();
    ApplyImageChoice(plate, d, false);
    EXPECT_EQ(plate.DisplayMode, 2);
    EXPECT_TRUE(contains(printed(d.barSurface), "Potential"));
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
    saved.LoadFx = 7.0; // not part of the file
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
    EXPECT_EQ(opened.DomainDefined, -1);
    EXPECT_EQ(opened.HistoryRecording, 0);
    EXPECT_FALSE(d.history().isOpen());
    EXPECT_FALSE(d.resultMenusEnabled);
    EXPECT_EQ(d.title, kOpenedTitle);
    const auto scales = d.canvasSurface.ofKind(DrawOp::Scale);
    ASSERT_FALSE(scales.empty());
    EXPECT_EQ(scales.back().a, opened.ViewRight - opened.DomainWidth);
    EXPECT_FALSE(d.canvasSurface.sinceClear().empty());
    EXPECT_TRUE(d.messages.empty());

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
