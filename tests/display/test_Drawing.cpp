// The canvas, the legend and the result maps against a recording surface, and the
// value read-outs of a clicked cell or node.
#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "display/Canvas.h"
#include "display/ColorScale.h"
#include "display/Layout.h"
#include "display/RecordingSurface.h"
#include "display/ResultMaps.h"
#include "display/ValueReadouts.h"
#include "model/Messages.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

using Coords = std::array<double, 4>;
Coords at(const DrawOp& op) {
    return {op.a, op.b, op.c, op.d};
}

std::vector<DrawOp> pick(const std::vector<DrawOp>& ops, DrawOp::Kind kind,
                         std::optional<Rgb> color = {}) {
    std::vector<DrawOp> out;
    std::copy_if(ops.begin(), ops.end(), std::back_inserter(out), [&](const DrawOp& op) {
        return op.kind == kind && (!color || op.color == *color);
    });
    return out;
}

// A 2000 mm wide view on a 2:1 canvas (x -1000..1000, y -500..500), colours built.
Model viewed(Model m) {
    FitView(m, 800, 400);
    MakeColorTable(m);
    return m;
}

// A 1 x n plate whose cells hold the given stresses and potentials.
Model plateWith(const std::vector<double>& values) {
    Model m = viewed(makePlate(1, static_cast<int>(values.size())));
    for (std::size_t j = 0; j < values.size(); ++j) {
        m.CellStress(1, static_cast<long long>(j + 1)) = values[j];
        m.Potential(1, static_cast<long long>(j + 1)) = values[j];
    }
    return m;
}

// The colour level (1..16, 17 for none) of every filled cell.
std::vector<int> levels(const Model& m, const RecordingSurface& canvas) {
    std::vector<int> out;
    for (const DrawOp& op : canvas.ofKind(DrawOp::FilledBox)) {
        int k = 1;
        while (k <= 16 && !(op.color == LevelColor(m, k))) {
            ++k;
        }
        out.push_back(k);
    }
    return out;
}

// The title, then the 16 labels (level 1 first), checking where they stand.
std::vector<std::string> printed(const RecordingSurface& bar) {
    std::vector<std::string> out;
    const auto prints = pick(bar.sinceClear(), DrawOp::Print);
    for (std::size_t k = 0; k < prints.size(); ++k) {
        EXPECT_EQ(prints[k].a, k == 0 ? 0.0 : 2.0);
        EXPECT_EQ(prints[k].b, k == 0 ? 16.8 : static_cast<double>(k));
        EXPECT_EQ(prints[k].color, PaletteColor(1));
        out.push_back(prints[k].text);
    }
    return out;
}

} // namespace

TEST(ColorScale, TableAndLegend) {
    const Rgb ramp[16] = {{0, 63, 252},  {0, 108, 243}, {0, 147, 228}, {0, 180, 207},
                          {0, 207, 180}, {0, 228, 147}, {0, 243, 108}, {0, 252, 63},
                          {63, 252, 0},  {108, 243, 0}, {147, 228, 0}, {180, 207, 0},
                          {207, 180, 0}, {228, 147, 0}, {243, 108, 0}, {252, 63, 0}};
    Model m;
    MakeColorTable(m);
    RecordingSurface bar;
    DrawColorBar(m, bar, "Potential");
    const std::size_t once = bar.sinceClear().size();
    DrawColorBar(m, bar, "Potential"); // a redraw starts from a cleared bar
    const auto ops = bar.sinceClear();
    ASSERT_EQ(ops.size(), once);
    EXPECT_EQ(at(ops[0]), (Coords{-0.5, 17, 5, -1}));
    EXPECT_EQ(printed(bar), std::vector<std::string>{"Potential"});
    const auto fills = pick(ops, DrawOp::FilledBox);
    const auto outlines = pick(ops, DrawOp::Box, PaletteColor(1));
    ASSERT_EQ(fills.size(), 16u);
    ASSERT_EQ(outlines.size(), 16u);
    for (std::size_t i = 0; i < 16; ++i) {
        const Rgb& c = ramp[i];
        EXPECT_EQ(m.ColorTable[i], (std::array<int16, 3>{c.r, c.g, c.b})) << i;
        EXPECT_EQ(fills[i].color, c) << i;
        EXPECT_EQ(at(fills[i]), (Coords{0, 1.0 * i, 1.5, i + 1.0}));
        EXPECT_EQ(at(outlines[i]), at(fills[i]));
    }
}

