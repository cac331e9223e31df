// Optimization steps per second, headless, on the MBB half-beam.

#include <benchmark/benchmark.h>

#include "fem/StressAnalysis.h"
#include "optimize/Optimization.h"
#include "support/HalfBeam.h"

using namespace quillane;

namespace {

// The first `runLength` steps of a run, again and again: each timing iteration is one
// step. Rates are per second of wall time, which a solver on several threads shortens
// while it adds CPU time. With reuse on, a step whose system is the one before it takes that solve.
void optimizationSteps(benchmark::State& state, int runLength) {
    Model start =
        support::mbbHalfBeam(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    start.ReuseSolves = state.range(2) != 0;
    Model m = start;
    int stepsInRun = 0;
    int iterations = 0;
    int reused = 0;
    for (auto _ : state) {
        if (stepsInRun == runLength) {
            state.PauseTiming();
            m = start;
            stepsInRun = 0;
            state.ResumeTiming();
        }
        StepReport report = Optimization(m);
        iterations += report.analysis.solver.iterations;
        reused += report.analysis.reused ? 1 : 0;
        ++stepsInRun;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["steps_per_s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["solver_its"] = static_cast<double>(iterations) / state.iterations();
    state.counters["reused_pct"] = 100.0 * reused / static_cast<double>(state.iterations());
}

// Steps 0 to 49 (a fixed count, so with reuse and without time the same steps): the
// layout still moves in most of them.
void BM_OptimizationStep(benchmark::State& state) {
    optimizationSteps(state, 50);
}
BENCHMARK(BM_OptimizationStep)
    ->ArgsProduct({{60}, {20}, {0, 1}})
    ->ArgsProduct({{120}, {40}, {0, 1}})
    ->ArgNames({"cols", "rows", "reuse"})
    ->Iterations(200)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// One whole run of 300 steps, as the examples are run: most of it holds still.
void BM_OptimizationRun300(benchmark::State& state) {
    optimizationSteps(state, 300);
}
BENCHMARK(BM_OptimizationRun300)
    ->ArgsProduct({{60}, {20}, {0, 1}})
    ->ArgsProduct({{120}, {40}, {0, 1}})
    ->ArgNames({"cols", "rows", "reuse"})
    ->Iterations(300)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
