#include "fem/Solver.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <exception>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "fem/SweepPlan.h"
#include "fem/VectorState.h"

namespace quillane {

namespace {

// A row store seen as plain arrays: entry k of row i is at i * stride + k.
struct Rows {
    const int16* count;
    const int16* column;
    const double* value;
};

// ---- Range checks, made once per call; the kernels below trust them. ----

// Checks the arrays a procedure works on against n equations and the row capacity:
// vectors cover 0..n; slot stores hold slots 0..capacity of equations 0..n and share
// one layout (slot k of equation i at i * stride + k); row patterns keep their counts
// within the capacity and their columns within the equations they may couple to.
class StoreCheck {
  public:
    StoreCheck(int n, int capacity, int stride) : n_(n), capacity_(capacity), stride_(stride) {
        if (capacity < 1 || capacity > kRowCapacity) {
            raiseSubscript("A row capacity of " + std::to_string(capacity) +
                           " does not match the stores' nine slots.");
        }
    }

    template <class T>
    const StoreCheck& vectors(std::initializer_list<const Array1<T>*> list) const {
        for (const Array1<T>* a : list) {
            if (a->empty() || a->lo() > 0 || a->hi() < n_) {
                raiseSubscript(std::string(a->name()) + " does not cover the equations 0 to " +
                               std::to_string(n_) + ".");
            }
        }
        return *this;
    }

    template <class T> const StoreCheck& slots(std::initializer_list<const Array2<T>*> list) const {
        for (const Array2<T>* a : list) {
            if (a->empty() || a->lo1() != 0 || a->lo2() != 0 || a->hi2() < n_ ||
                a->hi1() < capacity_ || a->stride() != stride_) {
                raiseSubscript(std::string(a->name()) + " does not hold " +
                               std::to_string(capacity_) +
                               " slots for each of the equations 1 to " + std::to_string(n_) + ".");
            }
        }
        return *this;
    }

    // Upper rows name columns above their own equation, lower rows columns below it.
    const StoreCheck& rows(const Array1<int16>& count, const Array2<int16>& column,
                           bool upper) const {
        vectors<int16>({&count});
        slots<int16>({&column});
        const int16* c = count.data();
        for (int i = 1; i <= n_; ++i) {
            if (c[i] < 0 || c[i] > capacity_) {
                raiseSubscript(std::string(column.name()) + " row " + std::to_string(i) +
                               " holds " + std::to_string(c[i]) + " entries; a row has " +
                               std::to_string(capacity_) + " slots.");
            }
            const int16* col = column.data() + static_cast<std::ptrdiff_t>(i) * stride_;
            for (int k = 1; k <= c[i]; ++k) {
                const bool inside =
                    upper ? (col[k] > i && col[k] <= n_) : (col[k] >= 1 && col[k] < i);
                if (!inside) {
                    raiseSubscript(std::string(column.name()) + " row " + std::to_string(i) +
                                   " names column " + std::to_string(col[k]) +
                                   ", outside the equations it may couple to.");
                }
            }
        }
        return *this;
    }