TEST(Canvas, EmptyModelShowsBackgroundAxesAndGrid) {
    Model m = viewed(Model{});
    RecordingSurface canvas;
    DrawCanvas(m, canvas);
    EXPECT_EQ(canvas.ofKind(DrawOp::Clear).back().color, kCanvasBackground);
    const auto ops = canvas.sinceClear();
    const auto lines = pick(ops, DrawOp::Line);
    EXPECT_EQ(lines.size() + pick(ops, DrawOp::DrawWidth).size(), ops.size());
    ASSERT_EQ(lines.size(), 2u + 10 + 10 + 5 + 5);
    EXPECT_EQ(pick(lines, DrawOp::Line, PaletteColor(3)).size(), 30u);
    EXPECT_EQ(lines[0].color, PaletteColor(4));
    // The two axes, then sweeps left, right, down, up, each reaching the edge.
    const std::pair<std::size_t, Coords> expected[] = {
        {0, {0, 500, 0, -500}},          {1, {-1000, 0, 1000, 0}},
        {11, {-1000, 500, -1000, -500}}, {21, {1000, 500, 1000, -500}},
        {22, {-1000, -100, 1000, -100}}, {31, {-1000, 500, 1000, 500}}};
    for (const auto& [k, line] : expected) {
        EXPECT_EQ(at(lines[k]), line) << k;
    }
    m.ElementSize = 0; // only from a file; the grid is left out, nothing raised
    canvas.forget();
    drawGrid(m, canvas);
    EXPECT_EQ(canvas.ofKind(DrawOp::Line).size(), 2u);
}

TEST(Canvas, CellsPassByPassEachWithACyanOutline) {
    Model m = viewed(makePlate(2, 3));
    setCells(m, 1, 3, 2, 3, kCellEmpty);
    m.CellState(1, 1) = kCellNonDesign;
    m.CellState(2, 1) = kCellCutOut;
    RecordingSurface canvas;
    DrawCanvas(m, canvas);
    EXPECT_EQ(m.NodeActive(nodeAt(m, 3, 4)), 0); // activity refreshed first
    auto boxes = canvas.sinceClear();
    std::erase_if(boxes, [](const DrawOp& op) {
        return op.kind != DrawOp::Box && op.kind != DrawOp::FilledBox;
    });
    // The domain, then design, non-design and cut-out cells, each pass row by row.
    const std::pair<Coords, Rgb> expected[] = {{{0, 0, 300, 200}, PaletteColor(15)},
                                               {{100, 0, 200, 100}, PaletteColor(10)},
                                               {{100, 100, 200, 200}, PaletteColor(10)},
                                               {{0, 0, 100, 100}, PaletteColor(11)},
                                               {{0, 100, 100, 200}, kCanvasBackground}};
    ASSERT_EQ(boxes.size(), 2 * std::size(expected) - 1);
    for (std::size_t k = 0; k < boxes.size(); ++k) {
        const auto& [corners, fill] = expected[(k + 1) / 2];
        const bool outline = k % 2 == 0 && k > 0;
        EXPECT_EQ(boxes[k].kind, outline ? DrawOp::Box : DrawOp::FilledBox) << k;
        EXPECT_EQ(at(boxes[k]), corners) << k;
        EXPECT_EQ(boxes[k].color, outline ? PaletteColor(3) : fill) << k;
    }
}

TEST(Canvas, AxesAndGridComeLastOverCellsArrowsAndSupports) {
    Model m = viewed(makePlate(2, 3));
    loadNode(m, 2, 10, 0);
    fixNode(m, 1, true, true);
    RecordingSurface canvas;
    DrawCanvas(m, canvas);
    auto ops = canvas.sinceClear();
    std::erase_if(ops, [](const DrawOp& op) { return op.kind == DrawOp::DrawWidth; });
    const auto axis = std::find_if(ops.begin(), ops.end(), [](const DrawOp& op) {
        return op.kind == DrawOp::Line && op.color == PaletteColor(4);
    });
    ASSERT_NE(axis, ops.end());
    // Before the axes: the domain, 6 cells and their outlines, 8 arrow and 8 support lines.
    EXPECT_EQ(axis - ops.begin(), 1 + 12 + 8 + 8);
    EXPECT_EQ(pick({ops.begin(), axis}, DrawOp::FilledBox).size(), 7u);
    // From the axes on: the 2 axes and the 30 grid lines, nothing else.
    EXPECT_EQ(ops.end() - axis, 2 + 30);
    EXPECT_EQ(pick({axis + 2, ops.end()}, DrawOp::Line, PaletteColor(3)).size(), 30u);
}

