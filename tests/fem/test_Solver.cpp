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

#include "fem/Assembly.h"
#include "fem/ElementStiffness.h"
#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "support/DenseReference.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;
using reference::DenseMatrix;

namespace {

// Everything an analysis does before the solver.
void assemble(Model& m) {
    CalcElementStiffness(m);
    NumberEquations(m);
    AssembleStiffness(m);
    AssembleLoads(m);
    CompressStiffness(m.EquationCount, static_cast<int16>(kRowCapacity), m.UpperCount,
                      m.UpperColumn, m.UpperValue, m.DiagonalValue, m.StiffnessMatrix, m.LoadVector,
                      m.SolutionVector);
}

// Direct solve of K u = f by Gaussian elimination with partial pivoting on the
// dense matrix (index 0 unused).
std::vector<double> solveDense(const DenseMatrix& k, const Array1<double>& load) {
    const int n = k.size();
    std::vector<std::vector<double>> a(static_cast<std::size_t>(n + 1),
                                       std::vector<double>(static_cast<std::size_t>(n + 2)));
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j <= n; ++j) {
            a[i][j] = k(i, j);
        }
        a[i][n + 1] = load(i);
    }
    for (int c = 1; c <= n; ++c) {
        int pivot = c;
        for (int r = c + 1; r <= n; ++r) {
            if (std::fabs(a[r][c]) > std::fabs(a[pivot][c])) {
                pivot = r;
            }
        }
        std::swap(a[c], a[pivot]);
        for (int r = c + 1; r <= n; ++r) {
            const double f = a[r][c] / a[c][c];
            for (int j = c; j <= n + 1; ++j) {
                a[r][j] -= f * a[c][j];
            }
        }
    }
    std::vector<double> u(static_cast<std::size_t>(n + 1), 0.0);
    for (int i = n; i >= 1; --i) {
        double s = a[i][n + 1];
        for (int j = i + 1; j <= n; ++j) {
            s -= a[i][j] * u[j];
        }
        u[i] = s / a[i][i];
    }
    return u;
}

bool contains(std::string text, std::string part) {
    const auto lower = [](std::string s) {
        std::transform(s.begin(), s.end(), s.begin(),
                       [](unsigned char ch) { return static_cast<char>(std::tolower(ch)); });
        return s;
    };
    return lower(std::move(text)).find(lower(std::move(part))) != std::string::npos;
}

