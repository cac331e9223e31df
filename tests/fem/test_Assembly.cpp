#include "fem/Assembly.h"

#include <bit>
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "fem/ElementStiffness.h"
#include "fem/Mesh.h"
#include "support/DenseReference.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

std::uint64_t bits(double v) {
    return std::bit_cast<std::uint64_t>(v);
}

// Element stiffness, numbering, assembly and compression, as the analysis runs
// them, with the start vector made dirty first so that its clearing shows.
void assembleAndCompress(Model& m) {
    CalcElementStiffness(m);
    NumberEquations(m);
    for (int i = 1; i <= m.EquationCount; ++i) {
        m.SolutionVector(i) = 7.0;
    }
    AssembleStiffness(m);
    AssembleLoads(m);
    CompressStiffness(m.EquationCount, static_cast<int16>(kRowCapacity), m.UpperCount,
                      m.UpperColumn, m.UpperValue, m.DiagonalValue, m.StiffnessMatrix, m.LoadVector,
                      m.SolutionVector);
}

// The whole store, slot 0 and the unused slots included, equals the dense
// reference bit for bit.
::testing::AssertionResult sameAsDenseReference(const Model& m) {
    const reference::CompressedStore expected =
        reference::compressDense(reference::assembleDense(m));
    const int n = m.EquationCount;
    if (expected.n != n) {
        return ::testing::AssertionFailure() << "equation count " << n << " vs " << expected.n;
    }
    for (int i = 0; i <= n; ++i) {
        if (m.UpperCount(i) != expected.UpperCount.at(static_cast<std::size_t>(i))) {
            return ::testing::AssertionFailure()
                   << "UpperCount(" << i << ") = " << m.UpperCount(i) << ", reference "
                   << expected.UpperCount.at(static_cast<std::size_t>(i));
        }
        if (bits(m.DiagonalValue(i)) !=
            bits(expected.DiagonalValue.at(static_cast<std::size_t>(i)))) {
            return ::testing::AssertionFailure()
                   << "DiagonalValue(" << i << ") = " << m.DiagonalValue(i) << ", reference "
                   << expected.DiagonalValue.at(static_cast<std::size_t>(i));
        }
        for (int s = 0; s <= kRowCapacity; ++s) {
            if (m.UpperColumn(s, i) != expected.column(s, i) ||
                bits(m.UpperValue(s, i)) != bits(expected.value(s, i))) {
                return ::testing::AssertionFailure()
                       << "slot " << s << " of row " << i << ": column " << m.UpperColumn(s, i)
                       << " value " << m.UpperValue(s, i) << ", reference column "
                       << expected.column(s, i) << " value " << expected.value(s, i);
            }
        }
        if (i >= 1 && bits(m.SolutionVector(i)) != bits(0.0)) {
            return ::testing::AssertionFailure() << "SolutionVector(" << i << ") not cleared";
        }
    }
    return ::testing::AssertionSuccess();
}

} // namespace

// --- The row store against the square matrix ---

TEST(AssemblyVsDense, AllMaterialWithLeftEdgeFixed) {
    Model m = makeCantilever(4, 6);
    assembleAndCompress(m);
    ASSERT_EQ(m.EquationCount, 2 * 5 * 6);
    EXPECT_TRUE(sameAsDenseReference(m));
}

TEST(AssemblyVsDense, HolesCutOutsAndNonDesignCells) {
    Model m = makePlate(6, 8, 50.0f);
    setCells(m, 2, 3, 4, 5, kCellEmpty);  // a hole in the middle
    setCells(m, 5, 7, 6, 8, kCellCutOut); // the upper right corner cut out
    setCells(m, 1, 1, 6, 1, kCellNonDesign);
    m.CellState(3, 8) = kCellEmpty;
    m.CellState(1, 4) = kCellNonDesign;
    fixLeftEdge(m);
    loadNode(m, nodeAt(m, 1, 9), 0.0, -500.0);
    MarkActiveNodes(m);
    assembleAndCompress(m);
    EXPECT_TRUE(sameAsDenseReference(m));
}

TEST(AssemblyVsDense, MixedSupports) {
    Model m = makePlate(3, 7, 10.0f);
    fixNode(m, nodeAt(m, 1, 1), true, true);
    fixNode(m, nodeAt(m, 1, 8), false, true); // roller
    fixNode(m, nodeAt(m, 4, 4), true, false);
    fixNode(m, nodeAt(m, 2, 5), false, true);
    fixNode(m, nodeAt(m, 3, 2), true, false);
    m.CellState(2, 4) = kCellCutOut;
    MarkActiveNodes(m);
    assembleAndCompress(m);
    EXPECT_TRUE(sameAsDenseReference(m));
}

TEST(AssemblyVsDense, PoissonRatioOneThird) {
    // s5 vanishes analytically; whether its couplings are stored depends only on
    // the computed value, so whatever it is, the reference must agree.
    Model m = makeCantilever(3, 5);
    m.CellState(2, 3) = kCellEmpty;
    m.PoissonRatio = 1.0 / 3.0;
    MarkActiveNodes(m);
    assembleAndCompress(m);
    EXPECT_TRUE(sameAsDenseReference(m));
}