  private:
    int n_;
    int capacity_;
    int stride_;
};

// ---- The unchecked inner entry points of the procedures, on plain arrays. Index i
// of a vector is element i; entry k of row i of a slot store is at i * stride + k. ----

inline double productRow(int i, int stride, const Rows& lower, const double* diagonal,
                         const Rows& upper, const double* x) {
    const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride;
    const int16* lc = lower.column + base;
    const double* lv = lower.value + base;
    const int16* uc = upper.column + base;
    const double* uv = upper.value + base;
    double s = 0.0;
    for (int k = 1, end = lower.count[i]; k <= end; ++k) {
        s = s + lv[k] * x[lc[k]];
    }
    s = s + diagonal[i] * x[i];
    for (int k = 1, end = upper.count[i]; k <= end; ++k) {
        s = s + uv[k] * x[uc[k]];
    }
    return s;
}

void matrixVectorProduct(int n, int stride, const Rows& lower, const double* diagonal,
                         const Rows& upper, const double* x, double* y) {
    for (int i = 1; i <= n; ++i) {
        y[i] = productRow(i, stride, lower, diagonal, upper, x);
    }
}

// y = K x from the upper store alone, returning the sum of x(i) y(i) in ascending
// order. The lower store is the upper one transposed, so the lower part of row c
// is the upper entries (i, c) of the rows above it, met in ascending i: scattering
// v x(i) into a running sum of row c as row i is read adds them in the same order,
// and v x(i) is the same product as x(i) v. Every row's sum and the dot product
// thus come out bit for bit as in the row-by-row product, while the matrix is
// read once instead of twice. `lowerSum` (1..n) must be zero on entry and is left
// zero.
double productDotFromUpper(int n, int stride, const Rows& upper, const double* diagonal,
                           const double* x, double* y, double* lowerSum) {
    double dot = 0.0;
    for (int i = 1; i <= n; ++i) {
        const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride;
        const int16* uc = upper.column + base;
        const double* uv = upper.value + base;
        const double xi = x[i];
        double s = lowerSum[i];
        lowerSum[i] = 0.0;
        s = s + diagonal[i] * xi;
        for (int k = 1, end = upper.count[i]; k <= end; ++k) {
            const int c = uc[k];
            const double v = uv[k];
            s = s + v * x[c];
            lowerSum[c] = lowerSum[c] + v * xi;
        }
        y[i] = s;
        dot = dot + xi * s;
    }
    return dot;
}

// y = K x with the row-by-row product, returning the ascending sum of x(i) y(i).
double productDot(int n, int stride, const Rows& lower, const double* diagonal, const Rows& upper,
                  const double* x, double* y) {
    double dot = 0.0;
    for (int i = 1; i <= n; ++i) {
        const double s = productRow(i, stride, lower, diagonal, upper, x);
        y[i] = s;
        dot = dot + x[i] * s;
    }
    return dot;
}

// True when the lower store holds exactly the upper store's entries transposed,
// in ascending columns, with the same bits: what the first transposition makes.
bool lowerMirrorsUpper(int n, int stride, const Rows& lower, const Rows& upper) {
    std::vector<int> seen(static_cast<std::size_t>(n) + 1, 0);
    for (int i = 1; i <= n; ++i) {
        const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride;
        for (int k = 1, end = upper.count[i]; k <= end; ++k) {
            const int c = upper.column[base + k];
            const int slot = ++seen[static_cast<std::size_t>(c)];
            const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(c) * stride + slot;
            if (slot > lower.count[c] || lower.column[at] != i ||
                std::bit_cast<std::uint64_t>(lower.value[at]) !=
                    std::bit_cast<std::uint64_t>(upper.value[base + k])) {
                return false;
            }
        }
    }
    for (int c = 1; c <= n; ++c) {
        if (seen[static_cast<std::size_t>(c)] != lower.count[c]) {
            return false;
        }
    }
    return true;
}

void applyPreconditioner(int n, int stride, const Rows& factorLower, const Rows& factorUpper,
                         const double* invDiag, const double* r, double* z) {
    for (int i = 1; i <= n; ++i) {
        const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride;
        const int16* c = factorLower.column + base;
        const double* v = factorLower.value + base;
        double s = r[i];
        for (int k = 1, end = factorLower.count[i]; k <= end; ++k) {
            s = s - v[k] * z[c[k]];
        }
        z[i] = s * invDiag[i];
    }
    for (int i = n; i >= 1; --i) {
        const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride;
        const int16* c = factorUpper.column + base;
        const double* v = factorUpper.value + base;
        double t = 0.0;
        for (int k = 1, end = factorUpper.count[i]; k <= end; ++k) {
            t = t + v[k] * z[c[k]];
        }
        z[i] = z[i] - t * invDiag[i];
    }
}

double checkedStep(double numerator, double denominator, int n, double loadNormSquared) {
    if (denominator == 0.0) {
        if (n == 0) {
            raiseFloatingPoint(
                "There is nothing to solve: no node of the material is free to move (no cell "
                "holds material, or every node of the material is fixed). The solver's first "
                "step divided by zero.");
        }
        if (loadNormSquared == 0.0) {
            raiseFloatingPoint(
                "No load acts on a free node, so the plate carries no force and the solver's "
                "first step divided zero by zero. Apply a load to a node that is not fixed.");
        }
        raiseFloatingPoint("The solver broke down: a step size divided by zero. The structure "
                           "may be unsupported or fall apart into pieces.");
    }
    const double step = numerator / denominator;
    if (!std::isfinite(step)) {
        raiseFloatingPoint("The solver's step size overflowed. The structure may be "
                           "unsupported or fall apart into pieces.");
    }
    return step;
}

// The iteration of PreconditionedCG on the threads of `pool`, each thread working on
// its own strips (see SweepPlan.h). Every row's sum is the one the single thread
// makes; the dot products are made of the products each thread leaves in `w` and
// added by thread 0 in ascending order, so every bit is the same. The start
// (residual, first preconditioning, rho) is made before, by the caller.
class ParallelIteration {
  public:
    ParallelIteration(const SweepPlan& plan, int threads, int n, int stride, const Rows& lower,
                      const Rows& upper, const Rows& factorLower, const Rows& factorUpper,
                      const double* diagonal, const double* invDiag, double* x, double* r,
                      double* p, double* z, double* q)
        : plan_(plan), n_(n), stride_(stride), lower_(lower), upper_(upper),
          factorLower_(factorLower), factorUpper_(factorUpper), diagonal_(diagonal),
          invDiag_(invDiag), x_(x), r_(r), p_(p), z_(z), q_(q), barrier_(threads),
          w_(static_cast<std::size_t>(n) + 1, 0.0),
          progress_(static_cast<std::size_t>(4 * plan.strips)) {}

