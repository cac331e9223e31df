// Clicks on the canvas against a recording desktop: the grid, the design domain,
// cell rectangles, supports, loads, the value read-outs and Move Origin.
#include "ui/Editing.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "display/Canvas.h"
#include "support/FakeDesktop.h"
#include "ui/Window.h"

using namespace quillane;
using quillane::test::FakeDesktop;

namespace {

using Texts = std::vector<std::string>;
using Ops = std::vector<double>;

Ops corners(const DrawOp& op) {
    return {op.a, op.b, op.c, op.d};
}
Ops domainOf(const Model& m) {
    return {m.DomainX1, m.DomainX2, m.DomainY1, m.DomainY2};
}

struct EditingTest : ::testing::Test {
    void press(float x, float y) { CanvasMouseDown(m, d, x, y); }
    void clickTwice(int16 mode, float x1, float y1, float x2, float y2) {
        m.EditMode = mode;
        m.ClickCount = 0;
        press(x1, y1);
        press(x2, y2);
    }
    // The worked domain: x from -400 to 300, y from -300 to 200, 7 x 5 cells.
    void setUpExampleDomain() { clickTwice(kEditDomain, -449, -260, 251, 240); }
    // The warnings shown so far.
    Texts messages() const {
        Texts texts;
        for (const auto& message : d.messages) {
            EXPECT_EQ(message.title, kWarningTitle);
            texts.push_back(message.text);
        }
        return texts;
    }

    Model m;
    FakeDesktop d;
};

} // namespace

TEST(GridAndMouse, NearestGridLineRoundsHalvesUpAndReadoutRoundsAwayFromZero) {
    const std::pair<float, int> lines[] = {
        {149.9f, 1}, {150.0f, 2}, {-150.0f, -1}, {-150.1f, -2}, {-49.9f, 0}};
    for (const auto& [v, line] : lines) {
        EXPECT_EQ(NearestGridLine(v, 100.0f), line) << v;
    }
    EXPECT_EQ(MouseText(2.5f, -2.5f), "x = 3mm  y = -3mm");
    EXPECT_EQ(MouseText(-350.2f, 119.6f), "x = -350mm  y = 120mm");
}

TEST_F(EditingTest, DomainSetUpMarksTheFirstCornerThenBuildsTheMesh) {
    m.EditMode = kEditDomain;
    press(-449, -260);
    EXPECT_EQ(m.ClickCount, 1);
    const auto& mark = d.canvasSurface.ops(); // circle of DomainWidth / 200, two strokes
    ASSERT_EQ(mark.size(), 3u);
    EXPECT_EQ(Ops({mark[0].a, mark[0].b, mark[0].c}), Ops({-400, -300, 10}));
    EXPECT_EQ(mark[0].color, PaletteColor(12));
    EXPECT_EQ(corners(mark[1]), Ops({-420, -300, -380, -300}));
    EXPECT_EQ(corners(mark[2]), Ops({-400, -320, -400, -280}));

    press(251, 240);
    EXPECT_EQ(domainOf(m), Ops({-400, 300, -300, 200}));
    EXPECT_EQ(Ops({1.0 * m.CellColumnCount, 1.0 * m.CellRowCount, 1.0 * m.ElementCount,
                   1.0 * m.NodeCount}),
              Ops({7, 5, 35, 48}));
    EXPECT_EQ(Ops({m.NodeXY(1, 1), m.NodeXY(1, 2), m.NodeXY(8, 1), m.NodeXY(8, 2), m.NodeXY(9, 1),
                   m.NodeXY(9, 2)}),
              Ops({-400, -300, 300, -300, -400, -200}));
    EXPECT_EQ(Ops({1.0 * m.ElementNodes(1, 1), 1.0 * m.ElementNodes(1, 2),
                   1.0 * m.ElementNodes(1, 3), 1.0 * m.ElementNodes(1, 4)}),
              Ops({1, 2, 10, 9}));
    EXPECT_TRUE(m.DomainDefined == -1 && m.EditMode == kEditNothing && m.ClickCount == 0);
    EXPECT_TRUE(d.canvasSurface.ofKind(DrawOp::Clear).size() == 1 &&
                !d.canvasSurface.sinceClear().empty()); // redrawn, the mark gone

    Model reversed; // the second corner below and left of the first
    reversed.EditMode = kEditDomain;
    CanvasMouseDown(reversed, d, 251, 240);
    CanvasMouseDown(reversed, d, -449, -260);
    EXPECT_EQ(domainOf(reversed), domainOf(m));
}