TEST(Canvas, LoadArrowsFollowTheForceSignAndSupportsGetTheirSymbols) {
    const double s = static_cast<double>(2000.0f / 30.0f);
    const float g = 4.0f * 20.0f / 3.0f; // symbol size h = 2000 / 100 = 20, single precision
    const double gx = static_cast<double>(100.0f - g);
    const Coords symbols[] = {{100, 0, 80, 10},   {80, 10, 80, -10}, {80, -10, 100, 0},
                              {gx, -10, gx, 10},  {100, 0, 90, -20}, {90, -20, 110, -20},
                              {110, -20, 100, 0}, {90, -g, 110, -g}};
    const struct {
        double fx, fy;
        int sx, sy;
    } cases[] = {{1000, 1000, 1, 1}, {-3, 0.5, -1, 1}, {0, -7, 0, -1}}; // 0: zero length
    for (const auto& c : cases) {
        Model m = viewed(makePlate(1, 1));
        loadNode(m, 2, c.fx, c.fy); // the node at (100, 0)
        fixNode(m, 2, true, true);
        m.NodeFreedom(4, 1) = 2; // only code 1 has a symbol
        RecordingSurface canvas;
        DrawCanvas(m, canvas);
        const auto arrows = pick(canvas.sinceClear(), DrawOp::Line, PaletteColor(13));
        ASSERT_EQ(arrows.size(), 8u) << c.fx;
        EXPECT_EQ(arrows[0].width, 2);
        const double tipX = 100 + c.sx * s;
        const double tipY = c.sy * s;
        EXPECT_EQ(at(arrows[0]), (Coords{100, 0, tipX, 0})) << c.fx;
        EXPECT_EQ(at(arrows[4]), (Coords{100, 0, 100, tipY})) << c.fy;
        // Each shaft is drawn twice, each time followed by one barb from the tip: back by
        // a third of the arrow and aside by a fifth, on either side.
        const double ax = c.sx * s;
        const double ay = c.sy * s;
        EXPECT_EQ(at(arrows[2]), at(arrows[0]));
        EXPECT_EQ(at(arrows[6]), at(arrows[4]));
        const Coords barbs[] = {{tipX, 0, tipX - ax / 3, ax / 5},
                                {tipX, 0, tipX - ax / 3, -ax / 5},
                                {100, tipY, 100 + ay / 5, tipY - ay / 3},
                                {100, tipY, 100 - ay / 5, tipY - ay / 3}};
        for (const auto& [index, barb] :
             {std::pair{1, barbs[0]}, {3, barbs[1]}, {5, barbs[2]}, {7, barbs[3]}}) {
            const Coords drawnBarb = at(arrows[static_cast<std::size_t>(index)]);
            for (std::size_t q = 0; q < 4; ++q) {
                EXPECT_NEAR(drawnBarb[q], barb[q], 1e-3) << c.fx << " barb " << index;
            }
        }
        const auto drawn = pick(canvas.sinceClear(), DrawOp::Line, PaletteColor(1));
        ASSERT_EQ(drawn.size(), 8u);
        for (std::size_t k = 0; k < 8; ++k) {
            EXPECT_EQ(at(drawn[k]), symbols[k]) << k;
            EXPECT_EQ(drawn[k].width, 1) << k;
        }
    }
}

TEST(ResultMaps, EqualValuesGiveLevelOneOnOccupiedCellsOnly) {
    Model m = plateWith({5, 5, 5, 5});
    m.CellState(1, 2) = kCellEmpty;
    m.CellState(1, 4) = kCellCutOut;
    RecordingSurface canvas, bar;
    DrawStressMap(m, canvas, bar, 5, 5, m.CellStress);
    EXPECT_TRUE(canvas.ofKind(DrawOp::Clear).empty()); // painted over the model
    EXPECT_EQ(canvas.backColor(), PaletteColor(15));
    const auto boxes = canvas.ofKind(DrawOp::FilledBox);
    ASSERT_EQ(boxes.size(), 2u);
    EXPECT_EQ(at(boxes[1]), (Coords{200, 0, 300, 100}));
    EXPECT_EQ(levels(m, canvas), (std::vector<int>{1, 1}));
    std::vector<std::string> expected(17, "5.00E+00");
    expected[0] = "stress(MPa)";
    EXPECT_EQ(printed(bar), expected);
}

