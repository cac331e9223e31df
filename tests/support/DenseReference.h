#pragma once
// Plain, literal references for the fast assembly and solver, so that any
// difference from them is the fast code's.
//
// assembleDense / compressDense: the stiffness matrix as a full (n + 1) x (n + 1)
// square filled by the element loops, its strict upper triangle then scanned row
// by row into the compressed store. Needs the element matrix and the equation
// numbers of the model (CalcElementStiffness and NumberEquations must have run).
//
// solveLiteral: the incomplete-Cholesky conjugate gradients step by step on the
// compressed store, every sum in the order the method prescribes, with plain
// loops and no kernel tricks, so that a fast solver can be held to the same bits.

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <vector>

#include "model/Model.h"

namespace quillane::reference {

// A square matrix with indices 0..n in both directions; index 0 is unused.
class DenseMatrix {
  public:
    explicit DenseMatrix(int n)
        : n_(n), values_(static_cast<std::size_t>(n + 1) * static_cast<std::size_t>(n + 1), 0.0) {}

    int size() const noexcept { return n_; }
    double& operator()(int p, int q) { return values_.at(index(p, q)); }
    double operator()(int p, int q) const { return values_.at(index(p, q)); }

  private:
    std::size_t index(int p, int q) const {
        return static_cast<std::size_t>(p) * static_cast<std::size_t>(n_ + 1) +
               static_cast<std::size_t>(q);
    }

    int n_;
    std::vector<double> values_;
};

// The compressed store as plain vectors, laid out like the model's: slot s
// (0..kRowCapacity) of equation i (0..n) at i * (kRowCapacity + 1) + s.
struct CompressedStore {
    int n = 0;
    std::vector<int16> UpperCount;     // 0..n
    std::vector<int16> UpperColumn;    // slots 0..9 by 0..n
    std::vector<double> UpperValue;    // slots 0..9 by 0..n
    std::vector<double> DiagonalValue; // 0..n

    static std::size_t slot(int s, int i) {
        return static_cast<std::size_t>(i) * (kRowCapacity + 1) + static_cast<std::size_t>(s);
    }
    int16 column(int s, int i) const { return UpperColumn.at(slot(s, i)); }
    double value(int s, int i) const { return UpperValue.at(slot(s, i)); }
};

// For every present cell in row-major order, every element entry (a, b) whose
// two equation numbers are not 0 is added into K(p, q).
inline DenseMatrix assembleDense(const Model& m) {
    DenseMatrix k(m.EquationCount);
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            const int e = (i - 1) * m.CellColumnCount + j;
            for (int a = 1; a <= 8 && m.CellState(i, j) > 0; ++a) {
                for (int b = 1; b <= 8; ++b) {
                    const int p = m.ElementDofs(e, a);
                    const int q = m.ElementDofs(e, b);
                    if (p != 0 && q != 0) {
                        k(p, q) = k(p, q) + m.ElementStiffness(a, b);
                    }
                }
            }
        }
    }
    return k;
}

// Row i keeps, in ascending column order, every K(i, j), j > i, that is not
// exactly 0.0, and its diagonal apart. A row with more than kRowCapacity such
// entries throws std::out_of_range.
inline CompressedStore compressDense(const DenseMatrix& k) {
    const int n = k.size();
    const std::size_t slots = CompressedStore::slot(0, n + 1);
    CompressedStore store{n, std::vector<int16>(static_cast<std::size_t>(n + 1), 0),
                          std::vector<int16>(slots, 0), std::vector<double>(slots, 0.0),
                          std::vector<double>(static_cast<std::size_t>(n + 1), 0.0)};
    for (int i = 1; i <= n; ++i) {
        int c = 0;
        for (int j = i + 1; j <= n; ++j) {
            if (k(i, j) != 0.0) {
                if (++c > kRowCapacity) {
                    throw std::out_of_range("a row of the compressed store is full");
                }
                store.UpperColumn.at(CompressedStore::slot(c, i)) = static_cast<int16>(j);
                store.UpperValue.at(CompressedStore::slot(c, i)) = k(i, j);
            }
        }
        store.UpperCount.at(static_cast<std::size_t>(i)) = static_cast<int16>(c);
        store.DiagonalValue.at(static_cast<std::size_t>(i)) = k(i, i);
    }
    return store;
}

// The outcome of solveLiteral: the solution (index 0 unused), the incomplete
// factor and the iteration's report.
struct LiteralSolution {
    std::vector<double> x;
    std::vector<double> factorLower;   // slots 0..9 by 0..n, as CompressedStore
    std::vector<double> factorInvDiag; // 0..n
    int iterations = 0;
    bool converged = false;
    double residualRatio = 0.0;
};

// A row store with the slots of CompressedStore.
struct LiteralRows {
    std::vector<int> count;
    std::vector<int> column;
    std::vector<double> value;
};