    SolverReport run(WorkerPool& pool, int limit, double epsilonSquared, double rho,
                     double loadNormSquared) {
        limit_ = limit;
        epsilonSquared_ = epsilonSquared;
        rho_ = rho;
        loadNormSquared_ = loadNormSquared;
        report_.threads = plan_.strips;
        pool.run([this](int t) { work(t); });
        if (fault_) {
            std::rethrow_exception(fault_);
        }
        return report_;
    }

  private:
    // The four counters of strip t: forward head and row, backward head and row.
    std::atomic<int>& counter(int which, int t) {
        const int index = which * plan_.strips + t;
        return progress_[static_cast<std::size_t>(index)].value;
    }
    std::atomic<int>& forwardHead(int t) { return counter(0, t); }
    std::atomic<int>& forwardDone(int t) { return counter(1, t); }
    std::atomic<int>& backwardHead(int t) { return counter(2, t); }
    std::atomic<int>& backwardDone(int t) { return counter(3, t); }

    // Thread 0 adds w(1..n) in ascending order.
    double sum() const {
        double s = 0.0;
        for (int i = 1; i <= n_; ++i) {
            s = s + w_[static_cast<std::size_t>(i)];
        }
        return s;
    }

    // Thread 0's part between two barriers; a fault stops every thread.
    template <class F> bool decide(int t, F&& f) {
        if (t == 0) {
            try {
                f();
            } catch (...) {
                fault_ = std::current_exception();
                stop_ = true;
            }
        }
        barrier_.wait();
        return !stop_;
    }

    template <class F> void forEachOwn(int t, F&& f) {
        if (t >= plan_.strips) {
            return;
        }
        for (int k = 0; k < plan_.rows; ++k) {
            const Segment& s = plan_.at(k, t);
            for (int i = s.begin; i < s.end; ++i) {
                f(i);
            }
        }
    }

    // q = K p and w = p q over the rows [from, to), four rows at a time: each row's
    // sum is a chain of dependent additions, so running four chains side by side
    // keeps the core busy while every sum keeps its own order.
    void productRows(int from, int to) {
        int i = from;
        for (; i + 4 <= to; i += 4) {
            double s[4];
            int lowerEnd = 0;
            int upperEnd = 0;
            for (int r = 0; r < 4; ++r) {
                s[r] = 0.0;
                lowerEnd = std::max(lowerEnd, static_cast<int>(lower_.count[i + r]));
                upperEnd = std::max(upperEnd, static_cast<int>(upper_.count[i + r]));
            }
            for (int k = 1; k <= lowerEnd; ++k) {
                for (int r = 0; r < 4; ++r) {
                    if (k <= lower_.count[i + r]) {
                        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(i + r) * stride_ + k;
                        s[r] = s[r] + lower_.value[at] * p_[lower_.column[at]];
                    }
                }
            }
            for (int r = 0; r < 4; ++r) {
                s[r] = s[r] + diagonal_[i + r] * p_[i + r];
            }
            for (int k = 1; k <= upperEnd; ++k) {
                for (int r = 0; r < 4; ++r) {
                    if (k <= upper_.count[i + r]) {
                        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(i + r) * stride_ + k;
                        s[r] = s[r] + upper_.value[at] * p_[upper_.column[at]];
                    }
                }
            }
            for (int r = 0; r < 4; ++r) {
                q_[i + r] = s[r];
                const int e = i + r;
                w_[static_cast<std::size_t>(e)] = p_[e] * s[r];
            }
        }
        for (; i < to; ++i) {
            const double s = productRow(i, stride_, lower_, diagonal_, upper_, p_);
            q_[i] = s;
            w_[static_cast<std::size_t>(i)] = p_[i] * s;
        }
    }

    void forwardEquation(int i) {
        const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride_;
        const int16* c = factorLower_.column + base;
        const double* v = factorLower_.value + base;
        double s = r_[i];
        for (int k = 1, end = factorLower_.count[i]; k <= end; ++k) {
            s = s - v[k] * z_[c[k]];
        }
        z_[i] = s * invDiag_[i];
    }

    void backwardEquation(int i) {
        const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride_;
        const int16* c = factorUpper_.column + base;
        const double* v = factorUpper_.value + base;
        double t = 0.0;
        for (int k = 1, end = factorUpper_.count[i]; k <= end; ++k) {
            t = t + v[k] * z_[c[k]];
        }
        const double zi = z_[i] - t * invDiag_[i];
        z_[i] = zi;
        w_[static_cast<std::size_t>(i)] = r_[i] * zi;
    }

