// One optimization step: order of the work, the step count, the status text and the
// redraw hook. Its history record is checked with the history file.

#include <gtest/gtest.h>

#include <string>

#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "model/Faults.h"
#include "model/Model.h"
#include "model/NumberText.h"
#include "optimize/Optimization.h"

namespace quillane {
namespace {

// A cantilever plate of `columns` x `rows` cells of 100 mm: the left edge fixed in
// x and y, a downward force at the lower right corner. The bottom row is
// non-design material, so the plate still carries the load when every design cell
// above it has gone.
Model Cantilever(int columns, int rows) {
    Model m;
    m.ElementSize = 100.0f;
    m.DomainX1 = 0.0f;
    m.DomainX2 = 100.0f * static_cast<float>(columns);
    m.DomainY1 = 0.0f;
    m.DomainY2 = 100.0f * static_cast<float>(rows);
    BuildDomainMesh(m);
    for (int i = 1; i <= rows; ++i) {
        for (int j = 1; j <= columns; ++j) {
            m.CellState(i, j) = i == 1 ? kCellNonDesign : kCellDesign;
        }
    }
    for (int r = 0; r <= rows; ++r) {
        const int node = r * (columns + 1) + 1;
        m.NodeFreedom(node, 1) = 1;
        m.NodeFreedom(node, 2) = 1;
    }
    m.NodeLoad(columns + 1, 2) = -1000.0;
    return m;
}

void Analyse(Model& m) {
    MarkActiveNodes(m);
    RunStressAnalysis(m);
}

// Parameters under which no position ever feeds: potentials only decay.
void NoFeeding(Model& m, float lambda, int epsilon) {
    m.StressTarget = 1.0e30f;
    m.Lambda = lambda;
    m.Epsilon = static_cast<int16>(epsilon);
}

double ExpectedVolume(const Model& m) {
    int occupied = 0;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            occupied += m.CellState(i, j) > 0 ? 1 : 0;
        }
    }
    const double size = m.ElementSize;
    return size * size * m.Thickness * occupied;
}

TEST(OptimizationStep, VolumeStatusTextAndStepCountOverTwoSteps) {
    Model m = Cantilever(4, 2);
    m.Thickness = 2.5;
    NoFeeding(m, 0.5f, 6); // 10 -> 5 < 6: the whole design row goes in the first step
    Analyse(m);
    ASSERT_EQ(m.StepCount, 0);
    EXPECT_DOUBLE_EQ(m.Volume, 8 * 10000 * 2.5);

    const StepReport first = Optimization(m);
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

TEST(OptimizationStep, StatusTextFormatsVolumeWithTwoDecimalsAndPlainStep) {
    Model m;
    m.Volume = 12500.0;
    m.StepCount = 3;
    EXPECT_EQ(StepStatusText(m), "  Volume = 1.25E+04mm^3     3step");
    m.Volume = 0.0;
    m.StepCount = 32767;
    EXPECT_EQ(StepStatusText(m), "  Volume = 0.00E+00mm^3     32767step");
}

TEST(OptimizationStep, NonDesignAndCutOutCellsNeverChange) {
    Model m = Cantilever(5, 3);
    m.CellState(2, 3) = kCellCutOut;
    m.CellState(3, 5) = kCellCutOut;
    const Model before = m;
    // Potentials decay as 10 x 0.9^n with nothing feeding: at least 5 for six steps,
    // below 5 from the seventh. Non-design cells decay the same way and stay.
    NoFeeding(m, 0.1f, 5);
    Analyse(m);
    for (int step = 1; step <= 8; ++step) {
        Optimization(m);
        const int16 expectedDesign = step <= 6 ? kCellDesign : kCellEmpty;
        for (int i = 1; i <= 3; ++i) {
            for (int j = 1; j <= 5; ++j) {
                const int16 original = before.CellState(i, j);
                const int16 expected = original == kCellDesign ? expectedDesign : original;
                EXPECT_EQ(m.CellState(i, j), expected)
                    << "cell (" << i << ", " << j << ") after step " << step;
            }
        }
        EXPECT_EQ(m.CellStress(2, 3), 0.0);
        EXPECT_EQ(m.Volume, ExpectedVolume(m)) << "after step " << step;
    }
    EXPECT_LT(m.Potential(1, 1), 5.0); // the non-design cell is below Epsilon yet kept
    EXPECT_EQ(m.StepCount, 8);
}

TEST(OptimizationStep, PotentialEqualToEpsilonKeepsOrRestoresMaterial) {
    Model m = Cantilever(4, 2);
    m.CellState(2, 3) = kCellEmpty;
    m.CellState(2, 4) = kCellEmpty;
    NoFeeding(m, 0.5f, 5);
    Analyse(m);
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

TEST(OptimizationStep, ResetsEditMode) {
    Model m = Cantilever(3, 2);
    Analyse(m);
    m.EditMode = 6;
    Optimization(m);
    EXPECT_EQ(m.EditMode, 0);
}

TEST(OptimizationStep, RedrawSeesNewResultsBeforeTheCountMoves) {
    Model m = Cantilever(4, 2);
    NoFeeding(m, 0.5f, 6);
    Analyse(m);
    m.StepCount = 4;
    const double volumeBefore = m.Volume;
    ASSERT_GT(m.CellStress(2, 1), 0.0);

    int calls = 0;
    int16 seenStep = -1;
    double seenVolume = 0.0, seenMax = 0.0, seenStress = -1.0, seenBottom = 0.0;
    const StepReport report = Optimization(m, nullptr, [&](Model& shown) {
        ++calls;
        seenStep = shown.StepCount;
        seenVolume = shown.Volume;
        seenMax = shown.MaxStress;
        seenStress = shown.CellStress(2, 1);
        seenBottom = shown.CellStress(1, 1);
    });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(seenStep, 4);
    EXPECT_EQ(report.step, 4);
    EXPECT_EQ(m.StepCount, 5);
    EXPECT_NE(seenVolume, volumeBefore);
    EXPECT_EQ(seenVolume, m.Volume);
    EXPECT_EQ(seenMax, m.MaxStress);
    EXPECT_EQ(seenStress, 0.0); // the removed cell, already re-evaluated
    EXPECT_EQ(seenBottom, m.CellStress(1, 1));
}

// The record of such a step, written before the fault, is checked with the history.
TEST(OptimizationStep, StepAfter32767RunsThenOverflowsAtTheIncrement) {
    Model m = Cantilever(4, 2);
    NoFeeding(m, 0.5f, 6);
    Analyse(m);
    m.StepCount = 32767;
    EXPECT_THROW(Optimization(m), OverflowFault);
    EXPECT_EQ(m.StepCount, 32767);
    EXPECT_EQ(m.CellState(2, 1), kCellEmpty);
    EXPECT_EQ(m.CellStress(2, 1), 0.0);
    EXPECT_EQ(m.Volume, 4 * 10000.0);
}

} // namespace
} // namespace quillane