// Solves K u = f (f with indices 0..n) from the zero start vector: transpose the
// upper store into a lower one, factorize without fill, transpose the factor
// into the upper pattern, iterate at most n + 10 times. A step size that cannot
// be computed throws std::domain_error.
inline LiteralSolution solveLiteral(const CompressedStore& k, const std::vector<double>& f,
                                    double tolerance) {
    const int n = k.n;
    const auto at = [](int s, int i) { return CompressedStore::slot(s, i); };
    const std::size_t slots = at(0, n + 1);
    const std::size_t size = static_cast<std::size_t>(n + 1);

    // Each entry (i, j) is appended to row j, rows visited in ascending order.
    const auto transpose = [&](const auto& count, const auto& column,
                               const std::vector<double>& value) {
        LiteralRows t{std::vector<int>(size, 0), std::vector<int>(slots, 0),
                      std::vector<double>(slots, 0.0)};
        for (int i = 1; i <= n; ++i) {
            for (int s = 1; s <= count[i]; ++s) {
                const int j = column[at(s, i)];
                t.count[j] = t.count[j] + 1;
                t.column[at(t.count[j], j)] = i;
                t.value[at(t.count[j], j)] = value[at(s, i)];
            }
        }
        return t;
    };
    const LiteralRows lower = transpose(k.UpperCount, k.UpperColumn, k.UpperValue);

    LiteralSolution out{std::vector<double>(size, 0.0), std::vector<double>(slots, 0.0),
                        std::vector<double>(size, 0.0)};
    std::vector<double>& l = out.factorLower;
    std::vector<double>& invDiag = out.factorInvDiag;
    for (int i = 1; i <= n; ++i) {
        for (int s = 1; s <= lower.count[i]; ++s) {
            const int j = lower.column[at(s, i)];
            l[at(s, i)] = lower.value[at(s, i)];
            int p = 1;
            int q = 1;
            do {
                const int a = lower.column[at(p, j)];
                const int b = lower.column[at(q, i)];
                if (a == b) {
                    l[at(s, i)] = l[at(s, i)] - invDiag[b] * l[at(p, j)] * l[at(q, i)];
                }
                p = a <= b ? p + 1 : p;
                q = a >= b ? q + 1 : q;
            } while (q <= lower.count[i] && p <= lower.count[j]);
        }
        double d = k.DiagonalValue[i];
        for (int s = 1; s <= lower.count[i]; ++s) {
            d = d - l[at(s, i)] * l[at(s, i)] * invDiag[lower.column[at(s, i)]];
        }
        invDiag[i] = 1.0 / (std::fabs(d) <= tolerance ? tolerance : d);
    }
    // The factor in the upper pattern: entry of row i at column j > i holds L(j, i).
    const LiteralRows upper = transpose(lower.count, lower.column, l);

    const auto product = [&](const std::vector<double>& x, std::vector<double>& y) {
        for (int i = 1; i <= n; ++i) {
            double s = 0.0;
            for (int c = 1; c <= lower.count[i]; ++c) {
                s = s + lower.value[at(c, i)] * x[lower.column[at(c, i)]];
            }
            s = s + k.DiagonalValue[i] * x[i];
            for (int c = 1; c <= k.UpperCount[i]; ++c) {
                s = s + k.UpperValue[at(c, i)] * x[k.UpperColumn[at(c, i)]];
            }
            y[i] = s;
        }
    };
    const auto precondition = [&](const std::vector<double>& r, std::vector<double>& z) {
        for (int i = 1; i <= n; ++i) {
            double s = r[i];
            for (int c = 1; c <= lower.count[i]; ++c) {
                s = s - l[at(c, i)] * z[lower.column[at(c, i)]];
            }
            z[i] = s * invDiag[i];
        }
        for (int i = n; i >= 1; --i) {
            double t = 0.0;
            for (int c = 1; c <= upper.count[i]; ++c) {
                t = t + upper.value[at(c, i)] * z[upper.column[at(c, i)]];
            }
            z[i] = z[i] - t * invDiag[i];
        }
    };
    const auto dot = [&](const std::vector<double>& a, const std::vector<double>& b) {
        double s = 0.0;
        for (int i = 1; i <= n; ++i) {
            s = s + a[i] * b[i];
        }
        return s;
    };
    const auto divide = [](double a, double b) {
        if (b == 0.0 || !std::isfinite(a / b)) {
            throw std::domain_error("a step size of the conjugate gradients cannot be computed");
        }
        return a / b;
    };

    std::vector<double>& x = out.x;
    std::vector<double> r = f; // f - K x for the zero start vector x, exactly
    std::vector<double> z(size, 0.0);
    std::vector<double> q(size, 0.0);
    precondition(r, z);
    std::vector<double> p = z;
    double rho = dot(r, z);
    const double ff = dot(f, f);
    for (int iteration = 1; iteration <= n + 10; ++iteration) {
        out.iterations = iteration;
        product(p, q);
        const double alpha = divide(rho, dot(p, q));
        for (int i = 1; i <= n; ++i) {
            x[i] = x[i] + alpha * p[i];
            r[i] = r[i] - alpha * q[i];
        }
        out.residualRatio = dot(r, r) / ff;
        if (out.residualRatio <= tolerance * tolerance) {
            out.converged = true;
            return out;
        }
        precondition(r, z);
        const double rhoNext = dot(r, z);
        const double beta = divide(rhoNext, rho);
        rho = rhoNext;
        for (int i = 1; i <= n; ++i) {
            p[i] = z[i] + beta * p[i];
        }
    }
    return out;
}

} // namespace quillane::reference
