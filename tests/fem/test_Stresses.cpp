#include "fem/Stresses.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

// Sets every node's displacement from a field u(x, y), v(x, y).
template <class Field> void imposeDisplacements(Model& m, Field field) {
    for (int n = 1; n <= m.NodeCount; ++n) {
        const auto [u, v] = field(m.NodeXY(n, 1), m.NodeXY(n, 2));
        m.NodeDisp(n, 1) = u;
        m.NodeDisp(n, 2) = v;
    }
}

bool evaluate(Model& m) {
    return ElementStresses(m, m.ElementSize, m.YoungModulus, m.PoissonRatio);
}

struct Displacement {
    double u;
    double v;
};

} // namespace

// --- Closed-form stress states from imposed displacements ---

TEST(ElementStresses, PureShearGivesRootThreeTimesTau) {
    Model m = makePlate(1, 1, 10.0f);
    const double g = 1e-3;
    imposeDisplacements(m, [&](double, double y) { return Displacement{g * y, 0.0}; });
    EXPECT_TRUE(evaluate(m));
    const double shearModulus = m.YoungModulus / (2.0 * (1.0 + m.PoissonRatio));
    const double expected = std::sqrt(3.0) * shearModulus * g;
    EXPECT_NEAR(m.CellStress(1, 1), expected, 1e-12 * expected);
    // A single element is its own maximum, minimum and mean.
    EXPECT_EQ(m.MaxStress, m.CellStress(1, 1));
    EXPECT_EQ(m.MinStress, m.CellStress(1, 1));
    EXPECT_EQ(m.AvgStress, m.CellStress(1, 1));
}

TEST(ElementStresses, UniaxialStrainFieldGivesTheAxialStress) {
    Model m = makePlate(2, 3, 50.0f, kCellDesign, -75.0f, 20.0f);
    m.PoissonRatio = 0.25;
    const double e = 2e-4;
    const double nu = m.PoissonRatio;
    // Free lateral contraction: sigma_x = E e, sigma_y = tau = 0.
    imposeDisplacements(m, [&](double x, double y) { return Displacement{e * x, -nu * e * y}; });
    evaluate(m);
    const double expected = m.YoungModulus * e;
    for (int i = 1; i <= 2; ++i) {
        for (int j = 1; j <= 3; ++j) {
            EXPECT_NEAR(m.CellStress(i, j), expected, 1e-12 * expected) << i << ", " << j;
        }
    }
    // The same along y, in compression.
    imposeDisplacements(m, [&](double x, double y) { return Displacement{nu * e * x, -e * y}; });
    evaluate(m);
    EXPECT_NEAR(m.CellStress(2, 3), expected, 1e-12 * expected);
}

TEST(ElementStresses, AnyFieldFollowsTheCentreStrainFormulas) {
    Model m = makePlate(1, 1, 8.0f);
    m.PoissonRatio = 0.3;
    // Nodes counter-clockwise from the lower left.
    const double ux[4] = {0.013, -0.021, 0.034, 0.007};
    const double uy[4] = {-0.005, 0.011, 0.019, -0.027};
    for (int k = 0; k < 4; ++k) {
        m.NodeDisp(m.ElementNodes(1, k + 1), 1) = ux[k];
        m.NodeDisp(m.ElementNodes(1, k + 1), 2) = uy[k];
    }
    evaluate(m);
    const double a = 8.0;
    const double ex = (-ux[0] + ux[1] + ux[2] - ux[3]) / (2 * a);
    const double ey = (-uy[0] - uy[1] + uy[2] + uy[3]) / (2 * a);
    const double gxy = (-ux[0] - ux[1] + ux[2] + ux[3] - uy[0] + uy[1] + uy[2] - uy[3]) / (2 * a);
    const double c = m.YoungModulus / (1 - 0.09);
    const double sx = c * (ex + 0.3 * ey);
    const double sy = c * (0.3 * ex + ey);
    const double txy = c * 0.35 * gxy;
    const double expected = std::sqrt(sx * sx + sy * sy - sx * sy + 3 * txy * txy);
    EXPECT_NEAR(m.CellStress(1, 1), expected, 1e-12 * expected);
}

TEST(ElementStresses, EmptyCellsAreZeroAndTakeNoPartInTheExtremes) {
    Model m = makePlate(2, 3);
    setCells(m, 1, 1, 2, 3, kCellEmpty);
    m.CellState(1, 2) = kCellNonDesign;
    m.CellState(2, 3) = kCellDesign;
    m.CellStress(2, 2) = 99.0; // stale value of a cell that has lost its element
    imposeDisplacements(m, [](double x, double y) { return Displacement{1e-4 * x * y, 0.0}; });
    evaluate(m);
    EXPECT_EQ(m.CellStress(2, 2), 0.0);
    EXPECT_EQ(m.CellStress(1, 1), 0.0);
    const double a = m.CellStress(1, 2);
    const double b = m.CellStress(2, 3);
    ASSERT_GT(a, 0.0);
    ASSERT_NE(a, b);
    EXPECT_EQ(m.MinStress, std::min(a, b));
    EXPECT_EQ(m.MaxStress, std::max(a, b));
    EXPECT_EQ(m.AvgStress, (a + b) / 2);
    // The border is never written.
    for (int j = 0; j <= 4; ++j) {
        EXPECT_EQ(m.CellStress(0, j), 0.0);
        EXPECT_EQ(m.CellStress(3, j), 0.0);
    }
}

