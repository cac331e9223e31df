#include "fem/Stresses.h"

#include <cmath>
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

// Sets every node's displacement from the field (u, v)(x, y), then evaluates.
template <class Field> void evaluate(Model& m, Field field) {
    for (int n = 1; n <= m.NodeCount; ++n) {
        const auto [u, v] = field(m.NodeXY(n, 1), m.NodeXY(n, 2));
        m.NodeDisp(n, 1) = u;
        m.NodeDisp(n, 2) = v;
    }
    ElementStresses(m, m.ElementSize, m.YoungModulus, m.PoissonRatio);
}

template <class A> bool sameBits(const A& a, const A& b) {
    return a.size() == b.size() &&
           std::memcmp(a.data(), b.data(), a.size() * sizeof(*a.data())) == 0;
}

} // namespace

TEST(ElementStresses, ClosedFormStatesAtTheCentresOfCellsWithElements) {
    // Row 1 holds material, its centres on y = 0; row 2 is empty or cut out.
    Model m = makePlate(2, 3, 8.0f, kCellDesign, 0.0f, -4.0f);
    setCells(m, 2, 1, 2, 3, kCellEmpty);
    m.CellState(2, 3) = kCellCutOut;
    m.CellState(1, 2) = kCellNonDesign;
    m.CellStress(2, 2) = 99.0; // stale
    const double nu = m.PoissonRatio;
    const double e = 2e-4; // uniaxial compression in y, free contraction in x: |s|
    evaluate(m, [&](double x, double y) { return std::pair(nu * e * x, -e * y); });
    for (int j = 1; j <= 3; ++j) {
        EXPECT_NEAR(m.CellStress(1, j), m.YoungModulus * e, 1e-12 * m.YoungModulus * e) << j;
    }
    // u = k x y is pure shear k xc at a centre on y = 0, giving root 3 G k xc. B
    // evaluated off the centre, or a wrong sign in its twist mode, gives more.
    const double k = 1e-5;
    evaluate(m, [&](double x, double y) { return std::pair(k * x * y, 0.0); });
    const double unit = std::sqrt(3.0) * m.YoungModulus / (2.0 * (1.0 + nu)) * k;
    for (int j = 1; j <= 3; ++j) {
        EXPECT_NEAR(m.CellStress(1, j), unit * (8 * j - 4), 1e-12 * unit * 20) << j;
    }
    EXPECT_EQ(m.MinStress, m.CellStress(1, 1));
    EXPECT_EQ(m.MaxStress, m.CellStress(1, 3));
    EXPECT_NEAR(m.AvgStress, unit * 12, 1e-12 * unit * 20);
    // Cells without element are 0 and take no part above; the border is never written.
    EXPECT_EQ(m.CellStress(2, 2), 0.0);
    EXPECT_EQ(m.CellStress(0, 2) + m.CellStress(1, 4), 0.0);
    setCells(m, 1, 1, 1, 3, kCellEmpty); // no element at all: the mean is 0 / 0
    EXPECT_THROW(evaluate(m, [](double, double) { return std::pair(0.0, 0.0); }),
                 FloatingPointFault);
}

TEST(StressAnalysis, StripInUniaxialTensionBelowAnEmptyRow) {
    // Rows 1-2 of 10 x 3 cells carry the consistent nodal loads of a uniform
    // traction: s = 20000 N / (10 mm x 200 mm) = 10 MPa. The left edge slides in y
    // except at its middle node. Row 3 is empty but for one cut-out cell.
    Model m = makePlate(3, 10);
    setCells(m, 3, 1, 3, 9, kCellEmpty);
    m.CellState(3, 10) = kCellCutOut;
    m.Thickness = 10.0;
    fixLeftEdge(m, true, false);
    fixNode(m, nodeAt(m, 2, 1), false, true);
    loadNode(m, nodeAt(m, 1, 11), 5000.0, 0.0);
    loadNode(m, nodeAt(m, 2, 11), 10000.0, 0.0);
    loadNode(m, nodeAt(m, 3, 11), 5000.0, 0.0);
    MarkActiveNodes(m);
    const AnalysisReport report = AnalyseLayout(m);
    EXPECT_TRUE(report.solver.converged);
    EXPECT_EQ(m.Volume, 2.0e6);
    for (int i = 1; i <= 2; ++i) {
        for (int j = 1; j <= 10; ++j) {
            EXPECT_NEAR(m.CellStress(i, j), 10.0, 1e-5) << i << ", " << j;
        }
    }
    EXPECT_NEAR(m.MinStress, 10.0, 1e-5);
    // The mesh reproduces the linear field u = s x / E, v = -nu s (y - 100) / E.
    const double strain = 10.0 / m.YoungModulus;
    EXPECT_NEAR(m.NodeDisp(nodeAt(m, 2, 11), 1), 1000.0 * strain, 1e-7);
    EXPECT_NEAR(m.NodeDisp(nodeAt(m, 3, 6), 2), -m.PoissonRatio * 100.0 * strain, 1e-7);

    // Running again gives the same bits.
    const Model once = m;
    AnalyseLayout(m);
    EXPECT_TRUE(sameBits(m.NodeDisp, once.NodeDisp));
    EXPECT_TRUE(sameBits(m.CellStress, once.CellStress));
}

TEST(StressAnalysis, UsesTheNodeActivityOfTheLastRedraw) {
    // The nodes of a cell emptied since the last MarkActiveNodes keep their
    // equations, which carry no stiffness.
    Model m = makeCantilever(1, 2);
    m.CellState(1, 2) = kCellEmpty;
    loadNode(m, nodeAt(m, 1, 3), 0.0, 0.0); // a load there would meet no stiffness
    loadNode(m, nodeAt(m, 2, 2), 0.0, -100.0);
    AnalyseLayout(m);
    EXPECT_EQ(m.EquationCount, 8);
    MarkActiveNodes(m);
    AnalyseLayout(m);
    EXPECT_EQ(m.EquationCount, 4);
}