// The solver's fault message for a model, or "" when it does not raise.
std::string floatingPointMessage(Model& m) {
    try {
        SolveEquations(m, kSolverTolerance);
    } catch (const FloatingPointFault& fault) {
        return fault.what();
    }
    return "";
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

// --- Against a direct solve ---

TEST(Solver, AgreesWithDenseDirectSolve) {
    for (NamedModel& named : supportedModels()) {
        SCOPED_TRACE(named.name);
        Model& m = named.model;
        assemble(m);
        const DenseMatrix k = reference::assembleDense(m);
        const std::vector<double> direct = solveDense(k, m.LoadVector);
        const int n = m.EquationCount;

        const SolverReport report = SolveEquations(m, kSolverTolerance);
        EXPECT_TRUE(report.converged);
        EXPECT_LE(report.residualRatio, 1e-12);
        EXPECT_GE(report.iterations, 1);
        EXPECT_LE(report.iterations, n + 10);

        double largest = 0.0;
        for (int i = 1; i <= n; ++i) {
            largest = std::max(largest, std::fabs(direct[static_cast<std::size_t>(i)]));
        }
        ASSERT_GT(largest, 0.0);
        for (int i = 1; i <= n; ++i) {
            EXPECT_NEAR(m.SolutionVector(i), direct[static_cast<std::size_t>(i)], 1e-4 * largest)
                << "equation " << i;
        }

        // The reported ratio is the recurrence's; the true residual agrees with it.
        std::vector<double> x(static_cast<std::size_t>(n + 1), 0.0);
        for (int i = 1; i <= n; ++i) {
            x[static_cast<std::size_t>(i)] = m.SolutionVector(i);
        }
        const std::vector<double> kx = reference::multiplyDense(k, x);
        double rr = 0.0;
        double ff = 0.0;
        for (int i = 1; i <= n; ++i) {
            const double r = m.LoadVector(i) - kx[static_cast<std::size_t>(i)];
            rr += r * r;
            ff += m.LoadVector(i) * m.LoadVector(i);
        }
        EXPECT_LE(rr / ff, 1e-10);
    }
}

TEST(Solver, SameBitsAsTheLiteralMethod) {
    // Whatever the kernels do to go fast, every sum must come out as the plain
    // step-by-step method computes it: factor, iterates and report alike.
    std::vector<NamedModel> models = supportedModels();
    models.push_back({"cantilever 40 x 16", makeCantilever(16, 40, 5.0f)});
    Model loose = makePlate(2, 4); // no support: all n + 10 iterations
    loadNode(loose, nodeAt(loose, 1, 5), 0.0, -1000.0);
    models.push_back({"unsupported", std::move(loose)});
    for (NamedModel& named : models) {
        SCOPED_TRACE(named.name);
        Model& m = named.model;
        assemble(m);
        const int n = m.EquationCount;
        std::vector<double> f(static_cast<std::size_t>(n + 1), 0.0);
        for (int i = 1; i <= n; ++i) {
            f[static_cast<std::size_t>(i)] = m.LoadVector(i);
        }
        const reference::LiteralSolution expected = reference::solveLiteral(
            reference::compressDense(reference::assembleDense(m)), f, kSolverTolerance);
        const SolverReport report = SolveEquations(m, kSolverTolerance);
        EXPECT_EQ(report.iterations, expected.iterations);
        EXPECT_EQ(report.converged, expected.converged);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(report.residualRatio),
                  std::bit_cast<std::uint64_t>(expected.residualRatio));
        int differing = 0;
        for (int i = 1; i <= n; ++i) {
            const auto at = static_cast<std::size_t>(i);
            if (std::bit_cast<std::uint64_t>(m.SolutionVector(i)) !=
                    std::bit_cast<std::uint64_t>(expected.x[at]) ||
                std::bit_cast<std::uint64_t>(m.FactorInvDiag(i)) !=
                    std::bit_cast<std::uint64_t>(expected.factorInvDiag[at])) {
                ++differing;
            }
            for (int s = 1; s <= m.LowerCount(i); ++s) {
                if (std::bit_cast<std::uint64_t>(m.FactorLower(s, i)) !=
                    std::bit_cast<std::uint64_t>(
                        expected.factorLower[reference::CompressedStore::slot(s, i)])) {
                    ++differing;
                }
            }
        }
        EXPECT_EQ(differing, 0) << "of " << n << " equations";
    }
}

TEST(Solver, UnsupportedPlateGivesUpSilentlyAfterNPlusTenIterations) {
    Model m = makePlate(2, 4);
    loadNode(m, nodeAt(m, 1, 5), 0.0, -1000.0);
    assemble(m);
    SolverReport report;
    ASSERT_NO_THROW(report = SolveEquations(m, kSolverTolerance));
    EXPECT_FALSE(report.converged);
    EXPECT_EQ(report.iterations, m.EquationCount + 10);
}

TEST(Solver, ResidualRatioEqualToTheBoundCountsAsConverged) {
    // Find a right-hand side whose first-iteration ratio R is an exact square t * t;
    // then tolerance t must stop after one iteration and the next smaller double
    // must not.
    Model m = makeCantilever(2, 4);
    assemble(m);
    const int n = m.EquationCount;
    const int tip = m.DofNumber(nodeAt(m, 1, 5), 2);
    bool found = false;
    for (int trial = 0; trial < 200 && !found; ++trial) {
        m.LoadVector(tip) = -1000.0 - trial;
        m.LoadVector(1) = 0.5 * trial;
        for (int i = 1; i <= n; ++i) {
            m.SolutionVector(i) = 0.0;
        }
        const SolverReport once = SolveEquations(m, 1e3); // stops at iteration 1
        ASSERT_EQ(once.iterations, 1);
        const double ratio = once.residualRatio;
        double t = std::sqrt(ratio);
        for (double candidate : {std::nextafter(t, 0.0), t, std::nextafter(t, 1.0)}) {
            if (candidate * candidate == ratio) {
                t = candidate;
                found = true;
            }
        }
        if (!found) {
            continue;
        }
        for (int i = 1; i <= n; ++i) {
            m.SolutionVector(i) = 0.0;
        }
        const SolverReport exact = SolveEquations(m, t);
        EXPECT_TRUE(exact.converged);
        EXPECT_EQ(exact.iterations, 1);
        EXPECT_EQ(exact.residualRatio, t * t);

        const double below = std::nextafter(t, 0.0);
        ASSERT_LT(below * below, ratio);
        for (int i = 1; i <= n; ++i) {
            m.SolutionVector(i) = 0.0;
        }
        EXPECT_GT(SolveEquations(m, below).iterations, 1);
    }
    EXPECT_TRUE(found) << "no right-hand side gave a ratio that is an exact square";
}