TEST_F(EditingTest, RefusedDomainsKeepThePreviousOne) {
    const struct {
        float size;
        float x1, y1, x2, y2;
        const char* message;
    } cases[] = {
        {100, 0, 0, 40, 500, kDomainWithoutCells},  // same vertical grid line
        {100, 0, 0, 500, -20, kDomainWithoutCells}, // same horizontal grid line
        {1, 0, 0, 200, 200, kDomainTooLarge},       // 40000 cells
        {1, 0, 0, 16383, 1, kDomainTooLarge},       // 16383 cells but 32768 nodes
        {0.1f, -2e5f, 0, 2e5f, 1, kDomainTooLarge}, // beyond any 16-bit count
    };
    for (const auto& c : cases) {
        m = Model{};
        d.messages.clear();
        setUpExampleDomain();
        m.CellState(2, 3) = kCellNonDesign;
        m.ElementSize = c.size;
        clickTwice(kEditDomain, c.x1, c.y1, c.x2, c.y2);
        EXPECT_EQ(messages(), Texts{c.message}) << c.x2;
        EXPECT_EQ(domainOf(m), Ops({-400, 300, -300, 200}));
        EXPECT_TRUE(m.NodeCount == 48 && m.CellState(2, 3) == kCellNonDesign) << c.x2;
        // The user starts again at the first corner.
        EXPECT_TRUE(m.ClickCount == 0 && m.EditMode == kEditDomain) << c.x2;
    }
}

TEST_F(EditingTest, RectangleCornersMustLieInsideAndARefusedSecondClickKeepsTheFirst) {
    setUpExampleDomain();
    m.EditMode = kEditAddDesign;
    press(300, -250); // the right edge belongs to no cell
    EXPECT_EQ(messages(), Texts{kElementNotInDomain});
    EXPECT_EQ(m.ClickCount, 0);

    d.canvasSurface.forget();
    press(-400, -250); // the left edge is column 1
    EXPECT_TRUE(m.ClickCount == 1 && m.FirstCornerColumn == 1 && m.FirstCornerRow == 1);
    const auto& ops = d.canvasSurface.ops(); // the cell marked, outlined in cyan
    ASSERT_EQ(ops.size(), 2u);
    EXPECT_TRUE(ops[0].kind == DrawOp::FilledBox && ops[0].color == PaletteColor(4));
    EXPECT_TRUE(ops[1].kind == DrawOp::Box && ops[1].color == PaletteColor(3));
    EXPECT_EQ(corners(ops[1]), Ops({-400, -300, -300, -200}));
    EXPECT_EQ(m.CellState(1, 1), kCellEmpty); // nothing changes before the second click

    press(250, 200); // the top edge: refused, first corner kept
    EXPECT_TRUE(m.ClickCount == 1 && m.FirstCornerColumn == 1);
    press(-250, -150);
    EXPECT_TRUE(m.ClickCount == 0 && m.EditMode == kEditAddDesign);
    for (int r = 1; r <= 5; ++r) {
        for (int c = 1; c <= 7; ++c) {
            EXPECT_EQ(m.CellState(r, c), (r <= 2 && c <= 2) ? kCellDesign : kCellEmpty)
                << r << "," << c;
        }
    }
    EXPECT_EQ(messages(), Texts(2, kElementNotInDomain));
}

TEST_F(EditingTest, LaterOperationsOverwriteCellsAndCornersMayComeInAnyOrder) {
    setUpExampleDomain();
    // Second corner below and left of the first: the same block.
    clickTwice(kEditAddNonDesign, 150, 150, -350, -250);
    EXPECT_EQ(m.CellState(1, 1), kCellNonDesign);
    EXPECT_EQ(m.CellState(5, 6), kCellNonDesign);
    EXPECT_EQ(m.CellState(5, 7), kCellEmpty);

    const std::pair<int16, int16> sequence[] = {
        {kEditAddDesign, 1}, {kEditEmpty, 0}, {kEditCutOut, -3}, {kEditAddDesign, 1}};
    for (const auto& [mode, state] : sequence) {
        clickTwice(mode, -50, 50, -50, 50); // one cell: clicked twice
        EXPECT_EQ(m.CellState(4, 4), state) << mode;
        EXPECT_EQ(m.CellState(4, 3), kCellNonDesign);
    }
    EXPECT_TRUE(d.messages.empty());
}

