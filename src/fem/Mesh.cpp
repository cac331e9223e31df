#include "fem/Mesh.h"

#include "model/NumberText.h"

namespace quillane {

void BuildDomainMesh(Model& m) {
    if (m.ElementSize == 0.0f) {
        raiseFloatingPoint("The element size is 0, so the design domain cannot be divided into "
                           "cells (division by zero). Set a positive element size first.");
    }
    // Counts are quotients of single-precision lengths; they are whole numbers
    // whenever the corners lie on grid lines.
    const float rowsExact = (m.DomainY2 - m.DomainY1) / m.ElementSize;
    m.CellRowCount = roundToInt16(rowsExact, "the number of cell rows");
    const float columnsExact = (m.DomainX2 - m.DomainX1) / m.ElementSize;
    m.CellColumnCount = roundToInt16(columnsExact, "the number of cell columns");
    const int rows = m.CellRowCount;
    const int columns = m.CellColumnCount;
    m.ElementCount = mul16(rows, columns, "the number of elements");
    m.NodeCount = mul16(add16(rows, 1), add16(columns, 1), "the number of nodes");

    SizeGridArrays(m);

    // Coordinates come from repeated single-precision addition, as a user who
    // steps along the grid would get them: x restarts at the left edge in every
    // row, y grows by one cell per row.
    int node = 0;
    float y = m.DomainY1;
    for (int i = 1; i <= rows + 1; ++i) {
        float x = m.DomainX1;
        for (int j = 1; j <= columns + 1; ++j) {
            ++node;
            m.NodeXY(node, 1) = x;
            m.NodeXY(node, 2) = y;
            x = x + m.ElementSize;
        }
        y = y + m.ElementSize;
    }

    for (int i = 1; i <= rows; ++i) {
        for (int j = 1; j <= columns; ++j) {
            const int e = (i - 1) * columns + j;
            const int n0 = (columns + 1) * (i - 1) + j;
            m.ElementNodes(e, 1) = static_cast<int16>(n0);
            m.ElementNodes(e, 2) = static_cast<int16>(n0 + 1);
            m.ElementNodes(e, 3) = static_cast<int16>(n0 + columns + 2);
            m.ElementNodes(e, 4) = static_cast<int16>(n0 + columns + 1);
        }
    }
}

void MarkActiveNodes(Model& m) {
    for (int n = 1; n <= m.NodeCount; ++n) {
        m.NodeActive(n) = 0;
        m.DofNumber(n, 1) = 0;
        m.DofNumber(n, 2) = 0;
    }
    for (int e = 1; e <= m.ElementCount; ++e) {
        for (int k = 1; k <= 8; ++k) {
            m.ElementDofs(e, k) = 0;
        }
    }
    const int columns = m.CellColumnCount;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= columns; ++j) {
            if (m.CellState(i, j) > 0) {
                const int e = (i - 1) * columns + j;
                for (int k = 1; k <= 4; ++k) {
                    m.NodeActive(m.ElementNodes(e, k)) = 1;
                }
            }
        }
    }
}

void NumberEquations(Model& m) {
    int16 count = 0;
    for (int n = 1; n <= m.NodeCount; ++n) {
        if (m.NodeActive(n) == 1) {
            for (int d = 1; d <= 2; ++d) {
                if (m.NodeFreedom(n, d) == 0) {
                    count = add16(count, 1, "the number of equations");
                    m.DofNumber(n, d) = count;
                }
            }
        }
    }
    m.EquationCount = count;
    SizeEquationArrays(m);

    for (int e = 1; e <= m.ElementCount; ++e) {
        const int n1 = m.ElementNodes(e, 1);
        const int n2 = m.ElementNodes(e, 2);
        const int n3 = m.ElementNodes(e, 3);
        const int n4 = m.ElementNodes(e, 4);
        for (int d = 1; d <= 2; ++d) {
            m.ElementDofs(e, d) = m.DofNumber(n1, d);
            m.ElementDofs(e, d + 2) = m.DofNumber(n2, d);
            m.ElementDofs(e, d + 4) = m.DofNumber(n3, d);
            m.ElementDofs(e, d + 6) = m.DofNumber(n4, d);
        }
    }
}

} // namespace quillane