TEST(AssemblyVsDense, ZeroPoissonRatioDropsTheVanishingCouplings) {
    Model m = makePlate(2, 3);
    m.PoissonRatio = 0.0;
    fixLeftEdge(m);
    MarkActiveNodes(m);
    assembleAndCompress(m);
    EXPECT_TRUE(sameAsDenseReference(m));
}

TEST(AssemblyVsDense, SingleUnsupportedElement) {
    for (double nu : {0.3, 0.0}) {
        Model m = makePlate(1, 1);
        m.PoissonRatio = nu;
        assembleAndCompress(m);
        ASSERT_EQ(m.EquationCount, 8);
        EXPECT_TRUE(sameAsDenseReference(m));
        // K in equation numbers: the element's upper nodes are numbered right to
        // left in the element but left to right in the grid.
        double k[9][9] = {};
        for (int a = 1; a <= 8; ++a) {
            for (int b = 1; b <= 8; ++b) {
                k[m.ElementDofs(1, a)][m.ElementDofs(1, b)] = m.ElementStiffness(a, b);
            }
        }
        // Row 1 holds exactly the non-zero entries of K(1, 2..8), in column order.
        int slot = 0;
        for (int q = 2; q <= 8; ++q) {
            if (k[1][q] != 0.0) {
                ++slot;
                EXPECT_EQ(m.UpperColumn(slot, 1), q);
                EXPECT_EQ(bits(m.UpperValue(slot, 1)), bits(k[1][q]));
            }
        }
        EXPECT_EQ(m.UpperCount(1), slot);
        EXPECT_EQ(m.UpperCount(1), nu == 0.0 ? 6 : 7) << "nu = " << nu; // s7 = 0 at nu = 0
        EXPECT_EQ(m.UpperCount(8), 0);
        for (int p = 1; p <= 8; ++p) {
            EXPECT_EQ(bits(m.DiagonalValue(p)), bits(k[p][p]));
        }
    }
}

TEST(AssemblyVsDense, RandomLayoutsSupportsAndMaterials) {
    // Raw engine output only, so the layouts are the same on every platform.
    std::mt19937 random(20240611u);
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
        assembleAndCompress(m);
        EXPECT_TRUE(sameAsDenseReference(m));
    }
}

TEST(AssemblyVsDense, CellCodeDoesNotScaleTheStiffness) {
    Model design = makeCantilever(2, 3);
    Model fixedMaterial = makeCantilever(2, 3);
    setCells(fixedMaterial, 1, 1, 2, 3, kCellNonDesign);
    assembleAndCompress(design);
    assembleAndCompress(fixedMaterial);
    EXPECT_TRUE(design.UpperValue == fixedMaterial.UpperValue);
    EXPECT_TRUE(design.DiagonalValue == fixedMaterial.DiagonalValue);
}

TEST(AssemblyVsDense, NoEquationsWritesNothing) {
    Model m = makePlate(2, 2, 100.0f, kCellEmpty);
    EXPECT_NO_THROW(assembleAndCompress(m));
    EXPECT_EQ(m.EquationCount, 0);
    EXPECT_EQ(m.UpperCount(0), 0);
    EXPECT_EQ(m.DiagonalValue(0), 0.0);

    Model clamped = makePlate(1, 2);
    for (int n = 1; n <= clamped.NodeCount; ++n) {
        fixNode(clamped, n, true, true);
    }
    EXPECT_NO_THROW(assembleAndCompress(clamped));
    EXPECT_EQ(clamped.EquationCount, 0);
}

// --- Loads ---

TEST(AssembleLoads, ForcesOnFixedComponentsAndInactiveNodesAreDropped) {
    Model m = makePlate(1, 3);
    m.CellState(1, 3) = kCellCutOut; // nodes 4 and 8 inactive
    fixNode(m, 1, true, false);
    MarkActiveNodes(m);
    CalcElementStiffness(m);
    NumberEquations(m);
    for (int n = 1; n <= m.NodeCount; ++n) {
        loadNode(m, n, 10.0 * n, -1.0 * n);
    }
    // Stale values must be overwritten, not added to.
    for (int p = 0; p <= m.EquationCount; ++p) {
        m.LoadVector(p) = 1000.0;
    }
    AssembleLoads(m);
    EXPECT_EQ(m.EquationCount, 11);
    EXPECT_EQ(m.LoadVector(1), -1.0); // node 1: x fixed, y is equation 1
    for (int n = 1; n <= m.NodeCount; ++n) {
        for (int d = 1; d <= 2; ++d) {
            const int p = m.DofNumber(n, d);
            if (p != 0) {
                EXPECT_EQ(m.LoadVector(p), m.NodeLoad(n, d)) << "node " << n << " d " << d;
            }
        }
    }
    // Nothing of node 1's x force, nor of nodes 4 and 8, arrives anywhere.
    double total = 0.0;
    for (int p = 1; p <= m.EquationCount; ++p) {
        total += m.LoadVector(p);
    }
    double expected = 0.0;
    for (int n : {1, 2, 3, 5, 6, 7}) {
        expected += (n == 1 ? 0.0 : 10.0 * n) - 1.0 * n;
    }
    EXPECT_EQ(total, expected);
}
