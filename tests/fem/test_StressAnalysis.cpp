#include "fem/StressAnalysis.h"

#include <bit>
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "fem/Mesh.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

std::uint64_t bits(double v) {
    return std::bit_cast<std::uint64_t>(v);
}

template <class T> bool sameBits(const Array2<T>& a, const Array2<T>& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t k = 0; k < a.size(); ++k) {
        if (std::bit_cast<std::uint64_t>(a.data()[k]) !=
            std::bit_cast<std::uint64_t>(b.data()[k])) {
            return false;
        }
    }
    return true;
}

// A plate with a hole, a non-design strip at the support and a cut-out corner.
Model bracket() {
    Model m = makePlate(4, 6, 20.0f);
    setCells(m, 1, 1, 4, 1, kCellNonDesign);
    setCells(m, 2, 3, 3, 4, kCellEmpty);
    m.CellState(4, 6) = kCellCutOut;
    fixLeftEdge(m);
    loadNode(m, nodeAt(m, 1, 7), 0.0, -1200.0);
    MarkActiveNodes(m);
    return m;
}

} // namespace

TEST(StressAnalysis, ResetsTheStepCountAndSaturatesOccupiedPotentials) {
    Model m = bracket();
    m.StepCount = 7;
    m.Potential(2, 3) = 3.5; // empty cell: keeps its potential
    m.Potential(4, 6) = -1.0;
    const AnalysisReport report = RunStressAnalysis(m);
    EXPECT_EQ(m.StepCount, 0);
    EXPECT_TRUE(report.enableResultMenus);
    EXPECT_TRUE(report.solver.converged);

    const float delta = m.Lambda * 10.0f / 5.0f;
    const float saturated = delta * 5.0f / m.Lambda;
    EXPECT_EQ(m.PotentialIncrement, delta);
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            if (m.CellState(i, j) > 0) {
                EXPECT_EQ(m.Potential(i, j), static_cast<double>(saturated)) << i << ", " << j;
                EXPECT_NEAR(m.Potential(i, j), 10.0, 1e-5);
            }
        }
    }
    EXPECT_EQ(m.Potential(2, 3), 3.5);
    EXPECT_EQ(m.Potential(4, 6), -1.0);
    EXPECT_GT(m.MaxStress, m.MinStress);
    EXPECT_EQ(m.Volume, 20.0 * 20.0 * 1.0 * (24 - 4 - 1));
}

TEST(StressAnalysis, RunningTwiceGivesTheSameBits) {
    Model m = bracket();
    const AnalysisReport first = RunStressAnalysis(m);
    const Model once = m;
    const AnalysisReport second = RunStressAnalysis(m);
    EXPECT_EQ(first.solver.iterations, second.solver.iterations);
    EXPECT_TRUE(sameBits(m.NodeDisp, once.NodeDisp));
    EXPECT_TRUE(sameBits(m.CellStress, once.CellStress));
    EXPECT_TRUE(sameBits(m.Potential, once.Potential));
    EXPECT_EQ(bits(m.MaxStress), bits(once.MaxStress));
    EXPECT_EQ(bits(m.MinStress), bits(once.MinStress));
    EXPECT_EQ(bits(m.AvgStress), bits(once.AvgStress));
    EXPECT_EQ(bits(m.Volume), bits(once.Volume));
    EXPECT_EQ(AnalysisStatusText(m), AnalysisStatusText(once));
}

TEST(StressAnalysis, StatusTextShowsTheVolumeInScientificForm) {
    // 20 x 10 cells of 100 mm, 1 mm thick: 2,000,000 mm^3.
    Model m = makeCantilever(10, 20);
    RunStressAnalysis(m);
    EXPECT_EQ(m.Volume, 2000000.0);
    EXPECT_EQ(AnalysisStatusText(m), "  Volume = 2.00E+06mm^3");

    Model small = makeCantilever(1, 1, 10.0f);
    small.Thickness = 1.5;
    RunStressAnalysis(small);
    EXPECT_EQ(AnalysisStatusText(small), "  Volume = 1.50E+02mm^3");
}

TEST(StressAnalysis, ModelWithoutFreeNodesStopsWithFloatingPointFault) {
    Model m = makePlate(2, 2, 100.0f, kCellEmpty);
    m.StepCount = 3;
    EXPECT_THROW(RunStressAnalysis(m), FloatingPointFault);
    EXPECT_EQ(m.StepCount, 0); // left as the failed step left it
}

TEST(StressAnalysis, FreshModelWorksOnZeroEquationsAndStopsInTheSolver) {
    // At start-up no array exists: numbering and assembly still run, and the first
    // step size of the solver is the fault.
    Model m;
    try {
        RunStressAnalysis(m);
        FAIL() << "no fault";
    } catch (const FloatingPointFault&) {
    }
    EXPECT_EQ(m.EquationCount, 0);
}

TEST(StressAnalysis, UsesTheNodeActivityOfTheLastRedraw) {
    // The command does not refresh node activity: the nodes of a cell emptied since
    // the last MarkActiveNodes keep their equations (which carry no stiffness).
    Model m = makeCantilever(1, 2);
    m.CellState(1, 2) = kCellEmpty;
    loadNode(m, nodeAt(m, 1, 3), 0.0, 0.0); // a load there would meet no stiffness
    loadNode(m, nodeAt(m, 2, 2), 0.0, -100.0);
    RunStressAnalysis(m);
    EXPECT_EQ(m.EquationCount, 8);
    MarkActiveNodes(m);
    RunStressAnalysis(m);
    EXPECT_EQ(m.EquationCount, 4);
}
