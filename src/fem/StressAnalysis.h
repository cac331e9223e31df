#pragma once
// One linear static analysis of the current layout, as a sequence of stages:
// element stiffness, equation numbering, assembly, compression, solution, and the
// evaluation of displacements, stresses and volume.

#include "fem/Solver.h"
#include "model/Model.h"

namespace quillane {

// The solver's tolerance of every analysis: the relative residual norm to reach.
inline constexpr double kSolverTolerance = 1.0E-6;

struct AnalysisReport {
    SolverReport solver;
};

// The stages before the solver: element stiffness, equation numbering, assembly
// of stiffness and loads, and compression into the row store (which also clears
// the solver's start vector).
void AssembleSystem(Model& m);

// The chain shared by the stress analysis and every optimization step: from the
// element stiffness to the stresses and the volume of the present layout. Uses the
// node activity of the last MarkActiveNodes.
AnalysisReport AnalyseLayout(Model& m);

} // namespace quillane
