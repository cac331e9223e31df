#include "fem/Solver.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "fem/StressAnalysis.h"
#include "support/Bits.h"
#include "support/DenseReference.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

std::vector<double> loads(const Model& m) { // indices 0..n
    return std::vector<double>(m.LoadVector.data(), m.LoadVector.data() + m.LoadVector.size());
}

// Gaussian elimination on the dense, positive definite K; u and f indexed 0..n.
std::vector<double> solveDense(reference::DenseMatrix a, std::vector<double> u) {
    const int n = a.size();
    for (int c = 1; c <= n; ++c) {
        for (int r = c + 1; r <= n; ++r) {
            const double f = a(r, c) / a(c, c);
            for (int j = c; j <= n; ++j) {
                a(r, j) -= f * a(c, j);
            }
            u[r] -= f * u[c];
        }
    }
    for (int i = n; i >= 1; --i) {
        for (int j = i + 1; j <= n; ++j) {
            u[i] -= a(i, j) * u[j];
        }
        u[i] /= a(i, i);
    }
    return u;
}

} // namespace

TEST(Solver, SameBitsAsTheLiteralMethodAndTheDirectSolution) {
    // However the kernels go fast, every sum must come out as the plain method's.
    std::vector<std::pair<const char*, Model>> models;
    models.emplace_back("cantilever 4 x 2", makeCantilever(2, 4));
    models.emplace_back("cantilever 40 x 16", makeCantilever(16, 40, 5.0f));
    Model mixed = makePlate(5, 6, 10.0f);
    setCells(mixed, 1, 1, 5, 1, kCellNonDesign);
    setCells(mixed, 4, 4, 5, 6, kCellCutOut);
    mixed.CellState(2, 3) = kCellEmpty;
    mixed.PoissonRatio = 1.0 / 3.0;
    mixed.YoungModulus = 70000.0;
    mixed.Thickness = 3.0;
    fixLeftEdge(mixed, true, false);
    fixNode(mixed, nodeAt(mixed, 1, 1), false, true);
    fixNode(mixed, nodeAt(mixed, 1, 7), false, true);
    loadNode(mixed, nodeAt(mixed, 4, 7), 150.0, -400.0);
    loadNode(mixed, nodeAt(mixed, 6, 3), -50.0, 80.0);
    MarkActiveNodes(mixed);
    models.emplace_back("mixed supports, nu = 1/3", std::move(mixed));
    Model loose = makePlate(2, 4); // unsupported: gives up silently after n + 10 iterations
    loadNode(loose, nodeAt(loose, 1, 5), 0.0, -1000.0);
    models.emplace_back("unsupported", std::move(loose));
    for (auto& [name, m] : models) {
        SCOPED_TRACE(name);
        AssembleSystem(m);
        const int n = m.EquationCount;
        const reference::DenseMatrix k = reference::assembleDense(m);
        const reference::LiteralSolution expected =
            reference::solveLiteral(reference::compressDense(k), loads(m), kSolverTolerance);
        const Array1<int16> count = m.UpperCount;
        const Array2<int16> column = m.UpperColumn;
        const SolverReport report = SolveEquations(m, kSolverTolerance);
        // The second transposition leaves an ascending upper store as it was.
        EXPECT_EQ(m.UpperCount, count);
        EXPECT_EQ(m.UpperColumn, column);
        EXPECT_EQ(report.iterations, expected.iterations);
        EXPECT_EQ(report.converged, expected.converged);
        EXPECT_EQ(bits(report.residualRatio), bits(expected.residualRatio));
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
        if (&m == &models.back().second) {
            EXPECT_FALSE(report.converged);
            EXPECT_EQ(report.iterations, n + 10);
        } else if (n < 500) { // the direct solve of the small supported models
            EXPECT_TRUE(report.converged);
            const std::vector<double> direct = solveDense(k, loads(m));
            double largest = 0.0;
            for (double u : direct) {
                largest = std::max(largest, std::fabs(u));
            }
            for (int i = 1; i <= n; ++i) {
                EXPECT_NEAR(m.SolutionVector(i), direct[i], 1e-4 * largest) << i;
            }
        }
    }
}

TEST(Solver, ResidualRatioEqualToTheBoundCountsAsConverged) {
    // Find a load whose first-iteration ratio R is an exact square t * t: tolerance t
    // must stop after one iteration, the next smaller double must not.
    Model m = makeCantilever(2, 4);
    AssembleSystem(m);
    const auto solve = [&](double tolerance) {
        for (int i = 1; i <= m.EquationCount; ++i) {
            m.SolutionVector(i) = 0.0;
        }
        return SolveEquations(m, tolerance);
    };
    for (int trial = 0; trial < 200; ++trial) {
        m.LoadVector(m.DofNumber(nodeAt(m, 1, 5), 2)) = -1000.0 - trial;
        m.LoadVector(1) = 0.5 * trial;
        const double ratio = solve(1e3).residualRatio; // stops at iteration 1
        const double root = std::sqrt(ratio);
        for (double t : {std::nextafter(root, 0.0), root, std::nextafter(root, 1.0)}) {
            if (t * t == ratio) {
                const SolverReport exact = solve(t);
                EXPECT_TRUE(exact.converged);
                EXPECT_EQ(exact.iterations, 1);
                const double below = std::nextafter(t, 0.0);
                ASSERT_LT(below * below, ratio);
                EXPECT_GT(solve(below).iterations, 1);
                return;
            }
        }
    }
    FAIL() << "no load gave a ratio that is an exact square";
}

TEST(IncompleteCholesky, PivotAtOrBelowTheToleranceBecomesThePositiveTolerance) {
    const double t = std::ldexp(1.0, -20);
    Model m = makePlate(1, 1);
    NumberEquations(m); // eight equations, no coupling yet
    const double diagonal[8] = {t, -t, -0.3 * t, -5.0, 2.0 * t, 1.0, 1.0 - t, 1.0 - 2.0 * t};
    for (int i = 1; i <= 8; ++i) {
        m.DiagonalValue(i) = diagonal[i - 1];
    }
    for (int i : {7, 8}) { // K(7, 6) = K(8, 6) = 1: computed pivots -t and -2t
        m.LowerCount(i) = 1;
        m.LowerColumn(1, i) = 6;
        m.LowerValue(1, i) = 1.0;
    }
    IncompleteCholesky(8, static_cast<int16>(kRowCapacity), m.LowerCount, m.LowerColumn,
                       m.LowerValue, m.DiagonalValue, m.FactorLower, m.FactorInvDiag, t);
    // The test is <=; a pivot below -t or above t is kept.
    const double expected[8] = {1 / t, 1 / t, 1 / t, -0.2, 1 / (2 * t), 1.0, 1 / t, -1 / (2 * t)};
    for (int i = 1; i <= 8; ++i) {
        EXPECT_EQ(m.FactorInvDiag(i), expected[i - 1]) << i;
    }
}