TEST(ElementStresses, NoCellWithAnElementRaisesFloatingPointFault) {
    Model m = makePlate(2, 2, 100.0f, kCellEmpty);
    m.CellState(1, 1) = kCellCutOut;
    EXPECT_THROW(evaluate(m), FloatingPointFault);
}

// --- Through the solver ---

TEST(ElementStresses, StripInUniaxialTension) {
    // 10 x 2 cells of 10 mm: the left edge slides in y except at its middle node,
    // the right edge carries the consistent nodal loads of a uniform traction.
    Model m = makePlate(2, 10, 10.0f);
    fixLeftEdge(m, true, false);
    fixNode(m, nodeAt(m, 2, 1), false, true);
    const double total = 2000.0;
    loadNode(m, nodeAt(m, 1, 11), total / 4, 0.0);
    loadNode(m, nodeAt(m, 2, 11), total / 2, 0.0);
    loadNode(m, nodeAt(m, 3, 11), total / 4, 0.0);
    const AnalysisReport report = AnalyseLayout(m);
    ASSERT_TRUE(report.solver.converged);

    const double sigma = total / (m.Thickness * 20.0);
    for (int i = 1; i <= 2; ++i) {
        for (int j = 1; j <= 10; ++j) {
            EXPECT_NEAR(m.CellStress(i, j), sigma, 1e-6 * sigma) << i << ", " << j;
        }
    }
    EXPECT_NEAR(m.MaxStress, sigma, 1e-6 * sigma);
    EXPECT_NEAR(m.MinStress, sigma, 1e-6 * sigma);
    EXPECT_NEAR(m.AvgStress, sigma, 1e-6 * sigma);
    // The bilinear mesh reproduces the linear field exactly: u = s x / E and the
    // free contraction v = -nu s (y - 10) / E.
    const double strain = sigma / m.YoungModulus;
    EXPECT_NEAR(m.NodeDisp(nodeAt(m, 2, 11), 1), 100.0 * strain, 1e-6 * 100.0 * strain);
    EXPECT_NEAR(m.NodeDisp(nodeAt(m, 3, 6), 2), -0.3 * 10.0 * strain, 1e-6 * 100.0 * strain);
}

// --- Displacements and volume ---

TEST(ScatterDisplacements, FixedAndInactiveComponentsAreExactlyZero) {
    Model m = makePlate(1, 3);
    m.CellState(1, 3) = kCellCutOut;
    fixNode(m, 1, true, false);
    fixNode(m, 5, true, true);
    MarkActiveNodes(m);
    NumberEquations(m);
    for (int p = 1; p <= m.EquationCount; ++p) {
        m.SolutionVector(p) = 0.25 * p;
    }
    for (int n = 1; n <= m.NodeCount; ++n) {
        m.NodeDisp(n, 1) = 9.0;
        m.NodeDisp(n, 2) = -9.0;
    }
    ScatterDisplacements(m);
    const auto zeroBits = std::bit_cast<std::uint64_t>(0.0);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(m.NodeDisp(1, 1)), zeroBits);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(m.NodeDisp(5, 1)), zeroBits);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(m.NodeDisp(5, 2)), zeroBits);
    EXPECT_EQ(m.NodeDisp(4, 1), 0.0); // inactive
    EXPECT_EQ(m.NodeDisp(8, 2), 0.0);
    EXPECT_EQ(m.NodeDisp(1, 2), 0.25); // equation 1
    for (int n = 1; n <= m.NodeCount; ++n) {
        for (int d = 1; d <= 2; ++d) {
            const int p = m.DofNumber(n, d);
            EXPECT_EQ(m.NodeDisp(n, d), p == 0 ? 0.0 : 0.25 * p) << n << ", " << d;
        }
    }
}

TEST(DesignVolume, CountsEveryCellWithAnElement) {
    Model m = makePlate(3, 4, 25.0f);
    m.Thickness = 2.0;
    DesignVolume(m);
    EXPECT_EQ(m.Volume, 3 * 4 * 25.0 * 25.0 * 2.0);

    m.CellState(1, 1) = kCellEmpty;
    m.CellState(2, 2) = kCellCutOut;
    m.CellState(3, 3) = kCellNonDesign;
    DesignVolume(m);
    EXPECT_EQ(m.Volume, 10 * 25.0 * 25.0 * 2.0);

    setCells(m, 1, 1, 3, 4, kCellEmpty);
    DesignVolume(m);
    EXPECT_EQ(m.Volume, 0.0);
}