TEST(ResultMaps, LevelsRunFromMinimumToMaximumAndOverflowFaults) {
    Model m = plateWith({0, 7.5, 8.0, 8.000001, 14.2, 15});
    RecordingSurface canvas, bar;
    DrawStressMap(m, canvas, bar, 15, 0, m.CellStress);
    // Limits 0, 1, ..., 15: the first limit not below the value.
    EXPECT_EQ(levels(m, canvas), (std::vector<int>{1, 9, 9, 10, 16, 16}));
    const auto text = printed(bar);
    EXPECT_EQ(text[1] + text[15] + text[16], "0.00E+001.40E+011.50E+01");
    for (double bad : {15.5, std::numeric_limits<double>::quiet_NaN()}) {
        m.CellStress(1, 2) = bad;
        EXPECT_THROW(DrawStressMap(m, canvas, bar, 15, 0, m.CellStress), SubscriptFault) << bad;
    }
}

TEST(ResultMaps, NeuronMapIncludesZeroAndRedrawsSymbolsOnTop) {
    Model m = plateWith({4, 10, 7});
    fixNode(m, 1, true, false);
    loadNode(m, 4, 0, -1);
    RecordingSurface canvas, bar;
    DrawNeuronMap(m, canvas, bar, m.Potential);
    const auto text = printed(bar);
    EXPECT_EQ(text[0] + "|" + text[1] + "|" + text[16], "Potential|0.00E+00|1.00E+01");
    // Limits k x 10/15 in single precision: 4 sits on limit 7, 7 lies above limit 11.
    EXPECT_EQ(levels(m, canvas), (std::vector<int>{7, 16, 12}));
    // After the last cell: the arrows, then the support on top.
    const auto& ops = canvas.ops();
    const auto lastFill = std::find_if(
        ops.rbegin(), ops.rend(), [](const DrawOp& op) { return op.kind == DrawOp::FilledBox; });
    const auto lines = pick({lastFill.base(), ops.end()}, DrawOp::Line);
    ASSERT_EQ(lines.size(), 12u);
    EXPECT_EQ(pick(lines, DrawOp::Line, PaletteColor(13)).size(), 8u);
    EXPECT_EQ(lines.back().color, PaletteColor(1));
}

// Three rows by four columns of 100 mm cells from the origin; cell (i, j) holds
// the stress 10 i + j and the potential 10 i + j + 0.5.
TEST(Recording, KeptDrawingReplaysWhatIsShownSinceTheLastClear) {
    // A canvas drawn twice, then a map over it, on a full record and a kept one at once.
    Model m = plateWith({1, 2, 3});
    RecordingSurface all;
    RecordingSurface kept(true);
    TeeSurface canvas(all, kept);
    RecordingSurface bar(true);
    ApplyCanvasScale(m, canvas);
    DrawCanvas(m, canvas);
    DrawCanvas(m, canvas);
    DrawStressMap(m, canvas, bar, 3, 1, m.CellStress);
    ASSERT_LT(kept.ops().size(), all.ops().size()); // the first drawing is forgotten
    RecordingSurface again;
    Replay(kept.ops(), again);
    const auto shown = [](const std::vector<DrawOp>& ops) {
        std::vector<std::tuple<int, Coords, int, int, int, int, std::string>> out;
        for (const DrawOp& op : ops) {
            if (op.kind >= DrawOp::Line) { // what ends up on the surface
                out.emplace_back(op.kind, at(op), op.color.r, op.color.g, op.color.b, op.width,
                                 op.text);
            }
        }
        return out;
    };
    EXPECT_EQ(shown(again.sinceClear()), shown(all.sinceClear()));
    EXPECT_EQ(again.ofKind(DrawOp::Clear).back().color, kCanvasBackground);
    // The legend's labels print again where they printed.
    RecordingSurface legend;
    Replay(bar.ops(), legend);
    EXPECT_EQ(shown(legend.ops()), shown(bar.ops()));
}

