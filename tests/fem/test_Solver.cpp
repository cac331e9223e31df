#include "fem/Solver.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "support/Bits.h"
#include "support/DenseReference.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;
using reference::DenseMatrix;

namespace {

// The model's load vector with indices 0..n.
std::vector<double> loads(const Model& m) {
    return std::vector<double>(m.LoadVector.data(), m.LoadVector.data() + m.LoadVector.size());
}

// Direct solve of K u = f by Gaussian elimination on the dense (positive
// definite) matrix; u and f with indices 0..n.
std::vector<double> solveDense(DenseMatrix a, std::vector<double> u) {
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

struct NamedModel {
    const char* name;
    Model model;
};

std::vector<NamedModel> supportedModels() {
    std::vector<NamedModel> models;
    models.push_back({"cantilever 4 x 2", makeCantilever(2, 4)});

    Model holed = makePlate(4, 8, 25.0f);
    setCells(holed, 2, 4, 3, 5, kCellEmpty);
    fixLeftEdge(holed);
    loadNode(holed, nodeAt(holed, 1, 9), 0.0, -800.0);
    loadNode(holed, nodeAt(holed, 5, 9), 300.0, 0.0);
    MarkActiveNodes(holed);
    models.push_back({"8 x 4 with a hole", std::move(holed)});

    Model beam = makePlate(2, 8, 50.0f);
    fixNode(beam, nodeAt(beam, 1, 1), true, true);
    fixNode(beam, nodeAt(beam, 1, 9), false, true); // roller: y only
    loadNode(beam, nodeAt(beam, 3, 5), 0.0, -2000.0);
    models.push_back({"beam on a roller", std::move(beam)});

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
    models.push_back({"mixed supports, nu = 1/3", std::move(mixed)});

    models.push_back({"cantilever 12 x 6", makeCantilever(6, 12, 20.0f, 5000.0)});
    return models;
}

} // namespace

TEST(Solver, AgreesWithDenseDirectSolve) {
    for (NamedModel& named : supportedModels()) {
        SCOPED_TRACE(named.name);
        Model& m = named.model;
        AssembleSystem(m);
        const int n = m.EquationCount;
        const DenseMatrix k = reference::assembleDense(m);
        const std::vector<double> f = loads(m);
        const std::vector<double> direct = solveDense(k, f);

        const SolverReport report = SolveEquations(m, kSolverTolerance);
        EXPECT_TRUE(report.converged);
        EXPECT_LE(report.residualRatio, 1e-12);
        EXPECT_GE(report.iterations, 1);
        EXPECT_LE(report.iterations, n + 10);

        double largest = 0.0;
        for (double u : direct) {
            largest = std::max(largest, std::fabs(u));
        }
        ASSERT_GT(largest, 0.0);
        // The reported ratio is the recurrence's; the true residual agrees with it.
        double rr = 0.0;
        double ff = 0.0;
        for (int i = 1; i <= n; ++i) {
            EXPECT_NEAR(m.SolutionVector(i), direct[i], 1e-4 * largest) << "equation " << i;
            double r = f[i];
            for (int j = 1; j <= n; ++j) {
                r -= k(i, j) * m.SolutionVector(j);
            }
            rr += r * r;
            ff += f[i] * f[i];
        }
        EXPECT_LE(rr / ff, 1e-10);
    }
}

TEST(Solver, SameBitsAsTheLiteralMethod) {
    // Whatever the kernels do to go fast, every sum must come out as the plain
    // step-by-step method computes it: factor, iterates and report alike.
    std::vector<NamedModel> models = supportedModels();
    models.push_back({"cantilever 40 x 16", makeCantilever(16, 40, 5.0f)});
    Model loose = makePlate(2, 4); // no support: gives up silently after n + 10 iterations
    loadNode(loose, nodeAt(loose, 1, 5), 0.0, -1000.0);
    models.push_back({"unsupported", std::move(loose)});
    for (NamedModel& named : models) {
        SCOPED_TRACE(named.name);
        Model& m = named.model;
        AssembleSystem(m);
        const int n = m.EquationCount;
        const reference::LiteralSolution expected = reference::solveLiteral(
            reference::compressDense(reference::assembleDense(m)), loads(m), kSolverTolerance);
        const Array1<int16> count = m.UpperCount;
        const Array2<int16> column = m.UpperColumn;
        const Array2<double> value = m.UpperValue;
        const SolverReport report = SolveEquations(m, kSolverTolerance);
        // The second transposition leaves the upper store as it was.
        EXPECT_TRUE(m.UpperCount == count && m.UpperColumn == column && m.UpperValue == value);
        EXPECT_EQ(report.iterations, expected.iterations);
        EXPECT_EQ(report.converged, expected.converged);
        EXPECT_EQ(bits(report.residualRatio), bits(expected.residualRatio));
        if (&named == &models.back()) {
            EXPECT_FALSE(report.converged);
            EXPECT_EQ(report.iterations, n + 10);
        }
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

TEST(Solver, ResidualRatioEqualToTheBoundCountsAsConverged) {
    // Find a right-hand side whose first-iteration ratio R is an exact square t * t;
    // then tolerance t must stop after one iteration and the next smaller double
    // must not.
    Model m = makeCantilever(2, 4);
    AssembleSystem(m);
    const auto solve = [&](double tolerance) {
        for (int i = 1; i <= m.EquationCount; ++i) {
            m.SolutionVector(i) = 0.0;
        }
        return SolveEquations(m, tolerance);
    };
    bool found = false;
    for (int trial = 0; trial < 200 && !found; ++trial) {
        m.LoadVector(m.DofNumber(nodeAt(m, 1, 5), 2)) = -1000.0 - trial;
        m.LoadVector(1) = 0.5 * trial;
        const SolverReport once = solve(1e3); // stops at iteration 1
        ASSERT_EQ(once.iterations, 1);
        const double ratio = once.residualRatio;
        double t = std::sqrt(ratio);
        for (double candidate : {std::nextafter(t, 0.0), t, std::nextafter(t, 1.0)}) {
            if (candidate * candidate == ratio) {
                t = candidate;
                found = true;
            }
        }
        if (found) {
            const SolverReport exact = solve(t);
            EXPECT_TRUE(exact.converged);
            EXPECT_EQ(exact.iterations, 1);
            EXPECT_EQ(exact.residualRatio, t * t);
            const double below = std::nextafter(t, 0.0);
            ASSERT_LT(below * below, ratio);
            EXPECT_GT(solve(below).iterations, 1);
        }
    }
    EXPECT_TRUE(found) << "no right-hand side gave a ratio that is an exact square";
}

TEST(SolverFaults, NoEquationsOrNoLoadRaisesFloatingPointFault) {
    Model clamped = makePlate(2, 2);
    for (int node = 1; node <= clamped.NodeCount; ++node) {
        fixNode(clamped, node, true, true);
        loadNode(clamped, node, 10.0, 10.0);
    }
    Model onSupport = makeCantilever(2, 3, 100.0f, 0.0); // a load on a fixed node only
    loadNode(onSupport, nodeAt(onSupport, 2, 1), 500.0, 500.0);
    std::pair<Model, const char*> cases[] = {
        {std::move(clamped), "nothing to solve"},
        {makePlate(2, 2, 100.0f, kCellEmpty), "nothing to solve"},
        {makeCantilever(2, 3, 100.0f, 0.0), "no load"},
        {std::move(onSupport), "no load"},
    };
    for (auto& [m, expected] : cases) {
        AssembleSystem(m);
        EXPECT_EQ(m.EquationCount == 0, std::string(expected) == "nothing to solve");
        std::string message = "no fault";
        try {
            SolveEquations(m, kSolverTolerance);
        } catch (const FloatingPointFault& fault) {
            message = fault.what();
        }
        std::transform(message.begin(), message.end(), message.begin(),
                       [](unsigned char ch) { return static_cast<char>(std::tolower(ch)); });
        EXPECT_NE(message.find(expected), std::string::npos) << "'" << message << "'";
    }
}

TEST(IncompleteCholesky, PivotAtOrBelowTheToleranceBecomesThePositiveTolerance) {
    // A hand-built store: diagonals d, K(2, 1) = coupling unless 0.
    const auto invDiag = [](std::vector<double> d, double coupling, double tolerance) {
        const int n = static_cast<int>(d.size());
        Array1<int16> count("LowerCount", 0, n);
        Array2<int16> column("LowerColumn", 0, kRowCapacity, 0, n);
        Array2<double> value("LowerValue", 0, kRowCapacity, 0, n);
        Array2<double> factor("FactorLower", 0, kRowCapacity, 0, n);
        Array1<double> diagonal("DiagonalValue", 0, n);
        Array1<double> inverse("FactorInvDiag", 0, n);
        for (int i = 1; i <= n; ++i) {
            diagonal(i) = d[static_cast<std::size_t>(i - 1)];
        }
        if (coupling != 0.0) {
            count(2) = 1;
            column(1, 2) = 1;
            value(1, 2) = coupling;
        }
        IncompleteCholesky(static_cast<int16>(n), static_cast<int16>(kRowCapacity), count, column,
                           value, diagonal, factor, inverse, tolerance);
        return inverse;
    };
    // Exactly the tolerance and its negative are replaced (the test is <=), a
    // large negative pivot is left alone.
    const Array1<double> given = invDiag({1e-6, -1e-6, -3e-7, -5.0, 2e-6}, 0.0, 1e-6);
    EXPECT_EQ(given(1), 1.0 / 1e-6);
    EXPECT_EQ(given(2), 1.0 / 1e-6);
    EXPECT_EQ(given(3), 1.0 / 1e-6);
    EXPECT_EQ(given(4), -0.2);
    EXPECT_EQ(given(5), 1.0 / 2e-6);
    // Computed pivots: 1 - t - 1 = -t exactly is replaced, -2t is kept.
    const double t = std::ldexp(1.0, -20);
    EXPECT_EQ(invDiag({1.0, 1.0 - t}, 1.0, t)(2), 1.0 / t);
    EXPECT_EQ(invDiag({1.0, 1.0 - 2.0 * t}, 1.0, t)(2), -1.0 / (2.0 * t));
}