TEST_F(EditingTest, SupportsSnapToTheNearestNodeAndWriteBothFlags) {
    setUpExampleDomain();
    const struct {
        int16 mode;
        int16 fx, fy;
    } kinds[] = {{kEditFixXY, 1, 1}, {kEditFixX, 1, 0}, {kEditFixY, 0, 1}, {kEditFree, 0, 0}};
    for (const auto& k : kinds) {
        m.EditMode = k.mode;
        press(249, 151); // grid point (200, 200): column 7, row 6
        EXPECT_EQ(m.NodeFreedom(47, 1), k.fx) << k.mode;
        EXPECT_EQ(m.NodeFreedom(47, 2), k.fy) << k.mode;
    }
    m.EditMode = kEditFixXY;
    press(351, 0); // snaps to x = 400, beyond the domain
    EXPECT_EQ(messages(), Texts{kNodeNotInDomain});
    for (int n = 1; n <= m.NodeCount; ++n) {
        EXPECT_EQ(m.NodeFreedom(n, 1) + m.NodeFreedom(n, 2), 0) << n;
    }
    press(300, 200); // the corner node is on the boundary and accepted
    EXPECT_EQ(m.NodeFreedom(48, 2), 1);
}

TEST_F(EditingTest, LoadsReplaceSnapMidpointsUpAndBeep) {
    setUpExampleDomain();
    m.EditMode = kEditLoad;
    m.LoadFx = 10;
    m.LoadFy = -5;
    press(-350, -250); // midway in both: up and right to (-300, -200), node 10
    EXPECT_TRUE(m.NodeLoad(10, 1) == 10 && m.NodeLoad(10, 2) == -5 && m.NodeLoad(1, 1) == 0);
    m.LoadFx = 3;
    m.LoadFy = 0;
    press(-301, -199);
    EXPECT_TRUE(m.NodeLoad(10, 1) == 3 && m.NodeLoad(10, 2) == 0);
    EXPECT_EQ(d.beeps, 2);

    m.ClickCount = 1;
    press(351, 0);
    EXPECT_EQ(messages(), Texts{kNodeNotInDomain});
    EXPECT_EQ(m.ClickCount, 0);
    EXPECT_EQ(d.beeps, 2);
}

TEST_F(EditingTest, ModeZeroDoesNothingAndTheValueModesShowReadouts) {
    setUpExampleDomain();
    d.canvasSurface.forget();
    press(0, 0); // mode 0
    EXPECT_TRUE(d.canvasSurface.ops().empty() && d.messages.empty() && m.ClickCount == 0);

    m.NodeLoad(29, 1) = 10; // the node at the origin
    m.NodeLoad(29, 2) = -5;
    m.EditMode = kEditLoadValue;
    press(10, -20);
    EXPECT_EQ(d.status, "Px = 10N  Py = -5N");
    press(1000, 0);
    EXPECT_EQ(messages(), Texts{kNodeNotInDomain});
    m.EditMode = kEditStressValue;
    press(-400, -300);
    EXPECT_EQ(d.status.find("0,0"), 0u) << d.status;
}

TEST_F(EditingTest, MoveOriginShiftsTheViewUntilItIsRebuilt) {
    RebuildView(m, d);
    EXPECT_EQ(m.ViewRight, 1000);
    MoveOrigin(m);
    press(500, 200);
    const float top = m.ViewTop;
    const auto scale = d.canvasSurface.ofKind(DrawOp::Scale).back();
    EXPECT_EQ(Ops({scale.a, scale.b, scale.c}), Ops({-1500, top, 500}));
    EXPECT_EQ(m.EditMode, kEditMoveOrigin);
    EXPECT_FALSE(d.canvasSurface.sinceClear().empty()); // redrawn

    press(0, 0); // the new origin: nothing moves
    EXPECT_TRUE(m.ViewRight == 500 && m.ViewTop == top);

    RebuildView(m, d);
    EXPECT_EQ(m.ViewRight, 1000);
    EXPECT_EQ(d.canvasSurface.ofKind(DrawOp::Scale).back().a, -1000);
}

TEST_F(EditingTest, AnAbandonedFirstCornerOrAClearedModelNeverFaultsLaterClicks) {
    setUpExampleDomain();
    m.EditMode = kEditDomain;
    press(-1500, 0); // first corner only, then another tool is chosen
    for (const int16 mode : {kEditAddDesign, kEditFixXY, kEditLoad}) {
        m.EditMode = mode;
        m.ClickCount = 0;
        EXPECT_NO_THROW(press(200, 0)) << mode;
        EXPECT_NO_THROW(press(250, 50)) << mode;
    }

    ClearModel(m, d); // no cells and no nodes left: every click is refused
    const std::pair<int16, const char*> modes[] = {{kEditAddDesign, kElementNotInDomain},
                                                   {kEditLoad, kNodeNotInDomain},
                                                   {kEditFixXY, kNodeNotInDomain}};
    for (const auto& [mode, message] : modes) {
        m.EditMode = mode;
        m.ClickCount = 0;
        d.messages.clear();
        EXPECT_NO_THROW(press(0, 0)) << mode;
        EXPECT_EQ(messages(), Texts{message}) << mode;
        EXPECT_EQ(m.ClickCount, 0);
    }
}