    // The forward sweep of strip t. Only the last node column of a row couples to the
    // right neighbour's row below, so that wait comes as late as it can.
    void forwardSweep(int t) {
        const int strips = plan_.strips;
        const auto run = [this](int from, int to) {
            for (int i = from; i < to; ++i) {
                forwardEquation(i);
            }
        };
        for (int k = 0; k < plan_.rows; ++k) {
            if (t > 0) {
                WaitFor(forwardDone(t - 1), k + 1);
            }
            const Segment& s = plan_.at(k, t);
            const auto waitRight = [&] {
                if (t + 1 < strips) {
                    WaitFor(forwardHead(t + 1), k);
                }
            };
            if (s.head <= s.tail) {
                run(s.begin, s.head);
                forwardHead(t).store(k + 1, std::memory_order_release);
                run(s.head, s.tail);
                waitRight();
                run(s.tail, s.end);
            } else { // one node column: its first is its last
                waitRight();
                run(s.begin, s.end);
                forwardHead(t).store(k + 1, std::memory_order_release);
            }
            forwardDone(t).store(k + 1, std::memory_order_release);
        }
    }

    // The mirror image: rows from the top, each strip from its right end; only the
    // first node column couples to the left neighbour's row above.
    void backwardSweep(int t) {
        const int strips = plan_.strips;
        const auto run = [this](int from, int to) {
            for (int i = to - 1; i >= from; --i) {
                backwardEquation(i);
            }
        };
        for (int step = 0; step < plan_.rows; ++step) {
            if (t + 1 < strips) {
                WaitFor(backwardDone(t + 1), step + 1);
            }
            const Segment& s = plan_.at(plan_.rows - 1 - step, t);
            const auto waitLeft = [&] {
                if (t > 0) {
                    WaitFor(backwardHead(t - 1), step);
                }
            };
            if (s.head <= s.tail) {
                run(s.tail, s.end);
                backwardHead(t).store(step + 1, std::memory_order_release);
                run(s.head, s.tail);
                waitLeft();
                run(s.begin, s.head);
            } else {
                waitLeft();
                run(s.begin, s.end);
                backwardHead(t).store(step + 1, std::memory_order_release);
            }
            backwardDone(t).store(step + 1, std::memory_order_release);
        }
    }

    void work(int t) {
        ClearUpperVectorState();
        const bool sweeps = t < plan_.strips;
        for (int iteration = 1; iteration <= limit_; ++iteration) {
            if (t < plan_.strips) {
                for (int k = 0; k < plan_.rows; ++k) {
                    const Segment& s = plan_.at(k, t);
                    productRows(s.begin, s.end);
                }
            }
            barrier_.wait();
            if (!decide(t, [&] {
                    report_.iterations = iteration;
                    alpha_ = checkedStep(rho_, sum(), n_, loadNormSquared_);
                })) {
                return;
            }
            const double alpha = alpha_;
            forEachOwn(t, [&](int i) {
                x_[i] = x_[i] + alpha * p_[i];
                const double ri = r_[i] - alpha * q_[i];
                r_[i] = ri;
                w_[static_cast<std::size_t>(i)] = ri * ri;
            });
            if (sweeps) {
                for (int k = 0; k < 4; ++k) {
                    counter(k, t).store(0, std::memory_order_relaxed);
                }
            }
            barrier_.wait();
            if (!decide(t, [&] {
                    report_.residualRatio = sum() / loadNormSquared_;
                    if (!std::isfinite(report_.residualRatio)) {
                        raiseFloatingPoint("The solver's residual overflowed. The structure may "
                                           "be unsupported or fall apart into pieces.");
                    }
                    if (report_.residualRatio <= epsilonSquared_) {
                        report_.converged = true;
                        stop_ = true;
                    }
                })) {
                return;
            }
            if (sweeps) {
                forwardSweep(t);
            }
            barrier_.wait();
            if (sweeps) {
                backwardSweep(t);
            }
            barrier_.wait();
            if (!decide(t, [&] {
                    const double rhoNext = sum();
                    beta_ = checkedStep(rhoNext, rho_, n_, loadNormSquared_);
                    rho_ = rhoNext;
                })) {
                return;
            }
            const double beta = beta_;
            forEachOwn(t, [&](int i) { p_[i] = z_[i] + beta * p_[i]; });
            barrier_.wait();
        }
    }

