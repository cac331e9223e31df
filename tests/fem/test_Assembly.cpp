#include "fem/Assembly.h"

#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "fem/ElementStiffness.h"
#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "fem/Stresses.h"
#include "support/Bits.h"
#include "support/DenseReference.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

// t * integral of B^T D B over the square [0, a]^2 by 2 x 2 Gauss points (exact
// for the bilinear element), nodes counter-clockwise from the lower left, entries
// ordered u1 v1 u2 v2 u3 v3 u4 v4.
void integratedStiffness(double young, double nu, double thickness, double a, double k[8][8]) {
    const double c = young / (1.0 - nu * nu);
    const double d[3][3] = {{c, c * nu, 0.0}, {c * nu, c, 0.0}, {0.0, 0.0, c * (1.0 - nu) / 2.0}};
    const double g = 1.0 / std::sqrt(3.0);
    for (double x : {a / 2.0 * (1.0 - g), a / 2.0 * (1.0 + g)}) {
        for (double y : {a / 2.0 * (1.0 - g), a / 2.0 * (1.0 + g)}) {
            const double dx[4] = {-(1.0 - y / a) / a, (1.0 - y / a) / a, (y / a) / a, -(y / a) / a};
            const double dy[4] = {-(1.0 - x / a) / a, -(x / a) / a, (x / a) / a, (1.0 - x / a) / a};
            double b[3][8] = {};
            for (int n = 0; n < 4; ++n) {
                b[0][2 * n] = b[2][2 * n + 1] = dx[n];
                b[1][2 * n + 1] = b[2][2 * n] = dy[n];
            }
            for (int r = 0; r < 8; ++r) {
                for (int q = 0; q < 8; ++q) {
                    for (int i = 0; i < 3; ++i) {
                        for (int j = 0; j < 3; ++j) {
                            k[r][q] += thickness * b[i][r] * d[i][j] * b[j][q] * a * a / 4.0;
                        }
                    }
                }
            }
        }
    }
}

// Assembles with a dirty start vector, so that its clearing shows, and compares
// the whole store, slot 0 and unused slots included, with the dense reference bit
// for bit.
void expectSameAsDenseReference(Model& m) {
    AssembleSystem(m);
    for (int i = 1; i <= m.EquationCount; ++i) {
        m.SolutionVector(i) = 7.0;
    }
    CompressStiffness(m.EquationCount, static_cast<int16>(kRowCapacity), m.UpperCount,
                      m.UpperColumn, m.UpperValue, m.DiagonalValue, m.StiffnessMatrix, m.LoadVector,
                      m.SolutionVector);
    const auto expected = reference::compressDense(reference::assembleDense(m));
    const auto same = [](const auto& array, const auto& vector) {
        return array.size() == vector.size() &&
               std::memcmp(array.data(), vector.data(), vector.size() * sizeof(vector[0])) == 0;
    };
    EXPECT_TRUE(same(m.UpperCount, expected.UpperCount));
    EXPECT_TRUE(same(m.UpperColumn, expected.UpperColumn));
    EXPECT_TRUE(same(m.UpperValue, expected.UpperValue));
    EXPECT_TRUE(same(m.DiagonalValue, expected.DiagonalValue));
    for (int i = 1; i <= m.EquationCount; ++i) {
        EXPECT_EQ(bits(m.SolutionVector(i)), bits(0.0)) << i;
    }
}

} // namespace

TEST(MeshLayout, SevenByFiveDomainFromTheLowerLeft) {
    const Model m = makePlate(5, 7, 100.0f, kCellDesign, -400.0f, -300.0f);
    EXPECT_EQ(m.CellColumnCount, 7);
    EXPECT_EQ(m.CellRowCount, 5);
    EXPECT_EQ(m.ElementCount, 35);
    EXPECT_EQ(m.NodeCount, 48);
    const double corners[4][3] = {{1, -400, -300}, {8, 300, -300}, {9, -400, -200}, {48, 300, 200}};
    for (const auto& [node, x, y] : corners) {
        EXPECT_EQ(m.NodeXY(static_cast<int>(node), 1), x) << node;
        EXPECT_EQ(m.NodeXY(static_cast<int>(node), 2), y) << node;
    }
    const int expected[4] = {1, 2, 10, 9}; // counter-clockwise
    for (int k = 1; k <= 4; ++k) {
        EXPECT_EQ(m.ElementNodes(1, k), expected[k - 1]) << k;
    }
    EXPECT_EQ(m.ElementNodes(35, 3), 48);
}

TEST(MeshLayout, CoordinatesAreRepeatedSinglePrecisionSums) {
    // From the seventh step on, k additions of 0.1f differ from k * 0.1f.
    const Model m = makePlate(10, 10, 0.1f);
    ASSERT_EQ(m.CellColumnCount, 10);
    float sum = 0.0f;
    for (int k = 1; k <= 11; ++k, sum = sum + 0.1f) {
        EXPECT_EQ(m.NodeXY(nodeAt(m, 11, k), 1), static_cast<double>(sum)) << k;
        EXPECT_EQ(m.NodeXY(nodeAt(m, k, 11), 2), static_cast<double>(sum)) << k;
    }
}

