#include "fem/StressAnalysis.h"

#include "fem/AnalysisInput.h"
#include "fem/Assembly.h"
#include "fem/ElementStiffness.h"
#include "fem/Mesh.h"
#include "fem/Stresses.h"

namespace quillane {

void AssembleSystem(Model& m) {
    CalcElementStiffness(m);
    NumberEquations(m);
    AssembleStiffness(m);
    AssembleLoads(m);
    const int16 rowCapacity = kRowCapacity;
    CompressStiffness(m.EquationCount, rowCapacity, m.UpperCount, m.UpperColumn, m.UpperValue,
                      m.DiagonalValue, m.StiffnessMatrix, m.LoadVector, m.SolutionVector);
}

AnalysisReport AnalyseLayout(Model& m) {
    CheckAnalysisInput(m);
    AnalysisReport report;
    AssembleSystem(m);
    report.solver = SolveEquations(m, kSolverTolerance);
    ScatterDisplacements(m);
    ElementStresses(m, m.ElementSize, m.YoungModulus, m.PoissonRatio);
    DesignVolume(m);
    return report;
}

} // namespace quillane