    const SweepPlan& plan_;
    int n_;
    int stride_;
    Rows lower_;
    Rows upper_;
    Rows factorLower_;
    Rows factorUpper_;
    const double* diagonal_;
    const double* invDiag_;
    double* x_;
    double* r_;
    double* p_;
    double* z_;
    double* q_;
    SpinBarrier barrier_;
    std::vector<double> w_;
    std::vector<Progress> progress_;
    int limit_ = 0;
    double epsilonSquared_ = 0.0;
    double rho_ = 0.0;
    double loadNormSquared_ = 0.0;
    // Written by thread 0 before a barrier, read by all after it.
    double alpha_ = 0.0;
    double beta_ = 0.0;
    bool stop_ = false;
    std::exception_ptr fault_;
    SolverReport report_;
};

} // namespace

void TransposeRows(int16 n, int16 capacity, const Array1<int16>& countIn, Array1<int16>& countOut,
                   const Array2<int16>& columnIn, Array2<int16>& columnOut,
                   const Array2<double>& valueIn, Array2<double>& valueOut, Array1<int16>& fill) {
    const int stride = columnIn.stride();
    StoreCheck(n, capacity, stride)
        .vectors<int16>({&countIn, &countOut, &fill})
        .slots<int16>({&columnIn, &columnOut})
        .slots<double>({&valueIn, &valueOut});

    const int16* cin = countIn.data();
    int16* cout = countOut.data();
    const int16* colIn = columnIn.data();
    int16* colOut = columnOut.data();
    const double* valIn = valueIn.data();
    double* valOut = valueOut.data();
    int16* fillCount = fill.data();

    for (int i = 1; i <= n; ++i) {
        cout[i] = 0;
        const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride;
        for (int k = 1; k <= capacity; ++k) {
            colOut[base + k] = 0;
            valOut[base + k] = 0.0;
        }
    }
    for (int i = 1; i <= n; ++i) {
        const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride;
        const int count = cin[i];
        if (count < 0 || count > capacity) {
            raiseSubscript("Row " + std::to_string(i) + " of " + countIn.name() + " holds " +
                           std::to_string(count) + " entries; a row has " +
                           std::to_string(capacity) + " slots.");
        }
        // Two passes over the row: reserve each entry's slot, then store it.
        for (int k = 1; k <= count; ++k) {
            const int j = colIn[base + k];
            if (j < 1 || j > n) {
                raiseSubscript("Row " + std::to_string(i) + " of " + columnIn.name() +
                               " names column " + std::to_string(j) + ", outside 1 to " +
                               std::to_string(n) + ".");
            }
            if (cout[j] >= capacity) {
                raiseSubscript("Row " + std::to_string(j) + " of " + columnOut.name() +
                               " would hold more than " + std::to_string(capacity) + " entries.");
            }
            fillCount[j] = static_cast<int16>(cout[j] + 1);
        }
        for (int k = 1; k <= count; ++k) {
            const int j = colIn[base + k];
            cout[j] = fillCount[j];
            const std::ptrdiff_t slot = static_cast<std::ptrdiff_t>(j) * stride + cout[j];
            colOut[slot] = static_cast<int16>(i);
            valOut[slot] = valIn[base + k];
        }
    }
}

void IncompleteCholesky(int16 n, int16 capacity, const Array1<int16>& LowerCount,
                        const Array2<int16>& LowerColumn, const Array2<double>& LowerValue,
                        const Array1<double>& DiagonalValue, Array2<double>& FactorLower,
                        Array1<double>& FactorInvDiag, double tolerance) {
    const int stride = LowerColumn.stride();
    StoreCheck(n, capacity, stride)
        .rows(LowerCount, LowerColumn, false)
        .vectors<double>({&DiagonalValue, &FactorInvDiag})
        .slots<double>({&LowerValue, &FactorLower});
    const int16* count = LowerCount.data();
    const int16* column = LowerColumn.data();
    // Every slot beyond a row's count must read as column 0: the merge below looks
    // at slot 1 of an empty row.
    for (int i = 1; i <= n; ++i) {
        if (count[i] == 0 && column[static_cast<std::ptrdiff_t>(i) * stride + 1] != 0) {
            raiseSubscript(std::string(LowerColumn.name()) + " row " + std::to_string(i) +
                           " is empty but its first slot is not cleared.");
        }
    }

    const double* value = LowerValue.data();
    const double* diagonal = DiagonalValue.data();
    double* factor = FactorLower.data();
    double* invDiag = FactorInvDiag.data();

    for (int i = 1; i <= n; ++i) {
        const std::ptrdiff_t baseI = static_cast<std::ptrdiff_t>(i) * stride;
        const int16* colI = column + baseI;
        double* factorI = factor + baseI;
        const int countI = count[i];
        for (int k = 1; k <= countI; ++k) {
            const int j = colI[k];
            const std::ptrdiff_t baseJ = static_cast<std::ptrdiff_t>(j) * stride;
            const int16* colJ = column + baseJ;
            const double* factorJ = factor + baseJ;
            const int countJ = count[j];
            double l = value[baseI + k];
            // Merge rows i and j over their ascending columns. The first comparison
            // is always made, even for an empty row j, whose slot 1 reads column 0.
            int p = 1;
            int q = 1;
            do {
                const int a = colJ[p];
                const int b = colI[q];
                if (a > b) {
                    ++q;
                } else if (a == b) {
                    l = l - invDiag[b] * factorJ[p] * factorI[q];
                    ++p;
                    ++q;
                } else {
                    ++p;
                }
            } while (q <= countI && p <= countJ);
            factorI[k] = l;
        }
        double d = diagonal[i];
        for (int k = 1; k <= countI; ++k) {
            d = d - factorI[k] * factorI[k] * invDiag[colI[k]];
        }
        // A pivot that is (nearly) zero or negative comes from a badly supported or
        // disconnected model; replacing it keeps the solve going.
        if (std::fabs(d) <= tolerance) {
            d = tolerance;
        }
        invDiag[i] = 1.0 / d;
    }
}

void MatrixVectorProduct(int16 n, int16 capacity, const Array1<int16>& UpperCount,
                         const Array1<int16>& LowerCount, const Array2<int16>& UpperColumn,
                         const Array2<int16>& LowerColumn, const Array2<double>& UpperValue,
                         const Array2<double>& LowerValue, const Array1<double>& DiagonalValue,
                         const Array1<double>& x, Array1<double>& y) {
    const int stride = UpperColumn.stride();
    StoreCheck(n, capacity, stride)
        .rows(UpperCount, UpperColumn, true)
        .rows(LowerCount, LowerColumn, false)
        .slots<double>({&UpperValue, &LowerValue})
        .vectors<double>({&DiagonalValue, &x, &y});
    const Rows lower{LowerCount.data(), LowerColumn.data(), LowerValue.data()};
    const Rows upper{UpperCount.data(), UpperColumn.data(), UpperValue.data()};
    matrixVectorProduct(n, stride, lower, DiagonalValue.data(), upper, x.data(), y.data());
}

void ApplyPreconditioner(int16 n, int16 capacity, const Array1<int16>& UpperCount,
                         const Array1<int16>& LowerCount, const Array2<int16>& UpperColumn,
                         const Array2<int16>& LowerColumn, const Array2<double>& FactorUpper,
                         const Array2<double>& FactorLower, const Array1<double>& FactorInvDiag,
                         const Array1<double>& r, Array1<double>& z) {
    const int stride = UpperColumn.stride();
    StoreCheck(n, capacity, stride)
        .rows(UpperCount, UpperColumn, true)
        .rows(LowerCount, LowerColumn, false)
        .slots<double>({&FactorUpper, &FactorLower})
        .vectors<double>({&FactorInvDiag, &r, &z});
    const Rows lower{LowerCount.data(), LowerColumn.data(), FactorLower.data()};
    const Rows upper{UpperCount.data(), UpperColumn.data(), FactorUpper.data()};
    applyPreconditioner(n, stride, lower, upper, FactorInvDiag.data(), r.data(), z.data());
}

namespace {

// PreconditionedCG, its iteration on the threads of `pool` when a plan is given.
SolverReport preconditionedCG(const SweepPlan* plan, WorkerPool* pool, int16 n, int16 capacity,
                              Array1<int16>& UpperCount, Array1<int16>& LowerCount,
                              Array2<int16>& UpperColumn, Array2<int16>& LowerColumn,
                              Array2<double>& UpperValue, Array2<double>& LowerValue,
                              Array1<double>& DiagonalValue, Array1<double>& LoadVector,
                              double tolerance, Array1<double>& SolutionVector,
                              Array2<double>& FactorUpper, Array2<double>& FactorLower,
                              Array1<double>& FactorInvDiag, Array1<double>& ResidualVector,
                              Array1<double>& DirectionVector, Array1<double>& PrecondVector,
                              Array1<double>& ProductVector, Array1<int16>& /*TransposeFill*/) {
    const int stride = UpperColumn.stride();
    StoreCheck(n, capacity, stride)
        .rows(UpperCount, UpperColumn, true)
        .rows(LowerCount, LowerColumn, false)
        .slots<double>({&UpperValue, &LowerValue, &FactorUpper, &FactorLower})
        .vectors<double>({&DiagonalValue, &LoadVector, &SolutionVector, &FactorInvDiag,
                          &ResidualVector, &DirectionVector, &PrecondVector, &ProductVector});
    const int limit = add16(n, 10, "the solver's iteration limit");
    const double epsilonSquared = tolerance * tolerance;

    const Rows lower{LowerCount.data(), LowerColumn.data(), LowerValue.data()};
    const Rows upper{UpperCount.data(), UpperColumn.data(), UpperValue.data()};
    const Rows factorLower{LowerCount.data(), LowerColumn.data(), FactorLower.data()};
    const Rows factorUpper{UpperCount.data(), UpperColumn.data(), FactorUpper.data()};
    const double* diagonal = DiagonalValue.data();
    const double* invDiag = FactorInvDiag.data();
    const double* f = LoadVector.data();
    double* x = SolutionVector.data();
    double* r = ResidualVector.data();
    double* p = DirectionVector.data();
    double* z = PrecondVector.data();
    double* q = ProductVector.data();

    // The product inside the iteration reads the upper store alone when the lower
    // store mirrors it, as the solver's own transposition makes it; its scratch of
    // running lower sums is taken once, outside the iteration.
    const bool mirrored = lowerMirrorsUpper(n, stride, lower, upper);
    std::vector<double> lowerSum(mirrored ? static_cast<std::size_t>(n) + 1 : 0, 0.0);

    matrixVectorProduct(n, stride, lower, diagonal, upper, x, q);
    for (int i = 1; i <= n; ++i) {
        r[i] = f[i] - q[i];
    }
    applyPreconditioner(n, stride, factorLower, factorUpper, invDiag, r, z);
    double rho = 0.0;
    for (int i = 1; i <= n; ++i) {
        p[i] = z[i];
    }
    for (int i = 1; i <= n; ++i) {
        rho = rho + r[i] * z[i];
    }
    double loadNormSquared = 0.0;
    for (int i = 1; i <= n; ++i) {
        loadNormSquared = loadNormSquared + f[i] * f[i];
    }

    if (plan != nullptr) {
        ParallelIteration parallel(*plan, pool->size(), n, stride, lower, upper, factorLower,
                                   factorUpper, diagonal, invDiag, x, r, p, z, q);
        return parallel.run(*pool, limit, epsilonSquared, rho, loadNormSquared);
    }
    SolverReport report;
    for (int iteration = 1; iteration <= limit; ++iteration) {
        report.iterations = iteration;
        const double pq =
            mirrored ? productDotFromUpper(n, stride, upper, diagonal, p, q, lowerSum.data())
                     : productDot(n, stride, lower, diagonal, upper, p, q);
        const double alpha = checkedStep(rho, pq, n, loadNormSquared);
        double rr = 0.0;
        for (int i = 1; i <= n; ++i) {
            x[i] = x[i] + alpha * p[i];
            r[i] = r[i] - alpha * q[i];
            rr = rr + r[i] * r[i];
        }
        report.residualRatio = rr / loadNormSquared;
        if (!std::isfinite(report.residualRatio)) {
            raiseFloatingPoint("The solver's residual overflowed. The structure may be "
                               "unsupported or fall apart into pieces.");
        }
        // Convergence is tested before the preconditioner of the same iteration.
        if (report.residualRatio <= epsilonSquared) {
            report.converged = true;
            return report;
        }
        applyPreconditioner(n, stride, factorLower, factorUpper, invDiag, r, z);
        double rhoNext = 0.0;
        for (int i = 1; i <= n; ++i) {
            rhoNext = rhoNext + r[i] * z[i];
        }
        const double beta = checkedStep(rhoNext, rho, n, loadNormSquared);
        rho = rhoNext;
        for (int i = 1; i <= n; ++i) {
            p[i] = z[i] + beta * p[i];
        }
    }
    // Out of iterations: the last iterate stands, as if converged.
    return report;
}

} // namespace

SolverReport PreconditionedCG(int16 n, int16 capacity, Array1<int16>& UpperCount,
                              Array1<int16>& LowerCount, Array2<int16>& UpperColumn,
                              Array2<int16>& LowerColumn, Array2<double>& UpperValue,
                              Array2<double>& LowerValue, Array1<double>& DiagonalValue,
                              Array1<double>& LoadVector, double tolerance,
                              Array1<double>& SolutionVector, Array2<double>& FactorUpper,
                              Array2<double>& FactorLower, Array1<double>& FactorInvDiag,
                              Array1<double>& ResidualVector, Array1<double>& DirectionVector,
                              Array1<double>& PrecondVector, Array1<double>& ProductVector,
                              Array1<int16>& TransposeFill) {
    return preconditionedCG(nullptr, nullptr, n, capacity, UpperCount, LowerCount, UpperColumn,
                            LowerColumn, UpperValue, LowerValue, DiagonalValue, LoadVector,
                            tolerance, SolutionVector, FactorUpper, FactorLower, FactorInvDiag,
                            ResidualVector, DirectionVector, PrecondVector, ProductVector,
                            TransposeFill);
}

namespace {

// The factor on K's pattern: the lower store from the upper one, the incomplete
// factorization, and the factor transposed into the upper pattern.
void factorize(int16 n, int16 capacity, Array1<int16>& UpperCount, Array1<int16>& LowerCount,
               Array2<int16>& UpperColumn, Array2<int16>& LowerColumn,
               const Array2<double>& UpperValue, Array2<double>& LowerValue,
               const Array1<double>& DiagonalValue, double tolerance, Array2<double>& FactorUpper,
               Array2<double>& FactorLower, Array1<double>& FactorInvDiag,
               Array1<int16>& TransposeFill) {
    TransposeRows(n, capacity, UpperCount, LowerCount, UpperColumn, LowerColumn, UpperValue,
                  LowerValue, TransposeFill);
    IncompleteCholesky(n, capacity, LowerCount, LowerColumn, LowerValue, DiagonalValue, FactorLower,
                       FactorInvDiag, tolerance);
    TransposeRows(n, capacity, LowerCount, UpperCount, LowerColumn, UpperColumn, FactorLower,
                  FactorUpper, TransposeFill);
}

} // namespace

SolverReport SolveEquations(int16 n, int16 capacity, Array1<int16>& UpperCount,
                            Array1<int16>& LowerCount, Array2<int16>& UpperColumn,
                            Array2<int16>& LowerColumn, Array2<double>& UpperValue,
                            Array2<double>& LowerValue, Array1<double>& DiagonalValue,
                            Array1<double>& LoadVector, double tolerance,
                            Array1<double>& SolutionVector, Array2<double>& FactorUpper,
                            Array2<double>& FactorLower, Array1<double>& FactorInvDiag,
                            Array1<double>& ResidualVector, Array1<double>& DirectionVector,
                            Array1<double>& PrecondVector, Array1<double>& ProductVector,
                            Array1<int16>& TransposeFill) {
    factorize(n, capacity, UpperCount, LowerCount, UpperColumn, LowerColumn, UpperValue, LowerValue,
              DiagonalValue, tolerance, FactorUpper, FactorLower, FactorInvDiag, TransposeFill);
    return PreconditionedCG(n, capacity, UpperCount, LowerCount, UpperColumn, LowerColumn,
                            UpperValue, LowerValue, DiagonalValue, LoadVector, tolerance,
                            SolutionVector, FactorUpper, FactorLower, FactorInvDiag, ResidualVector,
                            DirectionVector, PrecondVector, ProductVector, TransposeFill);
}

SolverReport SolveEquations(Model& m, double tolerance) {
    const int16 capacity = static_cast<int16>(kRowCapacity);
    const int threads = m.Threads.count();
    if (threads < 2 || m.EquationCount < m.Threads.parallelFrom()) {
        return SolveEquations(m.EquationCount, capacity, m.UpperCount, m.LowerCount, m.UpperColumn,
                              m.LowerColumn, m.UpperValue, m.LowerValue, m.DiagonalValue,
                              m.LoadVector, tolerance, m.SolutionVector, m.FactorUpper,
                              m.FactorLower, m.FactorInvDiag, m.ResidualVector, m.DirectionVector,
                              m.PrecondVector, m.ProductVector, m.TransposeFill);
    }
    const int16 n = m.EquationCount;
    factorize(n, capacity, m.UpperCount, m.LowerCount, m.UpperColumn, m.LowerColumn, m.UpperValue,
              m.LowerValue, m.DiagonalValue, tolerance, m.FactorUpper, m.FactorLower,
              m.FactorInvDiag, m.TransposeFill);
    // The stores are range-checked by the iteration itself; the plan reads them first,
    // so check their shape here.
    const int stride = m.UpperColumn.stride();
    StoreCheck(n, capacity, stride)
        .rows(m.UpperCount, m.UpperColumn, true)
        .rows(m.LowerCount, m.LowerColumn, false);
    const std::optional<SweepPlan> plan =
        PlanSweeps(m, std::min(threads, m.CellColumnCount + 1), stride, m.LowerCount.data(),
                   m.LowerColumn.data(), m.UpperCount.data(), m.UpperColumn.data());
    WorkerPool* pool = plan ? &m.Threads.pool() : nullptr;
    return preconditionedCG(plan ? &*plan : nullptr, pool, n, capacity, m.UpperCount, m.LowerCount,
                            m.UpperColumn, m.LowerColumn, m.UpperValue, m.LowerValue,
                            m.DiagonalValue, m.LoadVector, tolerance, m.SolutionVector,
                            m.FactorUpper, m.FactorLower, m.FactorInvDiag, m.ResidualVector,
                            m.DirectionVector, m.PrecondVector, m.ProductVector, m.TransposeFill);
}

} // namespace quillane