TEST(MeshLayout, TooManyNodesOverflowAfterTheCountsAreSet) {
    Model m; // 181 x 181 cells of 100 mm: 32761 elements fit, 182 x 182 nodes do not
    m.DomainX2 = m.DomainY2 = 18100.0f;
    try {
        BuildDomainMesh(m);
        FAIL() << "no fault";
    } catch (const OverflowFault& fault) {
        EXPECT_NE(std::string(fault.what()).find("nodes"), std::string::npos) << fault.what();
    }
    EXPECT_EQ(m.ElementCount, 32761);
    EXPECT_EQ(makePlate(180, 180).NodeCount, 32761);
}

TEST(Numbering, TwoByTwoGridInNodeOrderAndSupportsKeepNumbersDense) {
    Model m = makePlate(2, 2);
    NumberEquations(m);
    EXPECT_EQ(m.EquationCount, 18);
    for (int n = 1; n <= 9; ++n) {
        EXPECT_EQ(m.DofNumber(n, 1), 2 * n - 1) << n;
        EXPECT_EQ(m.DofNumber(n, 2), 2 * n) << n;
    }
    const int dofs[8] = {9, 10, 11, 12, 17, 18, 15, 16}; // element 4: nodes 5, 6, 9, 8
    for (int k = 1; k <= 8; ++k) {
        EXPECT_EQ(m.ElementDofs(4, k), dofs[k - 1]) << k;
    }

    fixNode(m, 1, true, false);
    fixNode(m, 2, false, true);
    fixNode(m, 5, true, true);
    MarkActiveNodes(m);
    NumberEquations(m);
    EXPECT_EQ(m.EquationCount, 14);
    const int expected[][3] = {{1, 1, 0}, {1, 2, 1}, {2, 1, 2}, {2, 2, 0}, {3, 1, 3},
                               {4, 2, 6}, {5, 1, 0}, {5, 2, 0}, {6, 1, 7}, {9, 2, 14}};
    for (const auto& [node, d, p] : expected) {
        EXPECT_EQ(m.DofNumber(node, d), p) << node << ", " << d;
    }
}

TEST(Numbering, MoreThan32767EquationsOverflow) {
    // 127 x 127 cells: 16384 nodes, 32768 free components.
    Model m = makePlate(127, 127, 1.0f);
    EXPECT_THROW(NumberEquations(m), OverflowFault);
    fixNode(m, 1, true, false);
    MarkActiveNodes(m);
    NumberEquations(m);
    EXPECT_EQ(m.EquationCount, 32767);
}

TEST(ElementStiffness, EqualsTheIntegratedBilinearSquareAndIsSymmetricBitForBit) {
    // nu, E, t and the element size, which cancels out.
    const double cases[][4] = {{0.3, 70000.0, 2.5, 37.0},
                               {0.0, 1000.0, 2.0, 100.0},
                               {1.0 / 3.0, 123456.7, 0.7, 100.0},
                               {-0.2, 420000.0, 1.0, 7.0}};
    for (const auto& [nu, young, thickness, size] : cases) {
        Model m;
        m.YoungModulus = young;
        m.PoissonRatio = nu;
        m.Thickness = thickness;
        m.ElementSize = static_cast<float>(size);
        CalcElementStiffness(m);
        double k[8][8] = {};
        integratedStiffness(young, nu, thickness, 37.0, k);
        for (int r = 1; r <= 8; ++r) {
            for (int q = 1; q <= 8; ++q) {
                EXPECT_NEAR(m.ElementStiffness(r, q), k[r - 1][q - 1],
                            1e-12 * young * thickness / (1.0 - nu * nu))
                    << "nu " << nu << " entry (" << r << ", " << q << ")";
                EXPECT_EQ(bits(m.ElementStiffness(r, q)), bits(m.ElementStiffness(q, r)));
            }
        }
        m.PoissonRatio = nu < 0.0 ? -1.0 : 1.0; // 1 - nu^2 = 0
        EXPECT_THROW(CalcElementStiffness(m), FloatingPointFault);
    }
}

TEST(AssemblyVsDense, FixedModels) {
    // s5 vanishes analytically at nu = 1/3; whether its couplings are stored depends
    // only on the computed value, so whatever it is, the reference must agree.
    Model third = makeCantilever(3, 5);
    third.CellState(2, 3) = kCellEmpty;
    third.PoissonRatio = 1.0 / 3.0;
    MarkActiveNodes(third);
    Model single = makePlate(1, 1);
    Model singleZero = makePlate(1, 1);
    singleZero.PoissonRatio = 0.0;
    for (Model* m : {&third, &single, &singleZero}) {
        expectSameAsDenseReference(*m);
    }
    // Renumbering to fewer equations recreates the store: no stale slot survives.
    setCells(third, 1, 4, 3, 5, kCellCutOut);
    MarkActiveNodes(third);
    expectSameAsDenseReference(third);
    // Exact zeros are dropped from the rows: s6 = s7 = 0 at nu = 0.
    EXPECT_EQ(single.UpperCount(1), 7);
    EXPECT_EQ(singleZero.UpperCount(1), 6);
    EXPECT_EQ(singleZero.UpperCount(8), 0);
}

