#include "ui/Window.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "model/Faults.h"
#include "support/FakeDesktop.h"
#include "ui/Editing.h"

using namespace quillane;
using quillane::test::FakeDesktop;
namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A history file of its own per test, removed afterwards.
class WindowTest : public ::testing::Test {
  protected:
    void TearDown() override {
        d.history().Close(m);
        fs::remove(path);
    }

    fs::path path =
        fs::temp_directory_path() /
        ("quillane_window_" +
         std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".tmp");
    Model m;
    FakeDesktop d{path.string()};
};

} // namespace

TEST_F(WindowTest, StartUpSetsDefaultsStopsTheTimerAndGreysTheResultMenus) {
    m.DomainWidth = 500;
    m.EditMode = kEditLoad;
    m.DisplayMode = 2;
    m.DomainX2 = 300;
    m.Lambda = 0.5f;
    m.Epsilon = 4;
    m.LoadFx = 7;
    m.HistoryRecording = -1;
    d.timerInterval = 1;
    StartUp(m, d);
    EXPECT_EQ(d.title, kMainTitle);
    EXPECT_EQ(d.status, "Width = 2000mm  Element Size = 100mm");
    EXPECT_EQ(d.timerInterval, 0);
    EXPECT_FALSE(d.resultMenusEnabled);
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_EQ(m.DisplayMode, 1);
    EXPECT_EQ(m.DomainX2, 0);
    EXPECT_EQ(m.Lambda, 0.05f);
    EXPECT_EQ(m.Epsilon, 1);
    EXPECT_EQ(m.LoadFx, 0);
    EXPECT_EQ(m.HistoryRecording, 0);
    EXPECT_EQ(m.OriginFracX, 0.5f);
    EXPECT_NE(m.ColorTable[15][0], 0); // the ramp ends in red

    m.DomainWidth = 1500;
    m.ElementSize = 12.5f;
    EXPECT_EQ(SummaryText(m), "Width = 1500mm  Element Size = 12.5mm");
}

TEST(Layout, RoundsEachQuantityHalfToEvenAsSoonAsItIsComputed) {
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
        EXPECT_EQ(b.canvasHeight, c.ch) << c.h;
        EXPECT_EQ(b.labelTop, c.lt) << c.h;
        EXPECT_EQ(b.colorBarWidth, c.cb) << c.h;
        EXPECT_EQ(b.canvasWidth, c.cw) << c.h;
    }
    EXPECT_THROW(ComputeLayout(40000, 1000), OverflowFault);
}

TEST_F(WindowTest, AfterResizeCentresTheOriginAndRedrawsCanvasAndLegend) {
    StartUp(m, d);
    m.ViewRight = 123; // as after a Move Origin
    AfterResize(m, d);
    const auto scale = d.canvasSurface.ofKind(DrawOp::Scale).back();
    EXPECT_EQ(scale.a, -1000);
    EXPECT_EQ(scale.c, 1000);
    EXPECT_FLOAT_EQ(static_cast<float>(scale.b), 2000.0f * 920 / 1380 / 2);
    EXPECT_FLOAT_EQ(static_cast<float>(scale.d), -2000.0f * 920 / 1380 / 2);
    EXPECT_FALSE(d.canvasSurface.sinceClear().empty());
    const auto prints = d.barSurface.ofKind(DrawOp::Print);
    ASSERT_FALSE(prints.empty());
    EXPECT_EQ(prints.front().text, "stress(MPa)");
}

TEST_F(WindowTest, ClearModelClosesOnlyARecordingHistory) {
    StartUp(m, d);
    // Not recording: a file of that name stays as it is.
    { std::ofstream(path, std::ios::binary) << "keep"; }
    m.EditMode = kEditFixX;
    d.resultMenusEnabled = true;
    ClearModel(m, d);
    EXPECT_EQ(readFile(path), "keep");
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_FALSE(d.resultMenusEnabled);

    ASSERT_TRUE(d.history().Start(m));
    ClearModel(m, d);
    EXPECT_FALSE(d.history().isOpen());
    EXPECT_EQ(m.HistoryRecording, 0);
    EXPECT_EQ(readFile(path).rfind("Iteration, Max, Avg, Min\r\n", 0), 0u);

    ASSERT_TRUE(d.history().Start(m));
    MoveOrigin(m);
    EXPECT_EQ(m.EditMode, kEditMoveOrigin);
    ExitProgram(m, d);
    EXPECT_FALSE(d.history().isOpen());
    EXPECT_EQ(m.HistoryRecording, 0);
}

TEST_F(WindowTest, ClicksOnAClearedModelAreRefusedAndNeverFault) {
    StartUp(m, d);
    m.EditMode = kEditDomain;
    CanvasMouseDown(m, d, -449, -260);
    CanvasMouseDown(m, d, 251, 240);
    ASSERT_EQ(m.DomainDefined, -1);
    ClearModel(m, d);
    ASSERT_EQ(m.DomainDefined, 0);

    const struct {
        int16 mode;
        const char* message;
    } modes[] = {{kEditAddDesign, kElementNotInDomain}, {kEditAddNonDesign, kElementNotInDomain},
                 {kEditCutOut, kElementNotInDomain},    {kEditEmpty, kElementNotInDomain},
                 {kEditLoad, kNodeNotInDomain},         {kEditFixXY, kNodeNotInDomain},
                 {kEditFree, kNodeNotInDomain}};
    for (const auto& c : modes) {
        m.EditMode = c.mode;
        m.ClickCount = 0;
        d.messages.clear();
        EXPECT_NO_THROW(CanvasMouseDown(m, d, 0, 0)) << c.mode;
        ASSERT_EQ(d.messages.size(), 1u) << c.mode;
        EXPECT_EQ(d.messages[0].text, c.message);
        EXPECT_EQ(m.ClickCount, 0);
    }
}