// --- Faults ---

TEST(SolverFaults, NothingToSolveRaisesFloatingPointFault) {
    Model clamped = makePlate(2, 2);
    for (int node = 1; node <= clamped.NodeCount; ++node) {
        fixNode(clamped, node, true, true);
        loadNode(clamped, node, 10.0, 10.0);
    }
    assemble(clamped);
    ASSERT_EQ(clamped.EquationCount, 0);
    std::string message = floatingPointMessage(clamped);
    EXPECT_TRUE(contains(message, "nothing to solve")) << "'" << message << "'";

    Model empty = makePlate(2, 2, 100.0f, kCellEmpty);
    assemble(empty);
    message = floatingPointMessage(empty);
    EXPECT_TRUE(contains(message, "nothing to solve")) << "'" << message << "'";
}

TEST(SolverFaults, ZeroLoadRaisesFloatingPointFault) {
    Model m = makeCantilever(2, 3, 100.0f, 0.0);
    assemble(m);
    ASSERT_GT(m.EquationCount, 0);
    const std::string message = floatingPointMessage(m);
    EXPECT_TRUE(contains(message, "no load")) << "'" << message << "'";

    // A load on a fixed node only is no load at all.
    Model onSupport = makeCantilever(2, 3, 100.0f, 0.0);
    loadNode(onSupport, nodeAt(onSupport, 2, 1), 500.0, 500.0);
    assemble(onSupport);
    EXPECT_TRUE(contains(floatingPointMessage(onSupport), "no load"));
}

// --- The pieces ---

namespace {

// A hand-built lower store of n equations with the model's bounds: counts 0..n,
// slots 0..9 by 0..n.
struct LowerStore {
    explicit LowerStore(int equations) : n(equations) {
        count.redim(0, n);
        column.redim(0, kRowCapacity, 0, n);
        value.redim(0, kRowCapacity, 0, n);
        diagonal.redim(0, n);
        factor.redim(0, kRowCapacity, 0, n);
        invDiag.redim(0, n);
    }
    void add(int i, int j, double v) { // K(i, j) for j < i, in ascending j
        const int k = count(i) + 1;
        count(i) = static_cast<int16>(k);
        column(k, i) = static_cast<int16>(j);
        value(k, i) = v;
    }
    void factorize(double tolerance) {
        IncompleteCholesky(static_cast<int16>(n), static_cast<int16>(kRowCapacity), count, column,
                           value, diagonal, factor, invDiag, tolerance);
    }
    // (D + L) D^-1 (D + L)^T (i, j) from the factor.
    double preconditioner(int i, int j) const {
        auto l = [&](int r, int c) {
            if (r == c) {
                return 1.0 / invDiag(r);
            }
            for (int k = 1; k <= count(r); ++k) {
                if (column(k, r) == c) {
                    return factor(k, r);
                }
            }
            return 0.0;
        };
        double s = 0.0;
        for (int k = 1; k <= std::min(i, j); ++k) {
            s += l(i, k) * invDiag(k) * l(j, k);
        }
        return s;
    }

    int n;
    Array1<int16> count{"LowerCount"};
    Array2<int16> column{"LowerColumn"};
    Array2<double> value{"LowerValue"};
    Array1<double> diagonal{"DiagonalValue"};
    Array2<double> factor{"FactorLower"};
    Array1<double> invDiag{"FactorInvDiag"};
};

} // namespace

TEST(IncompleteCholesky, PivotAtOrBelowTheToleranceBecomesThePositiveTolerance) {
    LowerStore store(5);
    store.diagonal(1) = 1e-6;  // exactly the tolerance
    store.diagonal(2) = -1e-6; // its negative: replaced only because the test is <=
    store.diagonal(3) = -3e-7;
    store.diagonal(4) = -5.0; // a large negative pivot is left alone
    store.diagonal(5) = 2e-6;
    store.factorize(1e-6);
    EXPECT_EQ(store.invDiag(1), 1.0 / 1e-6);
    EXPECT_EQ(store.invDiag(2), 1.0 / 1e-6);
    EXPECT_EQ(store.invDiag(3), 1.0 / 1e-6);
    EXPECT_EQ(store.invDiag(4), -0.2);
    EXPECT_EQ(store.invDiag(5), 1.0 / 2e-6);
}

