#pragma once
// The stiffness matrix built the plain way, as an independent reference for the
// row store of the assembly: a full (n + 1) x (n + 1) square matrix filled by the
// element loops, then its strict upper triangle scanned row by row into the
// compressed store. Written as literally as possible, with no shortcut, so that
// any difference from the fast assembly is the fast assembly's.
//
// Needs the element matrix and the equation numbers of the model
// (CalcElementStiffness and NumberEquations must have run).
//
// solveLiteral is the same for the solver: the incomplete-Cholesky conjugate
// gradients step by step on the compressed store, every sum in the order the
// method prescribes, with plain loops and no kernel tricks, so that a fast solver
// can be held to the same bits.

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
    const int n = m.EquationCount;
    DenseMatrix k(n);
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            if (m.CellState(i, j) <= 0) {
                continue;
            }
            const int e = (i - 1) * m.CellColumnCount + j;
            for (int a = 1; a <= 8; ++a) {
                const int p = m.ElementDofs(e, a);
                if (p == 0) {
                    continue;
                }
                for (int b = 1; b <= 8; ++b) {
                    const int q = m.ElementDofs(e, b);
                    if (q != 0) {
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
    CompressedStore store;
    store.n = n;
    store.UpperCount.assign(static_cast<std::size_t>(n + 1), 0);
    store.UpperColumn.assign(static_cast<std::size_t>(n + 1) * (kRowCapacity + 1), 0);
    store.UpperValue.assign(static_cast<std::size_t>(n + 1) * (kRowCapacity + 1), 0.0);
    store.DiagonalValue.assign(static_cast<std::size_t>(n + 1), 0.0);
    for (int i = 1; i <= n; ++i) {
        int c = 0;
        for (int j = i + 1; j <= n; ++j) {
            if (k(i, j) != 0.0) {
                c = c + 1;
                if (c > kRowCapacity) {
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

// y = K x over the whole square, each row summed in ascending column order
// (x and y have indices 0..n; index 0 is ignored and y(0) = 0).
inline std::vector<double> multiplyDense(const DenseMatrix& k, const std::vector<double>& x) {
    const int n = k.size();
    std::vector<double> y(static_cast<std::size_t>(n + 1), 0.0);
    for (int i = 1; i <= n; ++i) {
        double s = 0.0;
        for (int j = 1; j <= n; ++j) {
            s = s + k(i, j) * x.at(static_cast<std::size_t>(j));
        }
        y.at(static_cast<std::size_t>(i)) = s;
    }
    return y;
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

// Solves K u = f (f with indices 0..n) from the zero start vector: transpose the
// upper store into a lower one, factorize without fill, transpose the factor
// into the upper pattern, iterate at most n + 10 times. A step size that cannot
// be computed throws std::domain_error.
inline LiteralSolution solveLiteral(const CompressedStore& k, const std::vector<double>& f,
                                    double tolerance) {
    const int n = k.n;
    const auto at = [](int s, int i) { return CompressedStore::slot(s, i); };
    const auto v = [](int i) { return static_cast<std::size_t>(i); };
    const std::size_t slots = static_cast<std::size_t>(n + 1) * (kRowCapacity + 1);

    // Each upper entry (i, j) appended to lower row j; rows visited in ascending order.
    std::vector<int> lowerCount(v(n + 1), 0);
    std::vector<int> lowerColumn(slots, 0);
    std::vector<double> lowerValue(slots, 0.0);
    for (int i = 1; i <= n; ++i) {
        for (int s = 1; s <= k.UpperCount.at(v(i)); ++s) {
            const int j = k.column(s, i);
            lowerCount.at(v(j)) = lowerCount.at(v(j)) + 1;
            lowerColumn.at(at(lowerCount.at(v(j)), j)) = i;
            lowerValue.at(at(lowerCount.at(v(j)), j)) = k.value(s, i);
        }
    }

    LiteralSolution out;
    out.factorLower.assign(slots, 0.0);
    out.factorInvDiag.assign(v(n + 1), 0.0);
    std::vector<double>& l = out.factorLower;
    std::vector<double>& invDiag = out.factorInvDiag;
    for (int i = 1; i <= n; ++i) {
        for (int s = 1; s <= lowerCount.at(v(i)); ++s) {
            const int j = lowerColumn.at(at(s, i));
            l.at(at(s, i)) = lowerValue.at(at(s, i));
            int p = 1;
            int q = 1;
            do {
                const int a = lowerColumn.at(at(p, j));
                const int b = lowerColumn.at(at(q, i));
                if (a > b) {
                    q = q + 1;
                } else if (a == b) {
                    l.at(at(s, i)) =
                        l.at(at(s, i)) - invDiag.at(v(b)) * l.at(at(p, j)) * l.at(at(q, i));
                    p = p + 1;
                    q = q + 1;
                } else {
                    p = p + 1;
                }
            } while (q <= lowerCount.at(v(i)) && p <= lowerCount.at(v(j)));
        }
        double d = k.DiagonalValue.at(v(i));
        for (int s = 1; s <= lowerCount.at(v(i)); ++s) {
            d = d - l.at(at(s, i)) * l.at(at(s, i)) * invDiag.at(v(lowerColumn.at(at(s, i))));
        }
        if (std::fabs(d) <= tolerance) {
            d = tolerance;
        }
        invDiag.at(v(i)) = 1.0 / d;
    }

    // The factor in the upper pattern: entry of row i at column j > i holds L(j, i).
    std::vector<int> upperCount(v(n + 1), 0);
    std::vector<int> upperColumn(slots, 0);
    std::vector<double> factorUpper(slots, 0.0);
    for (int i = 1; i <= n; ++i) {
        for (int s = 1; s <= lowerCount.at(v(i)); ++s) {
            const int j = lowerColumn.at(at(s, i));
            upperCount.at(v(j)) = upperCount.at(v(j)) + 1;
            upperColumn.at(at(upperCount.at(v(j)), j)) = i;
            factorUpper.at(at(upperCount.at(v(j)), j)) = l.at(at(s, i));
        }
    }

    const auto product = [&](const std::vector<double>& x, std::vector<double>& y) {
        for (int i = 1; i <= n; ++i) {
            double s = 0.0;
            for (int c = 1; c <= lowerCount.at(v(i)); ++c) {
                s = s + lowerValue.at(at(c, i)) * x.at(v(lowerColumn.at(at(c, i))));
            }
            s = s + k.DiagonalValue.at(v(i)) * x.at(v(i));
            for (int c = 1; c <= k.UpperCount.at(v(i)); ++c) {
                s = s + k.value(c, i) * x.at(v(k.column(c, i)));
            }
            y.at(v(i)) = s;
        }
    };
    const auto precondition = [&](const std::vector<double>& r, std::vector<double>& z) {
        for (int i = 1; i <= n; ++i) {
            double s = r.at(v(i));
            for (int c = 1; c <= lowerCount.at(v(i)); ++c) {
                s = s - l.at(at(c, i)) * z.at(v(lowerColumn.at(at(c, i))));
            }
            z.at(v(i)) = s * invDiag.at(v(i));
        }
        for (int i = n; i >= 1; --i) {
            double t = 0.0;
            for (int c = 1; c <= upperCount.at(v(i)); ++c) {
                t = t + factorUpper.at(at(c, i)) * z.at(v(upperColumn.at(at(c, i))));
            }
            z.at(v(i)) = z.at(v(i)) - t * invDiag.at(v(i));
        }
    };
    const auto divide = [](double a, double b) {
        const double result = a / b;
        if (b == 0.0 || !std::isfinite(result)) {
            throw std::domain_error("a step size of the conjugate gradients cannot be computed");
        }
        return result;
    };

    std::vector<double>& x = out.x;
    x.assign(v(n + 1), 0.0);
    std::vector<double> r(v(n + 1), 0.0);
    std::vector<double> z(v(n + 1), 0.0);
    std::vector<double> p(v(n + 1), 0.0);
    std::vector<double> q(v(n + 1), 0.0);
    product(x, q);
    for (int i = 1; i <= n; ++i) {
        r.at(v(i)) = f.at(v(i)) - q.at(v(i));
    }
    precondition(r, z);
    double rho = 0.0;
    for (int i = 1; i <= n; ++i) {
        p.at(v(i)) = z.at(v(i));
        rho = rho + r.at(v(i)) * z.at(v(i));
    }
    double ff = 0.0;
    for (int i = 1; i <= n; ++i) {
        ff = ff + f.at(v(i)) * f.at(v(i));
    }
    for (int iteration = 1; iteration <= n + 10; ++iteration) {
        out.iterations = iteration;
        product(p, q);
        double pq = 0.0;
        for (int i = 1; i <= n; ++i) {
            pq = pq + p.at(v(i)) * q.at(v(i));
        }
        const double alpha = divide(rho, pq);
        double rr = 0.0;
        for (int i = 1; i <= n; ++i) {
            x.at(v(i)) = x.at(v(i)) + alpha * p.at(v(i));
            r.at(v(i)) = r.at(v(i)) - alpha * q.at(v(i));
            rr = rr + r.at(v(i)) * r.at(v(i));
        }
        out.residualRatio = rr / ff;
        if (out.residualRatio <= tolerance * tolerance) {
            out.converged = true;
            return out;
        }
        precondition(r, z);
        double rhoNext = 0.0;
        for (int i = 1; i <= n; ++i) {
            rhoNext = rhoNext + r.at(v(i)) * z.at(v(i));
        }
        const double beta = divide(rhoNext, rho);
        rho = rhoNext;
        for (int i = 1; i <= n; ++i) {
            p.at(v(i)) = z.at(v(i)) + beta * p.at(v(i));
        }
    }
    return out;
}

} // namespace quillane::reference
