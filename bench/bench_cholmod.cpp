// A well-known peer on the same system: CHOLMOD's sparse direct Cholesky (SuiteSparse)
// solves the 127 x 127 all-material cantilever that BM_StressAnalysis analyses, in
// the same run. Its analysis (ordering and symbolic factorization), numeric
// factorization and solve are timed apart, and its solution is compared with ours.
// `supernodal:1` is CHOLMOD's own choice for this system (supernodal, through the BLAS
// the machine has; Debian's default is the single-thread reference BLAS),
// `supernodal:0` its simplicial factorization, which needs no BLAS.

#include <benchmark/benchmark.h>
#include <cholmod.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "BenchModels.h"
#include "optimize/Optimization.h"

using namespace quillane;

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// CHOLMOD's workspace, started and finished with the benchmark.
struct Cholmod {
    cholmod_common common{};
    Cholmod() { cholmod_start(&common); }
    ~Cholmod() { cholmod_finish(&common); }
    Cholmod(const Cholmod&) = delete;
    Cholmod& operator=(const Cholmod&) = delete;
    void check(bool ok, const char* what) const {
        if (!ok || common.status != CHOLMOD_OK) {
            throw std::runtime_error(what);
        }
    }
};

// The analysed model's system in CHOLMOD's form: the lower triangle by columns. Our
// upper store holds row p's couplings to higher equations q in ascending order,
// which are exactly column p of the lower triangle below its diagonal.
cholmod_sparse* lowerTriangle(const Model& m, Cholmod& c) {
    const int n = m.EquationCount;
    std::size_t entries = static_cast<std::size_t>(n);
    for (int p = 1; p <= n; ++p) {
        entries += static_cast<std::size_t>(m.UpperCount(p));
    }
    cholmod_sparse* a =
        cholmod_allocate_sparse(static_cast<std::size_t>(n), static_cast<std::size_t>(n), entries,
                                1, 1, -1, CHOLMOD_REAL, &c.common);
    c.check(a != nullptr, "cholmod_allocate_sparse");
    int* start = static_cast<int*>(a->p);
    int* row = static_cast<int*>(a->i);
    double* value = static_cast<double*>(a->x);
    int k = 0;
    for (int p = 1; p <= n; ++p) {
        start[p - 1] = k;
        row[k] = p - 1;
        value[k++] = m.DiagonalValue(p);
        for (int s = 1; s <= m.UpperCount(p); ++s) {
            row[k] = m.UpperColumn(s, p) - 1;
            value[k++] = m.UpperValue(s, p);
        }
    }
    start[n] = k;
    return a;
}

void BM_CholmodCantilever(benchmark::State& state) {
    Model m = bench::cantilever(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const AnalysisReport ours = RunStressAnalysis(m);
    const int n = m.EquationCount;

    Cholmod c;
    if (state.range(2) == 0) {
        c.common.supernodal = CHOLMOD_SIMPLICIAL;
    }
    cholmod_sparse* a = lowerTriangle(m, c);
    cholmod_dense* b = cholmod_zeros(static_cast<std::size_t>(n), 1, CHOLMOD_REAL, &c.common);
    c.check(b != nullptr, "cholmod_zeros");
    for (int p = 1; p <= n; ++p) {
        static_cast<double*>(b->x)[p - 1] = m.LoadVector(p);
    }

    double analyse = 0.0;
    double factorize = 0.0;
    double solve = 0.0;
    double maxDifference = 0.0;
    double largest = 0.0;
    for (auto _ : state) {
        Clock::time_point t = Clock::now();
        cholmod_factor* factor = cholmod_analyze(a, &c.common);
        analyse += millisecondsSince(t);
        c.check(factor != nullptr, "cholmod_analyze");
        t = Clock::now();
        cholmod_factorize(a, factor, &c.common);
        factorize += millisecondsSince(t);
        c.check(factor->minor == static_cast<std::size_t>(n), "not positive definite");
        t = Clock::now();
        cholmod_dense* x = cholmod_solve(CHOLMOD_A, factor, b, &c.common);
        solve += millisecondsSince(t);
        c.check(x != nullptr, "cholmod_solve");

        // Against ours, relative to the largest displacement.
        const double* direct = static_cast<const double*>(x->x);
        maxDifference = 0.0;
        largest = 0.0;
        for (int p = 1; p <= n; ++p) {
            maxDifference = std::max(maxDifference, std::abs(direct[p - 1] - m.SolutionVector(p)));
            largest = std::max(largest, std::abs(direct[p - 1]));
        }
        cholmod_free_dense(&x, &c.common);
        cholmod_free_factor(&factor, &c.common);
    }
    cholmod_free_dense(&b, &c.common);
    cholmod_free_sparse(&a, &c.common);

    const double runs = static_cast<double>(state.iterations());
    state.counters["equations"] = n;
    state.counters["analyse_ms"] = analyse / runs;
    state.counters["factorize_ms"] = factorize / runs;
    state.counters["solve_ms"] = solve / runs;
    state.counters["ours_its"] = ours.solver.iterations;
    char label[64];
    std::snprintf(label, sizeof label, "max rel diff to ours %.2E", maxDifference / largest);
    state.SetLabel(label);
}
BENCHMARK(BM_CholmodCantilever)
    ->Args({127, 127, 1})
    ->Args({127, 127, 0})
    ->ArgNames({"cols", "rows", "supernodal"})
    ->Unit(benchmark::kMillisecond);

} // namespace
