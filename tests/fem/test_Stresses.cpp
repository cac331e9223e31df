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

struct Displacement {
    double u;
    double v;
};

// Sets every node's displacement from a field (u, v)(x, y), then evaluates.
template <class Field> bool evaluate(Model& m, Field field) {
    for (int n = 1; n <= m.NodeCount; ++n) {
        const auto [u, v] = field(m.NodeXY(n, 1), m.NodeXY(n, 2));
        m.NodeDisp(n, 1) = u;
        m.NodeDisp(n, 2) = v;
    }
    return ElementStresses(m, m.ElementSize, m.YoungModulus, m.PoissonRatio);
}

} // namespace

TEST(ElementStresses, ClosedFormStatesFromLinearFields) {
    Model m = makePlate(2, 3, 50.0f, kCellDesign, -75.0f, 20.0f);
    m.PoissonRatio = 0.25;
    const double nu = m.PoissonRatio;
    const double e = 2e-4;
    const double g = 1e-3;
    const double shearModulus = m.YoungModulus / (2.0 * (1.0 + nu));
    // u = a x + b y, v = c x + d y, and the equivalent stress it gives.
    const double cases[][5] = {
        {0.0, g, 0.0, 0.0, std::sqrt(3.0) * shearModulus * g}, // pure shear: root 3 tau
        {e, 0.0, 0.0, -nu * e, m.YoungModulus * e},            // uniaxial x, free contraction
        {nu * e, 0.0, 0.0, -e, m.YoungModulus * e},            // uniaxial y, in compression
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(evaluate(m, [&](double x, double y) {
            return Displacement{c[0] * x + c[1] * y, c[2] * x + c[3] * y};
        }));
        for (int i = 1; i <= 2; ++i) {
            for (int j = 1; j <= 3; ++j) {
                EXPECT_NEAR(m.CellStress(i, j), c[4], 1e-12 * c[4]) << i << ", " << j;
            }
        }
    }
}

TEST(ElementStresses, AnyFieldFollowsTheCentreStrainFormulasAndEmptyCellsAreZero) {
    Model m = makePlate(2, 3, 8.0f);
    setCells(m, 1, 1, 2, 3, kCellEmpty);
    m.CellState(1, 2) = kCellNonDesign;
    m.CellState(2, 3) = kCellDesign;
    m.CellStress(2, 2) = 99.0; // stale value of a cell that has lost its element
    // Arbitrary nodal values, so every element sees its hourglass modes too.
    evaluate(m, [](double x, double y) {
        return Displacement{0.001 * std::sin(0.3 * x + 0.011 * y * y),
                            0.002 * std::cos(0.07 * x * y)};
    });
    const auto expected = [&](int e) {
        double ux[4]; // nodes counter-clockwise from the lower left
        double uy[4];
        for (int k = 0; k < 4; ++k) {
            ux[k] = m.NodeDisp(m.ElementNodes(e, k + 1), 1);
            uy[k] = m.NodeDisp(m.ElementNodes(e, k + 1), 2);
        }
        const double a = 8.0;
        const double ex = (-ux[0] + ux[1] + ux[2] - ux[3]) / (2 * a);
        const double ey = (-uy[0] - uy[1] + uy[2] + uy[3]) / (2 * a);
        const double gxy =
            (-ux[0] - ux[1] + ux[2] + ux[3] - uy[0] + uy[1] + uy[2] - uy[3]) / (2 * a);
        const double c = m.YoungModulus / (1 - 0.09); // nu = 0.3
        const double sx = c * (ex + 0.3 * ey);
        const double sy = c * (0.3 * ex + ey);
        const double txy = c * 0.35 * gxy;
        return std::sqrt(sx * sx + sy * sy - sx * sy + 3 * txy * txy);
    };
    const double a = m.CellStress(1, 2);
    const double b = m.CellStress(2, 3);
    EXPECT_NEAR(a, expected(elementAt(m, 1, 2)), 1e-12 * a);
    EXPECT_NEAR(b, expected(elementAt(m, 2, 3)), 1e-12 * b);
    EXPECT_EQ(m.CellStress(2, 2), 0.0);
    EXPECT_EQ(m.CellStress(1, 1), 0.0);
    // Empty cells take no part in the extremes, and the border is never written.
    ASSERT_GT(a, 0.0);
    ASSERT_NE(a, b);
    EXPECT_EQ(m.MinStress, std::min(a, b));
    EXPECT_EQ(m.MaxStress, std::max(a, b));
    EXPECT_EQ(m.AvgStress, (a + b) / 2);
    for (int j = 0; j <= 4; ++j) {
        EXPECT_EQ(m.CellStress(0, j), 0.0);
        EXPECT_EQ(m.CellStress(3, j), 0.0);
    }
    // No cell with an element at all is the floating-point fault.
    setCells(m, 1, 1, 2, 3, kCellEmpty);
    m.CellState(1, 1) = kCellCutOut;
    EXPECT_THROW(ElementStresses(m, m.ElementSize, m.YoungModulus, m.PoissonRatio),
                 FloatingPointFault);
}