TEST(Readouts, ElementsReportTheCellBelowLeftAndNodesTheNearestNode) {
    Model m = makePlate(3, 4);
    for (int i = 1; i <= 3; ++i) {
        for (int j = 1; j <= 4; ++j) {
            m.CellStress(i, j) = 10 * i + j;
            m.Potential(i, j) = 10 * i + j + 0.5;
        }
    }
    m.CellStress(1, 2) = 0.1;      // shown in single precision: 0.1
    m.Potential(1, 2) = 1.0 / 3.0; // and 0.3333333
    const struct {
        float x, y;
        const char* stress;
        const char* potential; // nullptr: no potential to show there
    } cases[] = {
        {399.9f, 299.9f, "2,3   stress = 23MPa", "2,3   Potential = 23.5"}, // cell (3, 4)
        {250, 150, "1,2   stress = 0.1MPa", "1,2   Potential = 0.3333333"},
        {400, 300, "3,4   stress = 34MPa", "3,4   Potential = 34.5"}, // corner is inside
        {50, 250, "2,0   stress = 0MPa", nullptr},                    // leftmost column
        {350, 50, "0,3   stress = 0MPa", nullptr},                    // lowest row
        {-0.1f, 50, kElementNotInDomain, kElementNotInDomain},
        {50, 400, kElementNotInDomain, kElementNotInDomain},
    };
    for (const auto& c : cases) {
        const Readout r = stressValue(m, c.x, c.y);
        EXPECT_EQ(r.inside, std::string(c.stress) != kElementNotInDomain);
        EXPECT_EQ(r.text, c.stress) << c.x << "," << c.y;
        const Readout p = neuronValue(m, c.x, c.y);
        EXPECT_EQ(p.inside, c.potential != nullptr && r.inside) << c.x << "," << c.y;
        EXPECT_EQ(p.text, c.potential ? c.potential
                                      : "There is no potential to show for this position: the "
                                        "read-out shows the cell one row below and one column "
                                        "to the left of the one clicked, and the lowest row and "
                                        "the leftmost column have no such cell.")
            << c.x << "," << c.y;
    }
    // Node read-outs snap to the nearest node, halves up.
    loadNode(m, nodeAt(m, 2, 2), 10, -5);
    loadNode(m, nodeAt(m, 2, 3), 0.25, 1e-5);
    loadNode(m, nodeAt(m, 1, 1), -1, 2);
    EXPECT_EQ(loadValue(m, 149.9f, 51).text, "Px = 10N  Py = -5N");
    EXPECT_EQ(loadValue(m, 150, 50).text, "Px = 0.25N  Py = 1E-05N");
    EXPECT_EQ(loadValue(m, -50, -50).text, "Px = -1N  Py = 2N"); // halves up: node 1
    EXPECT_EQ(loadValue(m, -50.1f, 0).text, kNodeNotInDomain);
    EXPECT_FALSE(loadValue(m, 0, 350.1f).inside);
    EXPECT_TRUE(loadValue(m, 449, 349).inside);

    EXPECT_EQ(dispValue(m, 400, 300).text, "u = 0mm  v = 0mm"); // before any analysis
    m.NodeDisp(nodeAt(m, 4, 5), 1) = 0.1;
    m.NodeDisp(nodeAt(m, 4, 5), 2) = -0.2;
    EXPECT_EQ(dispValue(m, 400, 300).text, "u = 0.1mm  v = -0.2mm");
    EXPECT_EQ(dispValue(m, 500, 300).text, kNodeNotInDomain);
}

TEST(Layout, CanvasLegendAndLabelsFromTheClientArea) {
    const struct {
        double h, w;
        std::vector<int> boxes; // canvas height, label top, legend width, canvas width
    } cases[] = {
        {1350, 8085, {1050, 1120, 275, 7810}},   // 1050 / 21 x 5.5 = 275 exactly
        {1350.5, 8085, {1050, 1120, 275, 7810}}, // 1050.5 and 1120.5 go to even
        {363, 1000, {63, 133, 16, 984}},         // 16.5 -> 16
        {321, 1000, {21, 91, 6, 994}},           // 5.5 -> 6
    };
    for (const auto& c : cases) {
        const LayoutBoxes b = ComputeLayout(c.h, c.w);
        EXPECT_EQ((std::vector<int>{b.canvasHeight, b.labelTop, b.colorBarWidth, b.canvasWidth}),
                  c.boxes)
            << c.h;
    }
    EXPECT_THROW(ComputeLayout(40000, 1000), OverflowFault);
    // The first window's client area, 8085 x 5880 twips.
    const LayoutBoxes first = FirstWindowLayout();
    EXPECT_EQ((std::vector<int>{first.canvasHeight, first.colorBarWidth, first.canvasWidth}),
              (std::vector<int>{5580, 1461, 6624}));
}
