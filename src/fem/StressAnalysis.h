#pragma once
// One linear static analysis of the current layout, as a sequence of stages:
// element stiffness, equation numbering, assembly, compression, solution, and the
// evaluation of displacements, stresses and volume.

#include <functional>
#include <string>

#include "fem/Solver.h"
#include "model/Model.h"

namespace quillane {

// The solver's tolerance of every analysis: the relative residual norm to reach.
inline constexpr double kSolverTolerance = 1.0E-6;

struct AnalysisReport {
    SolverReport solver;
    // The stresses are known: optimization and history recording may be offered.
    bool enableResultMenus = false;
};

// The stages before the solver: element stiffness, equation numbering, assembly
// of stiffness and loads, and compression into the row store (which also clears
// the solver's start vector).
void AssembleSystem(Model& m);

// The chain shared by the stress analysis and every optimization step: from the
// element stiffness to the stresses and the volume of the present layout. Uses the
// node activity of the last MarkActiveNodes.
AnalysisReport AnalyseLayout(Model& m);

// The stress analysis command's computation: StepCount = 0, AnalyseLayout, then
// the potentials of all occupied cells start saturated. `stressesKnown` runs
// between the two when the stresses were evaluated (the desktop offers
// optimization and recording from then on, even if the potentials' start-up then
// fails). Drawing the map and the status caption are the caller's.
AnalysisReport RunStressAnalysis(Model& m, const std::function<void()>& stressesKnown = {});

} // namespace quillane

namespace quillane {

// The status caption after an analysis: "  Volume = 2.00E+06mm^3".
std::string AnalysisStatusText(const Model& m);

} // namespace quillane
