// The full stress analysis of all-material cantilevers up to the largest grid the
// 16-bit counts allow, and the row-store assembly against the square-matrix way.

#include <benchmark/benchmark.h>

#include "AllocationCounter.h"
#include "BenchModels.h"
#include "fem/Assembly.h"
#include "fem/ElementStiffness.h"
#include "fem/Mesh.h"
#include "optimize/Optimization.h"
#include "support/DenseReference.h"

using namespace quillane;

namespace {

using bench::cantilever;

void BM_StressAnalysis(benchmark::State& state) {
    Model m = cantilever(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));

    // Memory of the analysis data: what the first analysis adds to the model.
    const std::size_t before = bench::heapBytesNow();
    bench::resetHeapPeak();
    AnalysisReport report = RunStressAnalysis(m);
    const double peakBytes = static_cast<double>(bench::heapBytesPeak() - before);

    for (auto _ : state) {
        report = RunStressAnalysis(m);
        benchmark::DoNotOptimize(m.MaxStress);
    }
    state.counters["equations"] = m.EquationCount;
    state.counters["iterations"] = report.solver.iterations;
    state.counters["converged"] = report.solver.converged ? 1 : 0;
    state.counters["peak_MB"] = peakBytes / (1024.0 * 1024.0);
}
BENCHMARK(BM_StressAnalysis)
    ->Args({32, 16})
    ->Args({64, 32})
    ->Args({127, 63})
    ->Args({127, 127})
    ->ArgNames({"cols", "rows"})
    ->Unit(benchmark::kMillisecond);

// Assembly and compression as the analysis runs them.
void BM_AssembleCompress(benchmark::State& state) {
    Model m = cantilever(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        AssembleSystem(m);
        benchmark::DoNotOptimize(m.DiagonalValue.data());
    }
    state.counters["equations"] = m.EquationCount;
}
BENCHMARK(BM_AssembleCompress)
    ->Args({64, 32})
    ->ArgNames({"cols", "rows"})
    ->Unit(benchmark::kMillisecond);

// The same through a square (n + 1) x (n + 1) matrix, the way the store used to be
// built: its size alone grows with n squared.
void BM_AssembleCompressDense(benchmark::State& state) {
    Model m = cantilever(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    CalcElementStiffness(m);
    NumberEquations(m);
    for (auto _ : state) {
        reference::DenseMatrix k = reference::assembleDense(m);
        reference::CompressedStore store = reference::compressDense(k);
        benchmark::DoNotOptimize(store.DiagonalValue.data());
    }
    const double n = m.EquationCount;
    state.counters["equations"] = n;
    state.counters["matrix_MB"] = (n + 1) * (n + 1) * 8.0 / (1024.0 * 1024.0);
}
BENCHMARK(BM_AssembleCompressDense)
    ->Args({64, 32})
    ->ArgNames({"cols", "rows"})
    ->Unit(benchmark::kMillisecond);

} // namespace

// What deciding on reuse costs beside a solve: the bit-for-bit comparison of the
// assembled 127 x 127 system with the kept one, when it matches to the end (the
// longest comparison), and when it differs in its first equation (then the whole
// system is copied over the kept one).
void BM_MatchLastSystem(benchmark::State& state) {
    Model m = cantilever(127, 127);
    RunStressAnalysis(m);
    AssembleSystem(m);
    const bool differ = state.range(0) != 0;
    const double first = m.DiagonalValue(1);
    for (auto _ : state) {
        if (differ) {
            m.LastSolve.valid = true; // as if solved; the copy has made the new one kept
            m.UpperValue(1, 1) = m.UpperValue(1, 1) == first ? -first : first;
        }
        benchmark::DoNotOptimize(MatchLastSystem(m));
    }
    state.counters["equations"] = m.EquationCount;
}
BENCHMARK(BM_MatchLastSystem)->Arg(0)->Arg(1)->ArgName("differs")->Unit(benchmark::kMillisecond);