TEST(IncompleteCholesky, ComputedPivotOnTheBoundIsReplaced) {
    const double tolerance = std::ldexp(1.0, -20);
    LowerStore store(2);
    store.diagonal(1) = 1.0;
    store.add(2, 1, 1.0);
    store.diagonal(2) = 1.0 - tolerance; // pivot 1 - t - 1 = -t exactly
    store.factorize(tolerance);
    EXPECT_EQ(store.invDiag(2), 1.0 / tolerance);

    store.diagonal(2) = 1.0 - 2.0 * tolerance; // pivot -2t: kept, negative
    store.factorize(tolerance);
    EXPECT_EQ(store.invDiag(2), -1.0 / (2.0 * tolerance));
}

TEST(IncompleteCholesky, FullPatternGivesTheExactFactorization) {
    // With every coupling in the pattern nothing is dropped, so M = K.
    const int n = 6;
    LowerStore store(n);
    double k[n + 1][n + 1] = {};
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j <= n; ++j) {
            k[i][j] = (i == j) ? 10.0 + i : 1.0 / (i + j) + 0.1 * ((i * j) % 3);
        }
    }
    for (int i = 1; i <= n; ++i) {
        store.diagonal(i) = k[i][i];
        for (int j = 1; j < i; ++j) {
            store.add(i, j, k[i][j]);
        }
    }
    store.factorize(1e-6);
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j <= n; ++j) {
            EXPECT_NEAR(store.preconditioner(i, j), k[i][j], 1e-12 * 16.0) << i << ", " << j;
        }
    }
}

TEST(IncompleteCholesky, FillOutsideThePatternIsDroppedAndThePatternIsMatched) {
    // Rows 2 and 3 couple to 1 but not to each other, and row 4 to 2 and 3.
    LowerStore store(4);
    store.diagonal(1) = 4.0;
    store.diagonal(2) = 5.0;
    store.diagonal(3) = 6.0;
    store.diagonal(4) = 7.0;
    store.add(2, 1, 1.0);
    store.add(3, 1, 2.0);
    store.add(4, 2, -1.5);
    store.add(4, 3, 0.5);
    store.factorize(1e-6);
    EXPECT_EQ(store.count(3), 1);
    EXPECT_EQ(store.factor(1, 3), 2.0);
    // The defining property of the no-fill factor: M equals K on K's pattern.
    EXPECT_NEAR(store.preconditioner(1, 1), 4.0, 1e-14);
    EXPECT_NEAR(store.preconditioner(2, 2), 5.0, 1e-14);
    EXPECT_NEAR(store.preconditioner(3, 3), 6.0, 1e-14);
    EXPECT_NEAR(store.preconditioner(4, 4), 7.0, 1e-14);
    EXPECT_NEAR(store.preconditioner(2, 1), 1.0, 1e-14);
    EXPECT_NEAR(store.preconditioner(3, 1), 2.0, 1e-14);
    EXPECT_NEAR(store.preconditioner(4, 2), -1.5, 1e-14);
    EXPECT_NEAR(store.preconditioner(4, 3), 0.5, 1e-14);
    // ... and the dropped fill shows outside it.
    EXPECT_NEAR(store.preconditioner(3, 2), 0.5, 1e-14);
}

TEST(IncompleteCholesky, MatchesTheStiffnessOnItsPatternForARealModel) {
    Model m = supportedModels()[1].model;
    assemble(m);
    SolveEquations(m, kSolverTolerance);
    const DenseMatrix k = reference::assembleDense(m);
    LowerStore store(m.EquationCount);
    store.count = m.LowerCount;
    store.column = m.LowerColumn;
    store.factor = m.FactorLower;
    store.invDiag = m.FactorInvDiag;
    double largest = 0.0;
    for (int i = 1; i <= m.EquationCount; ++i) {
        largest = std::max(largest, std::fabs(k(i, i)));
    }
    for (int i = 1; i <= m.EquationCount; ++i) {
        EXPECT_NEAR(store.preconditioner(i, i), k(i, i), 1e-12 * largest) << i;
        for (int s = 1; s <= m.LowerCount(i); ++s) {
            const int j = m.LowerColumn(s, i);
            EXPECT_NEAR(store.preconditioner(i, j), k(i, j), 1e-12 * largest) << i << ", " << j;
        }
    }
}

