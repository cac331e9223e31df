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
    bool reused = false; // the system was the last one solved, bit for bit: no solve ran
};

// The stages before the solver: element stiffness, equation numbering, assembly
// of stiffness and loads, and compression into the row store (which also clears
// the solver's start vector).
void AssembleSystem(Model& m);

// Compares the assembled system (EquationCount, the counts, columns and values of
// the upper store, the diagonal and the loads) with the last one solved, bit for
// bit, and from the first difference on copies it over the kept one: one pass
// either way. True when all of it is the same; the kept solve stays valid only then.
bool MatchLastSystem(Model& m);

// The chain shared by the stress analysis and every optimization step: from the
// element stiffness to the stresses and the volume of the present layout. Uses the
// node activity of the last MarkActiveNodes. With ReuseSolves on, a system equal bit
// for bit to the last one solved (m.LastSolve: counts, columns and values of the upper
// store, diagonal, loads and equation count) takes that solve's solution and report
// instead of solving again; every other one is solved and kept for the next.
AnalysisReport AnalyseLayout(Model& m);

} // namespace quillane
