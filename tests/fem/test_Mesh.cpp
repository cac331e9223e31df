#include "fem/Mesh.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

Model domain(float x1, float y1, float x2, float y2, float size = 100.0f) {
    Model m;
    m.ElementSize = size;
    m.DomainX1 = x1;
    m.DomainY1 = y1;
    m.DomainX2 = x2;
    m.DomainY2 = y2;
    return m;
}

} // namespace

// --- Layout of the domain ---

TEST(MeshLayout, RowsRunAlongYAndNodesRowByRowFromTheLowerLeft) {
    // x from -400 to 300, y from -300 to 200: 7 columns, 5 rows.
    Model m = domain(-400, -300, 300, 200);
    BuildDomainMesh(m);
    EXPECT_EQ(m.CellColumnCount, 7);
    EXPECT_EQ(m.CellRowCount, 5);
    EXPECT_EQ(m.ElementCount, 35);
    EXPECT_EQ(m.NodeCount, 48);
    EXPECT_EQ(m.NodeXY(1, 1), -400.0);
    EXPECT_EQ(m.NodeXY(1, 2), -300.0);
    EXPECT_EQ(m.NodeXY(8, 1), 300.0);
    EXPECT_EQ(m.NodeXY(8, 2), -300.0);
    EXPECT_EQ(m.NodeXY(9, 1), -400.0);
    EXPECT_EQ(m.NodeXY(9, 2), -200.0);
    EXPECT_EQ(m.NodeXY(48, 1), 300.0);
    EXPECT_EQ(m.NodeXY(48, 2), 200.0);
    const int expected[4] = {1, 2, 10, 9};
    for (int k = 1; k <= 4; ++k) {
        EXPECT_EQ(m.ElementNodes(1, k), expected[k - 1]) << k;
    }
    // The last element, cell (5, 7), ends at the top-right node.
    EXPECT_EQ(m.ElementNodes(35, 3), 48);
}

TEST(MeshLayout, EverythingStartsEmptyAndStressHasABorder) {
    Model m = domain(0, 0, 300, 200);
    BuildDomainMesh(m);
    ASSERT_EQ(m.CellRowCount, 2);
    ASSERT_EQ(m.CellColumnCount, 3);
    for (int i = 1; i <= 2; ++i) {
        for (int j = 1; j <= 3; ++j) {
            EXPECT_EQ(m.CellState(i, j), kCellEmpty);
        }
    }
    for (int n = 1; n <= m.NodeCount; ++n) {
        EXPECT_EQ(m.NodeFreedom(n, 1), 0);
        EXPECT_EQ(m.NodeFreedom(n, 2), 0);
        EXPECT_EQ(m.NodeLoad(n, 2), 0.0);
    }
    EXPECT_EQ(m.CellStress.lo1(), 0);
    EXPECT_EQ(m.CellStress.hi1(), 3);
    EXPECT_EQ(m.CellStress.lo2(), 0);
    EXPECT_EQ(m.CellStress.hi2(), 4);
    EXPECT_EQ(m.Potential.hi1(), 2);
    EXPECT_EQ(m.Potential.hi2(), 3);
}

TEST(MeshLayout, CoordinatesComeFromRepeatedSinglePrecisionAddition) {
    Model m = domain(0, 0, 0.5f, 0.5f, 0.1f);
    BuildDomainMesh(m);
    ASSERT_EQ(m.CellColumnCount, 5);
    float x = 0.0f;
    for (int column = 1; column <= 6; ++column) {
        EXPECT_EQ(m.NodeXY(nodeAt(m, 1, column), 1), static_cast<double>(x)) << column;
        EXPECT_EQ(m.NodeXY(nodeAt(m, 4, column), 2), m.NodeXY(nodeAt(m, 4, 1), 2));
        x = x + 0.1f;
    }
    // Repeated addition, not multiplication: 0.1f + 0.1f + 0.1f differs from 3 * 0.1f
    // in the last bit.
    const float three = 0.1f + 0.1f + 0.1f;
    EXPECT_EQ(m.NodeXY(nodeAt(m, 4, 1), 2), static_cast<double>(three));
}

TEST(MeshLayout, NodeCountBeyondSixteenBitsOverflows) {
    // 181 x 181 cells: 32761 elements fit, 182 x 182 = 33124 nodes do not.
    Model m = domain(0, 0, 18100, 18100);
    try {
        BuildDomainMesh(m);
        FAIL() << "no fault";
    } catch (const OverflowFault& fault) {
        EXPECT_NE(std::string(fault.what()).find("nodes"), std::string::npos) << fault.what();
    }
    EXPECT_EQ(m.ElementCount, 32761);

    // 200 x 200 cells: 201 x 201 nodes (and 40000 elements) are out of range.
    Model big = domain(0, 0, 20000, 20000);
    EXPECT_THROW(BuildDomainMesh(big), OverflowFault);

    Model largest = domain(0, 0, 18000, 18000); // 181 x 181 = 32761 nodes
    EXPECT_NO_THROW(BuildDomainMesh(largest));
    EXPECT_EQ(largest.NodeCount, 32761);
}

