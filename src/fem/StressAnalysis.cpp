#include "fem/StressAnalysis.h"

#include "fem/Assembly.h"
#include "fem/ElementStiffness.h"
#include "fem/Mesh.h"
#include "fem/Stresses.h"
#include "model/NumberText.h"
#include "optimize/Potential.h"

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
    AnalysisReport report;
    AssembleSystem(m);
    const int16 rowCapacity = kRowCapacity;
    const double tolerance = kSolverTolerance;
    report.solver = SolveEquations(
        m.EquationCount, rowCapacity, m.UpperCount, m.LowerCount, m.UpperColumn, m.LowerColumn,
        m.UpperValue, m.LowerValue, m.DiagonalValue, m.LoadVector, tolerance, m.SolutionVector,
        m.FactorUpper, m.FactorLower, m.FactorInvDiag, m.ResidualVector, m.DirectionVector,
        m.PrecondVector, m.ProductVector, m.TransposeFill);
    ScatterDisplacements(m);
    report.enableResultMenus = ElementStresses(m, m.ElementSize, m.YoungModulus, m.PoissonRatio);
    DesignVolume(m);
    return report;
}

AnalysisReport RunStressAnalysis(Model& m, const std::function<void()>& stressesKnown) {
    // A stress analysis starts the optimization's step count afresh.
    m.StepCount = 0;
    AnalysisReport report = AnalyseLayout(m);
    if (report.enableResultMenus && stressesKnown) {
        stressesKnown();
    }
    InitPotential(m);
    return report;
}

} // namespace quillane

namespace quillane {

std::string AnalysisStatusText(const Model& m) {
    return "  Volume = " + formatScientific(m.Volume) + "mm^3";
}

} // namespace quillane
