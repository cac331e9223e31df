// One optimization step: order of the work, the step count, the status text and the
// redraw hook. Its history record is checked with the history file.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "model/Faults.h"
#include "optimize/Optimization.h"
#include "support/ModelBuilders.h"

namespace quillane {
namespace {

// A cantilever plate of `columns` x `rows` cells of 100 mm, analysed under
// parameters for which no position ever feeds: potentials only decay. The bottom row
// is non-design material, so the plate still carries the load when every design
// cell above it has gone. `edit` changes the plate before the analysis.
Model AnalysedCantilever(
    int columns, int rows, float lambda, int epsilon,
    const std::function<void(Model&)>& edit = [](Model&) {}) {
    Model m = support::makeCantilever(rows, columns);
    support::setCells(m, 1, 1, 1, columns, kCellNonDesign);
    m.StressTarget = 1.0e30f;
    m.Lambda = lambda;
    m.Epsilon = static_cast<int16>(epsilon);
    edit(m);
    MarkActiveNodes(m);
    RunStressAnalysis(m);
    return m;
}

double ExpectedVolume(const Model& m) {
    int occupied = 0;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            occupied += m.CellState(i, j) > 0 ? 1 : 0;
        }
    }
    return double{m.ElementSize} * m.ElementSize * m.Thickness * occupied;
}

TEST(OptimizationStep, VolumeStatusTextAndStepCountOverTwoSteps) {
    // 10 -> 5 < 6: the whole design row goes in the first step.
    Model m = AnalysedCantilever(4, 2, 0.5f, 6, [](Model& p) { p.Thickness = 2.5; });
    ASSERT_EQ(m.StepCount, 0);
    EXPECT_DOUBLE_EQ(m.Volume, 8 * 10000 * 2.5);
    m.EditMode = 6;
    const StepReport first = Optimization(m);
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_EQ(first.step, 0);
    EXPECT_EQ(m.StepCount, 1);
    EXPECT_TRUE(first.analysis.solver.converged);
    for (int j = 1; j <= 4; ++j) {
        EXPECT_EQ(m.CellState(2, j), kCellEmpty);
        EXPECT_EQ(m.CellStress(2, j), 0.0);
        EXPECT_GT(m.CellStress(1, j), 0.0);
    }
    EXPECT_EQ(m.Volume, ExpectedVolume(m));
    EXPECT_EQ(first.statusText, "  Volume = 1.00E+05mm^3     0step");
    EXPECT_EQ(StepStatusText(m), "  Volume = 1.00E+05mm^3     1step");
    const StepReport second = Optimization(m);
    EXPECT_EQ(second.step, 1);
    EXPECT_EQ(m.StepCount, 2);
    EXPECT_EQ(second.statusText, "  Volume = 1.00E+05mm^3     1step");
}

TEST(OptimizationStep, NonDesignAndCutOutCellsNeverChange) {
    // Potentials decay as 10 x 0.9^n with nothing feeding: at least 5 for six steps,
    // below 5 from the seventh. Non-design cells decay the same way and stay.
    Model m = AnalysedCantilever(5, 3, 0.1f, 5, [](Model& p) {
        p.CellState(2, 3) = kCellCutOut;
        p.CellState(3, 5) = kCellCutOut;
    });
    const Model before = m;
    for (int step = 1; step <= 8; ++step) {
        Optimization(m);
        for (int i = 1; i <= 3; ++i) {
            for (int j = 1; j <= 5; ++j) {
                const int16 original = before.CellState(i, j);
                const int16 designNow = step <= 6 ? kCellDesign : kCellEmpty;
                EXPECT_EQ(m.CellState(i, j), original == kCellDesign ? designNow : original)
                    << "cell (" << i << ", " << j << ") after step " << step;
            }
        }
        EXPECT_EQ(m.CellStress(2, 3), 0.0);
        EXPECT_EQ(m.Volume, ExpectedVolume(m)) << "after step " << step;
    }
    EXPECT_LT(m.Potential(1, 1), 5.0); // the non-design cell is below Epsilon yet kept
}

TEST(OptimizationStep, PotentialEqualToEpsilonKeepsOrRestoresMaterial) {
    Model m = AnalysedCantilever(4, 2, 0.5f, 5,
                                 [](Model& p) { support::setCells(p, 2, 3, 2, 4, kCellEmpty); });
    m.Potential(2, 1) = 10.0;  // -> 5, equal: kept
    m.Potential(2, 2) = 9.998; // -> 4.999: removed
    m.Potential(2, 3) = 10.0;  // empty -> 5, equal: material again
    m.Potential(2, 4) = 9.998; // empty -> 4.999: stays empty
    const StepReport report = Optimization(m);
    EXPECT_EQ(m.Potential(2, 1), 5.0);
    EXPECT_EQ(m.CellState(2, 1), kCellDesign);
    EXPECT_EQ(m.CellState(2, 2), kCellEmpty);
    EXPECT_EQ(m.CellState(2, 3), kCellDesign);
    EXPECT_EQ(m.CellState(2, 4), kCellEmpty);
    // The new layout is the one analysed.
    EXPECT_GT(m.CellStress(2, 3), 0.0);
    EXPECT_EQ(m.CellStress(2, 2), 0.0);
    EXPECT_EQ(m.Volume, 6 * 10000.0);
    EXPECT_EQ(report.statusText, "  Volume = 6.00E+04mm^3     0step");
}

TEST(OptimizationStep, RedrawSeesNewResultsBeforeTheCountMoves) {
    Model m = AnalysedCantilever(4, 2, 0.5f, 6);
    m.StepCount = 4;
    const double volumeBefore = m.Volume;
    ASSERT_GT(m.CellStress(2, 1), 0.0);
    int calls = 0;
    Model seen;
    const StepReport report = Optimization(m, nullptr, [&](Model& shown) {
        ++calls;
        seen = shown;
    });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(seen.StepCount, 4);
    EXPECT_EQ(report.step, 4);
    EXPECT_EQ(m.StepCount, 5);
    EXPECT_NE(seen.Volume, volumeBefore);
    EXPECT_EQ(seen.Volume, m.Volume);
    EXPECT_EQ(seen.MaxStress, m.MaxStress);
    EXPECT_EQ(seen.CellStress(2, 1), 0.0); // the removed cell, already re-evaluated
    EXPECT_TRUE(seen.CellStress == m.CellStress);
}

// The record of such a step, written before the fault, is checked with the history.
TEST(OptimizationStep, StepAfter32767RunsThenOverflowsAtTheIncrement) {
    Model m = AnalysedCantilever(4, 2, 0.5f, 6);
    m.StepCount = 32767;
    EXPECT_THROW(Optimization(m), OverflowFault);
    EXPECT_EQ(m.StepCount, 32767);
    EXPECT_EQ(m.CellState(2, 1), kCellEmpty);
    EXPECT_EQ(m.CellStress(2, 1), 0.0);
    EXPECT_EQ(m.Volume, 4 * 10000.0);
}

} // namespace
} // namespace quillane
