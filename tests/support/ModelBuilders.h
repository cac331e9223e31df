#pragma once
// Small models for tests and benchmarks, laid out exactly as the domain set-up
// lays them out (BuildDomainMesh), so that node and element numbers follow the
// program's own rules: rows counted upward along y, columns rightward along x.

#include "fem/Mesh.h"
#include "model/Model.h"

namespace quillane::support {

// The node at grid corner (row, column), both 1-based from the lower-left corner.
inline int nodeAt(const Model& m, int row, int column) {
    return (m.CellColumnCount + 1) * (row - 1) + column;
}

// The element of cell (row, column).
inline int elementAt(const Model& m, int row, int column) {
    return (row - 1) * m.CellColumnCount + column;
}

// Sets every cell of the block rows r1..r2 by columns c1..c2 (inclusive) to `code`.
inline void setCells(Model& m, int r1, int c1, int r2, int c2, int16 code) {
    for (int i = r1; i <= r2; ++i) {
        for (int j = c1; j <= c2; ++j) {
            m.CellState(i, j) = code;
        }
    }
}

// A domain of rows x columns square cells of edge `size` with its lower-left
// corner at (x0, y0), every cell set to `code`. Supports and loads are empty and
// node activity is already marked, so an analysis can follow once the caller has
// fixed and loaded some nodes.
inline Model makePlate(int rows, int columns, float size = 100.0f, int16 code = kCellDesign,
                       float x0 = 0.0f, float y0 = 0.0f) {
    Model m;
    m.ElementSize = size;
    m.DomainX1 = x0;
    m.DomainY1 = y0;
    m.DomainX2 = x0 + static_cast<float>(columns) * size;
    m.DomainY2 = y0 + static_cast<float>(rows) * size;
    BuildDomainMesh(m);
    m.DomainDefined = -1;
    setCells(m, 1, 1, rows, columns, code);
    MarkActiveNodes(m);
    return m;
}

// Fixes a node in x and/or y (a component not named keeps its support).
inline void fixNode(Model& m, int node, bool x, bool y) {
    if (x) {
        m.NodeFreedom(node, 1) = 1;
    }
    if (y) {
        m.NodeFreedom(node, 2) = 1;
    }
}

// Fixes every node of the left edge (grid column 1).
inline void fixLeftEdge(Model& m, bool x = true, bool y = true) {
    for (int row = 1; row <= m.CellRowCount + 1; ++row) {
        fixNode(m, nodeAt(m, row, 1), x, y);
    }
}

inline void loadNode(Model& m, int node, double fx, double fy) {
    m.NodeLoad(node, 1) = fx;
    m.NodeLoad(node, 2) = fy;
}

// A cantilever: all cells design material, the left edge clamped, a downward
// force at the lower right corner. Node activity is marked.
inline Model makeCantilever(int rows, int columns, float size = 100.0f, double force = 1000.0) {
    Model m = makePlate(rows, columns, size);
    fixLeftEdge(m);
    loadNode(m, nodeAt(m, 1, columns + 1), 0.0, -force);
    return m;
}

} // namespace quillane::support
