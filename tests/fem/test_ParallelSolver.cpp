#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fem/Solver.h"
#include "fem/StressAnalysis.h"
#include "model/Faults.h"
#include "support/Bits.h"
#include "support/DenseReference.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

// A plate of random cells (cut-outs, empty, design and non-design material), some
// random supports and loads: anything from a sound structure to loose pieces.
Model randomLayout(std::mt19937& random, int rows, int columns, bool supported) {
    Model m = makePlate(rows, columns, 10.0f);
    std::uniform_int_distribution<int> code(0, 9);
    for (int i = 1; i <= rows; ++i) {
        for (int j = 1; j <= columns; ++j) {
            const int c = code(random);
            m.CellState(i, j) = c == 0   ? kCellCutOut
                                : c == 1 ? kCellEmpty
                                : c == 2 ? kCellNonDesign
                                         : kCellDesign;
        }
    }
    if (supported) {
        fixLeftEdge(m);
    }
    std::uniform_int_distribution<int> row(1, rows + 1);
    std::uniform_int_distribution<int> column(1, columns + 1);
    for (int k = 0; k < 3; ++k) {
        fixNode(m, nodeAt(m, row(random), column(random)), k != 1, k != 2);
        loadNode(m, nodeAt(m, row(random), column(random)), 100.0 * k - 50.0, -300.0);
    }
    MarkActiveNodes(m);
    return m;
}

struct Outcome {
    bool faulted = false;
    SolverReport report;
};

} // namespace

TEST(ParallelSolver, EveryThreadCountGivesTheLiteralMethodsBits) {
    std::mt19937 random(13);
    std::vector<std::pair<std::string, Model>> models;
    models.emplace_back("cantilever 30 x 12", makeCantilever(12, 30, 10.0f));
    Model loose = makePlate(3, 10); // unsupported: runs to the iteration limit
    loadNode(loose, nodeAt(loose, 1, 11), 0.0, -1000.0);
    models.emplace_back("unsupported", std::move(loose));
    Model unloaded = makeCantilever(4, 12); // no load: the first step divides 0 by 0
    loadNode(unloaded, nodeAt(unloaded, 1, 13), 0.0, 0.0);
    models.emplace_back("unloaded", std::move(unloaded));
    for (int k = 0; k < 12; ++k) {
        const int rows = 3 + k % 5 * 4;
        const int columns = 4 + k * 3 % 23;
        models.emplace_back("random " + std::to_string(k),
                            randomLayout(random, rows, columns, k % 4 != 3));
    }
    for (auto& [name, original] : models) {
        SCOPED_TRACE(name);
        Model first = original;
        AssembleSystem(first);
        const int n = first.EquationCount;
        std::vector<double> f(first.LoadVector.data(), first.LoadVector.data() + n + 1);
        bool literalFaulted = false;
        reference::LiteralSolution expected;
        try {
            expected = reference::solveLiteral(
                reference::compressDense(reference::assembleDense(first)), f, kSolverTolerance);
        } catch (const std::domain_error&) {
            literalFaulted = true;
        }
        for (int threads : {1, 2, 3, 8}) {
            SCOPED_TRACE(threads);
            Model m = original;
            m.Threads.set(threads);
            m.Threads.setParallelFrom(0);
            AssembleSystem(m);
            Outcome got;
            try {
                got.report = SolveEquations(m, kSolverTolerance);
            } catch (const RuntimeFault&) {
                got.faulted = true;
            }
            ASSERT_EQ(got.faulted, literalFaulted);

            if (got.faulted) {
                continue;
            }
            // Every strip holds at least one node column.
            EXPECT_EQ(got.report.threads,
                      std::min(threads, static_cast<int>(m.CellColumnCount) + 1));
            EXPECT_EQ(got.report.iterations, expected.iterations);
            EXPECT_EQ(got.report.converged, expected.converged);
            EXPECT_EQ(bits(got.report.residualRatio), bits(expected.residualRatio));
            int differing = 0;
            for (int i = 1; i <= n; ++i) {
                differing += bits(m.SolutionVector(i)) != bits(expected.x[i]) ||
                             bits(m.FactorInvDiag(i)) != bits(expected.factorInvDiag[i]);
                for (int s = 1; s <= m.LowerCount(i); ++s) {
                    differing += bits(m.FactorLower(s, i)) !=
                                 bits(expected.factorLower[reference::CompressedStore::slot(s, i)]);
                }
            }
            EXPECT_EQ(differing, 0) << "of " << n << " equations";
        }
    }
}

TEST(ParallelSolver, ACouplingBeyondTheNeighbouringRowsFallsBackToOneThread) {
    // In the forward sweep a strip waits for the right neighbour's row below only
    // before its last node column. A store that couples the lower right corner to a
    // node near the left end of the row above (in the left strip) reaches where the
    // pipeline does not wait: it must be solved on one thread, and right.
    Model m = makeCantilever(6, 10, 10.0f);
    m.Threads.set(2);
    m.Threads.setParallelFrom(0);
    AssembleSystem(m);
    const int n = m.EquationCount;
    const int i = m.DofNumber(nodeAt(m, 1, 11), 2);
    const int j = m.DofNumber(nodeAt(m, 2, 2), 1);
    ASSERT_LT(i, j);
    const int count = m.UpperCount(i) + 1;
    ASSERT_LE(count, kRowCapacity);
    int slot = count; // the new column in its ascending place
    for (; slot > 1 && m.UpperColumn(slot - 1, i) > j; --slot) {
        m.UpperColumn(slot, i) = m.UpperColumn(slot - 1, i);
        m.UpperValue(slot, i) = m.UpperValue(slot - 1, i);
    }
    m.UpperCount(i) = static_cast<int16>(count);
    m.UpperColumn(slot, i) = static_cast<int16>(j);
    m.UpperValue(slot, i) = -1.0;
    const std::size_t slots = reference::CompressedStore::slot(0, n + 1);
    ASSERT_EQ(m.UpperColumn.stride(), kRowCapacity + 1);
    const reference::CompressedStore store{
        n, std::vector<int16>(m.UpperCount.data(), m.UpperCount.data() + n + 1),
        std::vector<int16>(m.UpperColumn.data(), m.UpperColumn.data() + slots),
        std::vector<double>(m.UpperValue.data(), m.UpperValue.data() + slots),
        std::vector<double>(m.DiagonalValue.data(), m.DiagonalValue.data() + n + 1)};
    const reference::LiteralSolution expected = reference::solveLiteral(
        store, std::vector<double>(m.LoadVector.data(), m.LoadVector.data() + n + 1),
        kSolverTolerance);
    const SolverReport report = SolveEquations(m, kSolverTolerance);
    EXPECT_EQ(report.threads, 1);
    EXPECT_EQ(report.iterations, expected.iterations);
    EXPECT_EQ(bits(report.residualRatio), bits(expected.residualRatio));
    int differing = 0;
    for (int e = 1; e <= n; ++e) {
        differing += bits(m.SolutionVector(e)) != bits(expected.x[e]);
    }
    EXPECT_EQ(differing, 0);
}
