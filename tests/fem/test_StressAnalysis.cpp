#include "fem/StressAnalysis.h"

#include <cstring>

#include <gtest/gtest.h>

#include "fem/Mesh.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

template <class A> bool sameBits(const A& a, const A& b) {
    return a.size() == b.size() &&
           std::memcmp(a.data(), b.data(), a.size() * sizeof(*a.data())) == 0;
}

} // namespace

TEST(StressAnalysis, ResetsTheStepCountSaturatesOccupiedPotentialsAndRepeatsItsBits) {
    // A plate with a hole, a non-design strip at the support and a cut-out corner.
    Model m = makePlate(4, 6, 20.0f);
    setCells(m, 1, 1, 4, 1, kCellNonDesign);
    setCells(m, 2, 3, 3, 4, kCellEmpty);
    m.CellState(4, 6) = kCellCutOut;
    fixLeftEdge(m);
    loadNode(m, nodeAt(m, 1, 7), 0.0, -1200.0);
    MarkActiveNodes(m);
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
    EXPECT_EQ(AnalysisStatusText(m), "  Volume = 7.60E+03mm^3");

    // Running again gives the same bits.
    const Model once = m;
    EXPECT_EQ(RunStressAnalysis(m).solver.iterations, report.solver.iterations);
    EXPECT_TRUE(sameBits(m.NodeDisp, once.NodeDisp));
    EXPECT_TRUE(sameBits(m.CellStress, once.CellStress));
    EXPECT_TRUE(sameBits(m.Potential, once.Potential));
    const double scalars[2][4] = {{m.MaxStress, m.MinStress, m.AvgStress, m.Volume},
                                  {once.MaxStress, once.MinStress, once.AvgStress, once.Volume}};
    EXPECT_EQ(std::memcmp(scalars[0], scalars[1], sizeof(scalars[0])), 0);
    EXPECT_EQ(AnalysisStatusText(m), AnalysisStatusText(once));
}

TEST(StressAnalysis, NoFreeNodeStopsWithFloatingPointFaultInTheSolver) {
    Model m = makePlate(2, 2, 100.0f, kCellEmpty);
    m.StepCount = 3;
    EXPECT_THROW(RunStressAnalysis(m), FloatingPointFault);
    EXPECT_EQ(m.StepCount, 0); // left as the failed step left it

    // At start-up no array exists: numbering and assembly still run, and the first
    // step size of the solver is the fault.
    Model fresh;
    EXPECT_THROW(RunStressAnalysis(fresh), FloatingPointFault);
    EXPECT_EQ(fresh.EquationCount, 0);
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
