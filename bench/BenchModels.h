#pragma once
// The models the benchmarks share.

#include "model/Model.h"
#include "support/ModelBuilders.h"

namespace quillane::bench {

// An all-material cantilever of 10 mm cells: the left edge clamped, a downward
// point load at the middle of the right edge.
inline Model cantilever(int columns, int rows) {
    Model m = support::makePlate(rows, columns, 10.0f);
    support::fixLeftEdge(m);
    support::loadNode(m, support::nodeAt(m, rows / 2 + 1, columns + 1), 0.0, -1000.0);
    return m;
}

} // namespace quillane::bench