TEST(MeshLayout, ZeroRowDomainRaisesSubscriptFaultAfterSettingTheCounts) {
    Model m = domain(0, 100, 300, 100);
    EXPECT_THROW(BuildDomainMesh(m), SubscriptFault);
    EXPECT_EQ(m.CellRowCount, 0);
    EXPECT_EQ(m.CellColumnCount, 3);
    EXPECT_EQ(m.ElementCount, 0);
    EXPECT_EQ(m.NodeCount, 4);
}

// --- Node activity and equation numbering ---

TEST(Numbering, TwoByTwoGridWithoutSupportsNumbersEveryComponentInNodeOrder) {
    Model m = makePlate(2, 2);
    NumberEquations(m);
    EXPECT_EQ(m.NodeCount, 9);
    EXPECT_EQ(m.EquationCount, 18);
    for (int n = 1; n <= 9; ++n) {
        EXPECT_EQ(m.NodeActive(n), 1);
        EXPECT_EQ(m.DofNumber(n, 1), 2 * n - 1) << n;
        EXPECT_EQ(m.DofNumber(n, 2), 2 * n) << n;
    }
    // Element 1 (cell (1, 1)) has nodes 1, 2, 5, 4.
    const int dofs[8] = {1, 2, 3, 4, 9, 10, 7, 8};
    for (int k = 1; k <= 8; ++k) {
        EXPECT_EQ(m.ElementDofs(1, k), dofs[k - 1]) << k;
    }
    // Element 4 (cell (2, 2)) has nodes 5, 6, 9, 8.
    const int dofs4[8] = {9, 10, 11, 12, 17, 18, 15, 16};
    for (int k = 1; k <= 8; ++k) {
        EXPECT_EQ(m.ElementDofs(4, k), dofs4[k - 1]) << k;
    }
}

TEST(Numbering, SupportsKeepTheNumbersDense) {
    Model m = makePlate(2, 2);
    fixNode(m, 1, true, false); // x only: node 1 keeps one equation, for y
    fixNode(m, 2, false, true); // y only
    fixNode(m, 5, true, true);
    MarkActiveNodes(m);
    NumberEquations(m);
    EXPECT_EQ(m.EquationCount, 14);
    EXPECT_EQ(m.DofNumber(1, 1), 0);
    EXPECT_EQ(m.DofNumber(1, 2), 1);
    EXPECT_EQ(m.DofNumber(2, 1), 2);
    EXPECT_EQ(m.DofNumber(2, 2), 0);
    EXPECT_EQ(m.DofNumber(3, 1), 3);
    EXPECT_EQ(m.DofNumber(4, 2), 6);
    EXPECT_EQ(m.DofNumber(5, 1), 0);
    EXPECT_EQ(m.DofNumber(5, 2), 0);
    EXPECT_EQ(m.DofNumber(6, 1), 7);
    EXPECT_EQ(m.DofNumber(9, 2), 14);
    // Every number from 1 to EquationCount is used exactly once.
    std::vector<int> seen(static_cast<std::size_t>(m.EquationCount) + 1, 0);
    for (int n = 1; n <= m.NodeCount; ++n) {
        for (int d = 1; d <= 2; ++d) {
            ++seen.at(static_cast<std::size_t>(m.DofNumber(n, d)));
        }
    }
    for (int p = 1; p <= m.EquationCount; ++p) {
        EXPECT_EQ(seen[static_cast<std::size_t>(p)], 1) << p;
    }
}

