#include "fem/Mesh.h"

#include <string>

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

TEST(MeshLayout, RowsRunAlongYNodesFromTheLowerLeftAndStressHasABorder) {
    // x from -400 to 300, y from -300 to 200: 7 columns, 5 rows.
    Model m = domain(-400, -300, 300, 200);
    BuildDomainMesh(m);
    EXPECT_EQ(m.CellColumnCount, 7);
    EXPECT_EQ(m.CellRowCount, 5);
    EXPECT_EQ(m.ElementCount, 35);
    EXPECT_EQ(m.NodeCount, 48);
    const double corners[4][3] = {{1, -400, -300}, {8, 300, -300}, {9, -400, -200}, {48, 300, 200}};
    for (const auto& [node, x, y] : corners) {
        EXPECT_EQ(m.NodeXY(static_cast<int>(node), 1), x) << node;
        EXPECT_EQ(m.NodeXY(static_cast<int>(node), 2), y) << node;
    }
    const int expected[4] = {1, 2, 10, 9};
    for (int k = 1; k <= 4; ++k) {
        EXPECT_EQ(m.ElementNodes(1, k), expected[k - 1]) << k;
    }
    EXPECT_EQ(m.ElementNodes(35, 3), 48); // cell (5, 7) ends at the top-right node
    // The stress has a border of one cell all round.
    EXPECT_EQ(m.CellStress.lo1(), 0);
    EXPECT_EQ(m.CellStress.lo2(), 0);
    EXPECT_EQ(m.CellStress.hi1(), 6);
    EXPECT_EQ(m.CellStress.hi2(), 8);
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

TEST(MeshLayout, DomainsOutOfRangeRaiseFaultsAfterSettingTheCounts) {
    // 181 x 181 cells: 32761 elements fit, 182 x 182 = 33124 nodes do not.
    Model m = domain(0, 0, 18100, 18100);
    try {
        BuildDomainMesh(m);
        FAIL() << "no fault";
    } catch (const OverflowFault& fault) {
        EXPECT_NE(std::string(fault.what()).find("nodes"), std::string::npos) << fault.what();
    }
    EXPECT_EQ(m.ElementCount, 32761);
    Model largest = domain(0, 0, 18000, 18000); // 181 x 181 = 32761 nodes
    EXPECT_NO_THROW(BuildDomainMesh(largest));
    EXPECT_EQ(largest.NodeCount, 32761);

    Model flat = domain(0, 100, 300, 100); // no row at all
    EXPECT_THROW(BuildDomainMesh(flat), SubscriptFault);
    EXPECT_EQ(flat.CellRowCount, 0);
    EXPECT_EQ(flat.CellColumnCount, 3);
    EXPECT_EQ(flat.ElementCount, 0);
    EXPECT_EQ(flat.NodeCount, 4);
}

TEST(Numbering, EveryFreeComponentInNodeOrder) {
    Model m = makePlate(2, 2);
    NumberEquations(m);
    EXPECT_EQ(m.NodeCount, 9);
    EXPECT_EQ(m.EquationCount, 18);
    for (int n = 1; n <= 9; ++n) {
        EXPECT_EQ(m.NodeActive(n), 1);
        EXPECT_EQ(m.DofNumber(n, 1), 2 * n - 1) << n;
        EXPECT_EQ(m.DofNumber(n, 2), 2 * n) << n;
    }
    // Element 1 has nodes 1, 2, 5, 4, element 4 nodes 5, 6, 9, 8.
    const int dofs[2][8] = {{1, 2, 3, 4, 9, 10, 7, 8}, {9, 10, 11, 12, 17, 18, 15, 16}};
    for (int k = 1; k <= 8; ++k) {
        EXPECT_EQ(m.ElementDofs(1, k), dofs[0][k - 1]) << k;
        EXPECT_EQ(m.ElementDofs(4, k), dofs[1][k - 1]) << k;
    }

    // Supports keep the numbers dense.
    fixNode(m, 1, true, false); // x only: node 1 keeps one equation, for y
    fixNode(m, 2, false, true); // y only
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

TEST(Numbering, NodesOfAbsentCellsGetNoEquationEvenWhenFree) {
    // One row of three cells: non-design material in the middle, the right-hand
    // cell cut out, so nodes 4 and 8 belong to an absent cell only.
    Model m = makePlate(1, 3);
    m.CellState(1, 2) = kCellNonDesign;
    m.CellState(1, 3) = kCellCutOut;
    MarkActiveNodes(m);
    NumberEquations(m);
    EXPECT_EQ(m.NodeActive(4) + m.NodeActive(8), 0);
    EXPECT_EQ(m.NodeActive(3), 1);
    EXPECT_EQ(m.EquationCount, 12);
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

TEST(Numbering, RenumberingNeedsFreshActivityAndRecreatesTheSystem) {
    Model m = makePlate(1, 2);
    NumberEquations(m);
    ASSERT_EQ(m.DofNumber(1, 1), 1);
    fixLeftEdge(m);
    NumberEquations(m); // without MarkActiveNodes the stale numbers of node 1 survive
    EXPECT_EQ(m.DofNumber(1, 1), 1);
    ASSERT_EQ(m.EquationCount, 8);
    m.LoadVector(3) = 5.0;
    m.UpperColumn(9, 8) = 4;
    m.FactorInvDiag(8) = 2.0;
    m.CellState(1, 2) = kCellEmpty;
    MarkActiveNodes(m);
    for (int e = 1; e <= m.ElementCount; ++e) {
        for (int k = 1; k <= 8; ++k) {
            EXPECT_EQ(m.ElementDofs(e, k), 0);
        }
    }
    NumberEquations(m);
    ASSERT_EQ(m.EquationCount, 4);
    EXPECT_EQ(m.DofNumber(1, 1) + m.DofNumber(1, 2), 0);
    EXPECT_EQ(m.DofNumber(2, 1), 1);
    // The equation system is recreated zero-filled for the new count.
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

TEST(Numbering, MoreThan32767EquationsOverflow) {
    // 127 x 127 cells: 16384 nodes, 32768 free components.
    Model m = makePlate(127, 127, 1.0f);
    EXPECT_THROW(NumberEquations(m), OverflowFault);
    fixNode(m, 1, true, false);
    MarkActiveNodes(m);
    NumberEquations(m);
    EXPECT_EQ(m.EquationCount, 32767);
}