TEST(SolverStores, SecondTranspositionLeavesTheUpperPatternUnchanged) {
    for (NamedModel& named : supportedModels()) {
        SCOPED_TRACE(named.name);
        Model& m = named.model;
        assemble(m);
        const Array1<int16> count = m.UpperCount;
        const Array2<int16> column = m.UpperColumn;
        const Array2<double> value = m.UpperValue;
        SolveEquations(m, kSolverTolerance);
        EXPECT_TRUE(m.UpperCount == count);
        EXPECT_TRUE(m.UpperColumn == column);
        EXPECT_TRUE(m.UpperValue == value);

        // The lower store is the upper one mirrored, ascending in its columns.
        const DenseMatrix k = reference::assembleDense(m);
        for (int i = 1; i <= m.EquationCount; ++i) {
            int slot = 0;
            for (int j = 1; j < i; ++j) {
                if (k(j, i) != 0.0) {
                    ++slot;
                    ASSERT_EQ(m.LowerColumn(slot, i), j) << "row " << i;
                    EXPECT_EQ(std::bit_cast<std::uint64_t>(m.LowerValue(slot, i)),
                              std::bit_cast<std::uint64_t>(k(j, i)));
                }
            }
            EXPECT_EQ(m.LowerCount(i), slot) << "row " << i;
            for (int s = slot + 1; s <= kRowCapacity; ++s) {
                EXPECT_EQ(m.LowerColumn(s, i), 0);
                EXPECT_EQ(m.LowerValue(s, i), 0.0);
            }
        }
    }
}

TEST(SolverStores, MatrixVectorProductEqualsTheDenseProductBitForBit) {
    // Summing a row as lower part, diagonal, upper part is summing it in ascending
    // column order; the entries left out are exact zeros.
    for (NamedModel& named : supportedModels()) {
        SCOPED_TRACE(named.name);
        Model& m = named.model;
        assemble(m);
        const int n = m.EquationCount;
        TransposeRows(static_cast<int16>(n), static_cast<int16>(kRowCapacity), m.UpperCount,
                      m.LowerCount, m.UpperColumn, m.LowerColumn, m.UpperValue, m.LowerValue,
                      m.TransposeFill);
        std::vector<double> x(static_cast<std::size_t>(n + 1), 0.0);
        Array1<double> xs("x", 0, n);
        Array1<double> y("y", 0, n);
        for (int i = 1; i <= n; ++i) {
            x[static_cast<std::size_t>(i)] = std::sin(0.7 * i) * 1e-3 + 1e-5 * i;
            xs(i) = x[static_cast<std::size_t>(i)];
        }
        MatrixVectorProduct(static_cast<int16>(n), static_cast<int16>(kRowCapacity), m.UpperCount,
                            m.LowerCount, m.UpperColumn, m.LowerColumn, m.UpperValue, m.LowerValue,
                            m.DiagonalValue, xs, y);
        const std::vector<double> expected =
            reference::multiplyDense(reference::assembleDense(m), x);
        for (int i = 1; i <= n; ++i) {
            EXPECT_EQ(std::bit_cast<std::uint64_t>(y(i)),
                      std::bit_cast<std::uint64_t>(expected[static_cast<std::size_t>(i)]))
                << "row " << i << ": " << y(i) << " vs " << expected[static_cast<std::size_t>(i)];
        }
    }
}

TEST(SolverStores, PreconditionerInvertsTheFactor) {
    Model m = supportedModels()[2].model;
    assemble(m);
    SolveEquations(m, kSolverTolerance);
    const int n = m.EquationCount;
    LowerStore store(n);
    store.count = m.LowerCount;
    store.column = m.LowerColumn;
    store.factor = m.FactorLower;
    store.invDiag = m.FactorInvDiag;
    Array1<double> r("r", 0, n);
    Array1<double> z("z", 0, n);
    for (int i = 1; i <= n; ++i) {
        r(i) = std::cos(1.3 * i);
    }
    ApplyPreconditioner(static_cast<int16>(n), static_cast<int16>(kRowCapacity), m.UpperCount,
                        m.LowerCount, m.UpperColumn, m.LowerColumn, m.FactorUpper, m.FactorLower,
                        m.FactorInvDiag, r, z);
    for (int i = 1; i <= n; ++i) {
        double s = 0.0;
        for (int j = 1; j <= n; ++j) {
            s += store.preconditioner(i, j) * z(j);
        }
        EXPECT_NEAR(s, r(i), 1e-9) << i;
    }
}