TEST(AssemblyVsDense, RandomLayoutsSupportsAndMaterials) {
    std::mt19937 random(20240611u); // raw engine output: the same layouts everywhere
    const auto pick = [&](unsigned count) { return static_cast<int>(random() % count); };
    const double ratios[] = {0.3, 0.0, 1.0 / 3.0, 0.49, -0.25, 0.1};
    const int16 codes[] = {kCellDesign, kCellDesign, kCellNonDesign, kCellEmpty, kCellCutOut};
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        const int rows = 1 + pick(6);
        const int columns = 1 + pick(7);
        Model m = makePlate(rows, columns, 10.0f * static_cast<float>(1 + pick(5)));
        for (int i = 1; i <= rows; ++i) {
            for (int j = 1; j <= columns; ++j) {
                m.CellState(i, j) = codes[pick(5)];
            }
        }
        for (int n = 1; n <= m.NodeCount; ++n) {
            fixNode(m, n, pick(6) == 0, pick(6) == 0);
        }
        m.PoissonRatio = ratios[pick(6)];
        m.YoungModulus = 1000.0 * (1 + pick(300));
        m.Thickness = 0.5 * (1 + pick(8));
        MarkActiveNodes(m);
        expectSameAsDenseReference(m);
    }
}

TEST(LoadsAndDisplacements, OnlyNumberedComponentsCarryThem) {
    // Nodes 4 and 8 belong to the cut-out cell (1, 3) only; node 1 is fixed in x,
    // node 5 in both.
    Model m = makePlate(1, 3);
    m.CellState(1, 2) = kCellNonDesign;
    m.CellState(1, 3) = kCellCutOut;
    fixNode(m, 1, true, false);
    fixNode(m, 5, true, true);
    MarkActiveNodes(m);
    NumberEquations(m);
    ASSERT_EQ(m.EquationCount, 9);
    const int dofs[8] = {4, 5, 0, 0, 0, 0, 8, 9}; // the absent element 3 is still filled
    for (int k = 1; k <= 8; ++k) {
        EXPECT_EQ(m.ElementDofs(3, k), dofs[k - 1]) << k;
    }
    for (int p = 0; p <= 9; ++p) {
        m.LoadVector(p) = 1000.0; // stale: assigned over, not added to
        m.SolutionVector(p) = 0.25 * p;
    }
    for (int n = 1; n <= m.NodeCount; ++n) {
        loadNode(m, n, 10.0 * n, -1.0 * n);
        m.NodeDisp(n, 1) = m.NodeDisp(n, 2) = 9.0;
    }
    AssembleLoads(m);
    ScatterDisplacements(m);
    for (int n = 1; n <= m.NodeCount; ++n) {
        for (int d = 1; d <= 2; ++d) {
            const int p = m.DofNumber(n, d);
            EXPECT_EQ(bits(m.NodeDisp(n, d)), bits(p == 0 ? 0.0 : 0.25 * p)) << n << ", " << d;
            if (p != 0) {
                EXPECT_EQ(m.LoadVector(p), m.NodeLoad(n, d)) << n << ", " << d;
            }
        }
    }
    m.CellState(1, 3) = kCellEmpty; // zero is absent, like the negative codes
    MarkActiveNodes(m);
    EXPECT_EQ(m.NodeActive(4) + m.NodeActive(8), 0);
}

TEST(Assembly, ARowHoldsNineHigherCouplingsAndTheTenthIsRefused) {
    // On a grid a node's x equation couples to its own y and to the right, upper-left,
    // upper and upper-right nodes: nine higher equations fill its row exactly.
    Model grid = makePlate(2, 2);
    AssembleSystem(grid);
    EXPECT_EQ(grid.StiffnessMatrix.Count(grid.DofNumber(5, 1)), 9);
    // Three elements sharing node 1 (only a hand-edited file has them) couple its
    // x equation to fourteen higher ones.
    Model m = makePlate(1, 3);
    m.ElementNodes(2, 1) = 1;
    m.ElementNodes(3, 1) = 1;
    MarkActiveNodes(m);
    CalcElementStiffness(m);
    NumberEquations(m);
    // Refused where the row fills, before anything is written past it.
    EXPECT_THROW(AssembleStiffness(m), SubscriptFault);
    EXPECT_EQ(m.StiffnessMatrix.Count(1), 9);
}
