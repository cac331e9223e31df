#pragma once
// The MBB half-beam of the optimization tests and benchmarks, analysed and ready
// for its first step.

#include "optimize/Optimization.h"
#include "support/ModelBuilders.h"

namespace quillane::support {

// Symmetry on the left edge (fixed in x), a roller at the lower right corner
// (fixed in y), the load at the upper left corner; small non-design patches keep
// the load and the support attached while material moves for a few dozen steps,
// after which the layout holds still. The stress target is the first analysis's
// mean stress, so material goes.
inline Model mbbHalfBeam(int columns, int rows) {
    Model m = makePlate(rows, columns, 10.0f);
    fixLeftEdge(m, true, false);
    fixNode(m, nodeAt(m, 1, columns + 1), false, true);
    loadNode(m, nodeAt(m, rows + 1, 1), 0.0, -1000.0);
    setCells(m, rows - 1, 1, rows, 2, kCellNonDesign);
    setCells(m, 1, columns - 1, 2, columns, kCellNonDesign);
    MarkActiveNodes(m);
    m.Lambda = 0.1f;
    m.Epsilon = 3;
    RunStressAnalysis(m);
    m.StressTarget = static_cast<float>(m.AvgStress);
    return m;
}

} // namespace quillane::support