TEST(ElementStresses, StripInUniaxialTensionThroughTheSolver) {
    // 10 x 2 cells of 10 mm: the left edge slides in y except at its middle node,
    // the right edge carries the consistent nodal loads of a uniform traction.
    Model m = makePlate(2, 10, 10.0f);
    fixLeftEdge(m, true, false);
    fixNode(m, nodeAt(m, 2, 1), false, true);
    const double total = 2000.0;
    loadNode(m, nodeAt(m, 1, 11), total / 4, 0.0);
    loadNode(m, nodeAt(m, 2, 11), total / 2, 0.0);
    loadNode(m, nodeAt(m, 3, 11), total / 4, 0.0);
    ASSERT_TRUE(AnalyseLayout(m).solver.converged);

    const double sigma = total / (m.Thickness * 20.0);
    for (int i = 1; i <= 2; ++i) {
        for (int j = 1; j <= 10; ++j) {
            EXPECT_NEAR(m.CellStress(i, j), sigma, 1e-6 * sigma) << i << ", " << j;
        }
    }
    for (double extreme : {m.MaxStress, m.MinStress, m.AvgStress}) {
        EXPECT_NEAR(extreme, sigma, 1e-6 * sigma);
    }
    // The bilinear mesh reproduces the linear field exactly: u = s x / E and the
    // free contraction v = -nu s (y - 10) / E.
    const double strain = sigma / m.YoungModulus;
    EXPECT_NEAR(m.NodeDisp(nodeAt(m, 2, 11), 1), 100.0 * strain, 1e-6 * 100.0 * strain);
    EXPECT_NEAR(m.NodeDisp(nodeAt(m, 3, 6), 2), -0.3 * 10.0 * strain, 1e-6 * 100.0 * strain);
}

TEST(ScatterDisplacements, FixedAndInactiveComponentsAreExactlyZero) {
    Model m = makePlate(1, 3);
    m.CellState(1, 3) = kCellCutOut; // nodes 4 and 8 inactive
    fixNode(m, 1, true, false);
    fixNode(m, 5, true, true);
    MarkActiveNodes(m);
    NumberEquations(m);
    for (int p = 1; p <= m.EquationCount; ++p) {
        m.SolutionVector(p) = 0.25 * p;
    }
    for (int n = 1; n <= m.NodeCount; ++n) {
        m.NodeDisp(n, 1) = m.NodeDisp(n, 2) = 9.0; // stale
    }
    ScatterDisplacements(m);
    for (int n = 1; n <= m.NodeCount; ++n) {
        for (int d = 1; d <= 2; ++d) {
            const int p = m.DofNumber(n, d);
            EXPECT_EQ(std::bit_cast<std::uint64_t>(m.NodeDisp(n, d)),
                      std::bit_cast<std::uint64_t>(p == 0 ? 0.0 : 0.25 * p))
                << n << ", " << d;
        }
    }
}
