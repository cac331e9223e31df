// Optimization steps per second, headless, on the MBB half-beam.

#include <benchmark/benchmark.h>

#include "fem/StressAnalysis.h"
#include "optimize/Optimization.h"
#include "support/ModelBuilders.h"

using namespace quillane;

namespace {

// The half-beam: symmetry on the left edge (fixed in x), a roller at the lower
// right corner (fixed in y), the load at the upper left corner. Small non-design
// patches keep the load and the support attached while material moves.
Model mbbHalfBeam(int columns, int rows) {
    Model m = support::makePlate(rows, columns, 10.0f);
    support::fixLeftEdge(m, true, false);
    support::fixNode(m, support::nodeAt(m, 1, columns + 1), false, true);
    support::loadNode(m, support::nodeAt(m, rows + 1, 1), 0.0, -1000.0);
    support::setCells(m, rows - 1, 1, rows, 2, kCellNonDesign);
    support::setCells(m, 1, columns - 1, 2, columns, kCellNonDesign);
    MarkActiveNodes(m);
    m.Lambda = 0.1f;
    m.Epsilon = 3;
    RunStressAnalysis(m);
    // A target a third of the way up the first stress range lets material go.
    m.StressTarget = static_cast<float>(m.AvgStress);
    return m;
}

// The first 50 steps of a run, again and again: each timing iteration is one step.
void BM_OptimizationStep(benchmark::State& state) {
    const Model start =
        mbbHalfBeam(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    Model m = start;
    int stepsInRun = 0;
    int iterations = 0;
    for (auto _ : state) {
        if (stepsInRun == 50) {
            state.PauseTiming();
            m = start;
            stepsInRun = 0;
            state.ResumeTiming();
        }
        StepReport report = Optimization(m);
        iterations += report.analysis.solver.iterations;
        ++stepsInRun;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["steps_per_s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["solver_its"] = static_cast<double>(iterations) / state.iterations();
}
BENCHMARK(BM_OptimizationStep)
    ->Args({60, 20})
    ->Args({120, 40})
    ->ArgNames({"cols", "rows"})
    ->Unit(benchmark::kMillisecond);

} // namespace