TEST(Numbering, NodesOfAbsentCellsGetNoEquationEvenWhenFree) {
    // One row of three cells; the middle one is non-design material (present), the
    // right-hand one is cut out.
    Model m = makePlate(1, 3);
    m.CellState(1, 2) = kCellNonDesign;
    m.CellState(1, 3) = kCellCutOut;
    MarkActiveNodes(m);
    NumberEquations(m);
    // Nodes: bottom 1..4, top 5..8; nodes 4 and 8 belong to cell 3 only.
    EXPECT_EQ(m.NodeActive(4), 0);
    EXPECT_EQ(m.NodeActive(8), 0);
    EXPECT_EQ(m.NodeActive(3), 1);
    EXPECT_EQ(m.EquationCount, 12);
    EXPECT_EQ(m.DofNumber(4, 1), 0);
    EXPECT_EQ(m.DofNumber(8, 2), 0);
    EXPECT_EQ(m.DofNumber(5, 1), 7);
    // The absent element 3 (nodes 3, 4, 8, 7) still gets its numbers from its nodes.
    const int dofs[8] = {5, 6, 0, 0, 0, 0, 11, 12};
    for (int k = 1; k <= 8; ++k) {
        EXPECT_EQ(m.ElementDofs(3, k), dofs[k - 1]) << k;
    }

    // Emptying a cell counts the same as cutting it out.
    m.CellState(1, 3) = kCellEmpty;
    MarkActiveNodes(m);
    NumberEquations(m);
    EXPECT_EQ(m.EquationCount, 12);
}

TEST(Numbering, GridWithoutPresentCellsHasOnlyIndexZero) {
    Model m = makePlate(2, 3, 100.0f, kCellEmpty);
    m.CellState(2, 2) = kCellCutOut;
    MarkActiveNodes(m);
    NumberEquations(m);
    EXPECT_EQ(m.EquationCount, 0);
    for (int n = 1; n <= m.NodeCount; ++n) {
        EXPECT_EQ(m.NodeActive(n), 0);
    }
    EXPECT_EQ(m.LoadVector.lo(), 0);
    EXPECT_EQ(m.LoadVector.hi(), 0);
    EXPECT_EQ(m.SolutionVector.hi(), 0);
    EXPECT_EQ(m.UpperCount.hi(), 0);
    EXPECT_EQ(m.DiagonalValue.hi(), 0);
    EXPECT_EQ(m.TransposeFill.hi(), 0);
    EXPECT_EQ(m.UpperColumn.lo2(), 0);
    EXPECT_EQ(m.UpperColumn.hi2(), 0);
    EXPECT_EQ(m.FactorLower.hi2(), 0);
    EXPECT_THROW(m.LoadVector(1), SubscriptFault);
    EXPECT_THROW(m.DiagonalValue(1), SubscriptFault);
}

TEST(Numbering, EquationSystemIsRecreatedZeroFilledForTheNewCount) {
    Model m = makePlate(1, 2);
    fixLeftEdge(m);
    MarkActiveNodes(m);
    NumberEquations(m);
    ASSERT_EQ(m.EquationCount, 8);
    m.LoadVector(3) = 5.0;
    m.UpperColumn(9, 8) = 4;
    m.FactorInvDiag(8) = 2.0;
    m.CellState(1, 2) = kCellEmpty;
    MarkActiveNodes(m);
    NumberEquations(m);
    ASSERT_EQ(m.EquationCount, 4);
    for (int p = 0; p <= 4; ++p) {
        EXPECT_EQ(m.LoadVector(p), 0.0);
        EXPECT_EQ(m.FactorInvDiag(p), 0.0);
        for (int s = 0; s <= kRowCapacity; ++s) {
            EXPECT_EQ(m.UpperColumn(s, p), 0);
        }
    }
    EXPECT_EQ(m.UpperColumn.hi1(), kRowCapacity);
    EXPECT_THROW(m.FactorInvDiag(5), SubscriptFault);
}

TEST(Numbering, ActivityMustBeRefreshedBeforeRenumbering) {
    Model m = makePlate(1, 1);
    NumberEquations(m);
    ASSERT_EQ(m.DofNumber(1, 1), 1);
    fixNode(m, 1, true, true);
    // Without MarkActiveNodes the stale numbers of node 1 survive.
    NumberEquations(m);
    EXPECT_EQ(m.DofNumber(1, 1), 1);
    MarkActiveNodes(m);
    for (int e = 1; e <= m.ElementCount; ++e) {
        for (int k = 1; k <= 8; ++k) {
            EXPECT_EQ(m.ElementDofs(e, k), 0);
        }
    }
    NumberEquations(m);
    EXPECT_EQ(m.DofNumber(1, 1), 0);
    EXPECT_EQ(m.DofNumber(1, 2), 0);
    EXPECT_EQ(m.DofNumber(2, 1), 1);
    EXPECT_EQ(m.EquationCount, 6);
}

TEST(Numbering, MoreThan32767EquationsOverflow) {
    // 127 x 127 cells: 16384 nodes, 32768 free components.
    Model m = makePlate(127, 127, 1.0f);
    EXPECT_THROW(NumberEquations(m), OverflowFault);

    Model fits = makePlate(127, 127, 1.0f);
    fixNode(fits, 1, true, false);
    MarkActiveNodes(fits);
    NumberEquations(fits);
    EXPECT_EQ(fits.EquationCount, 32767);
}
