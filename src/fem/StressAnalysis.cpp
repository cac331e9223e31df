#include "fem/StressAnalysis.h"

#include <cstring>
#include <string>

#include "fem/AnalysisInput.h"
#include "fem/Assembly.h"
#include "fem/ElementStiffness.h"
#include "fem/Mesh.h"
#include "fem/Stresses.h"
#include "fem/VectorState.h"

namespace quillane {

namespace {

// Bits, not values: -0.0 and 0.0 differ, and so does every NaN from every other.
bool sameBits(const void* kept, const void* now, std::size_t bytes) {
    return bytes == 0 || std::memcmp(kept, now, bytes) == 0;
}

} // namespace

bool MatchLastSystem(Model& m) {
    SolvedSystem& s = m.LastSolve;
    const int n = m.EquationCount;
    bool same = s.valid && s.equations == n;
    s.valid = false;
    if (n <= 0) {
        s.equations = 0;
        return false; // nothing solves: the solver says why
    }
    m.UpperCount.requireRange(1, n);
    m.UpperColumn.requireRange(0, kRowCapacity, 1, n);
    m.UpperValue.requireRange(0, kRowCapacity, 1, n);
    m.DiagonalValue.requireRange(1, n);
    m.LoadVector.requireRange(1, n);
    const int16* count = m.UpperCount.data() + (1 - m.UpperCount.lo());
    const auto size = static_cast<std::size_t>(n);

    // The kept store is packed to the couplings there are, no room for empty slots.
    std::size_t couplings = 0;
    for (int p = 1; p <= n; ++p) {
        const int c = count[p - 1];
        if (c < 0 || c > kRowCapacity) {
            raiseSubscript("Equation " + std::to_string(p) + " has " + std::to_string(c) +
                           " couplings, outside 0 to 9.");
        }
        couplings += static_cast<std::size_t>(c);
    }
    same = same && s.column.size() == couplings;
    if (!same) {
        s.equations = static_cast<int16>(n);
        s.count.resize(size);
        s.column.resize(couplings);
        s.value.resize(couplings);
        s.diagonal.resize(size);
        s.load.resize(size);
        s.solution.resize(size);
    }

    std::size_t packed = 0;
    for (int p = 1; p <= n; ++p) {
        const int c = count[p - 1];
        const int16* column = m.UpperColumn.column(p) + 1;
        const double* value = m.UpperValue.column(p) + 1;
        const auto slots = static_cast<std::size_t>(c);
        if (same) {
            same = s.count[p - 1] == c &&
                   sameBits(s.column.data() + packed, column, slots * sizeof(int16)) &&
                   sameBits(s.value.data() + packed, value, slots * sizeof(double));
        }
        if (!same) {
            s.count[p - 1] = static_cast<int16>(c);
            std::memcpy(s.column.data() + packed, column, slots * sizeof(int16));
            std::memcpy(s.value.data() + packed, value, slots * sizeof(double));
        }
        packed += slots;
    }
    const std::size_t bytes = size * sizeof(double);
    const double* diagonal = m.DiagonalValue.data() + (1 - m.DiagonalValue.lo());
    const double* load = m.LoadVector.data() + (1 - m.LoadVector.lo());
    if (!sameBits(s.diagonal.data(), diagonal, bytes)) {
        same = false;
        std::memcpy(s.diagonal.data(), diagonal, bytes);
    }
    if (!sameBits(s.load.data(), load, bytes)) {
        same = false;
        std::memcpy(s.load.data(), load, bytes);
    }
    s.valid = same;
    return same;
}

namespace {

// The kept solve's solution and report, as solving the same system again gives them.
SolverReport ReuseLastSolve(Model& m) {
    const SolvedSystem& s = m.LastSolve;
    const int n = s.equations;
    m.SolutionVector.requireRange(1, n);
    std::memcpy(m.SolutionVector.data() + (1 - m.SolutionVector.lo()), s.solution.data(),
                static_cast<std::size_t>(n) * sizeof(double));
    SolverReport report;
    report.iterations = s.iterations;
    report.converged = s.converged;
    report.residualRatio = s.residualRatio;
    return report;
}

void KeepSolve(Model& m, const SolverReport& report) {
    SolvedSystem& s = m.LastSolve;
    const int n = s.equations;
    m.SolutionVector.requireRange(1, n);
    std::memcpy(s.solution.data(), m.SolutionVector.data() + (1 - m.SolutionVector.lo()),
                static_cast<std::size_t>(n) * sizeof(double));
    s.iterations = report.iterations;
    s.converged = report.converged;
    s.residualRatio = report.residualRatio;
    s.valid = true;
}

} // namespace

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
    // The window's drawing may have left the vector registers in a state that slows
    // every instruction of the analysis down.
    ClearUpperVectorState();
    CheckAnalysisInput(m);
    AnalysisReport report;
    AssembleSystem(m);
    if (!m.ReuseSolves) {
        ForgetLastSolve(m);
        report.solver = SolveEquations(m, kSolverTolerance);
    } else if (MatchLastSystem(m)) {
        report.solver = ReuseLastSolve(m);
        report.reused = true;
    } else {
        // Kept only once the solve has returned: one that raises a fault leaves none.
        report.solver = SolveEquations(m, kSolverTolerance);
        if (m.EquationCount > 0) {
            KeepSolve(m, report.solver);
        }
    }
    ScatterDisplacements(m);
    ElementStresses(m, m.ElementSize, m.YoungModulus, m.PoissonRatio);
    DesignVolume(m);
    return report;
}

} // namespace quillane
