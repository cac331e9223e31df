#include "fem/Assembly.h"

#include <string>

namespace quillane {

namespace {

[[noreturn]] void raiseRowFull(int row) {
    raiseSubscript("Equation " + std::to_string(row) +
                   " couples to more than nine higher equations, more than a row of the "
                   "stiffness store can hold.");
}

} // namespace

void AssembleStiffness(Model& m) {
    const int rows = m.CellRowCount;
    const int columns = m.CellColumnCount;
    const int n = m.EquationCount;
    AssembledStiffness& k = m.StiffnessMatrix;
    if (rows <= 0 || columns <= 0) {
        return;
    }
    // Check every range once; the loops below work on plain arrays.
    m.CellState.requireRange(1, rows, 1, columns);
    m.ElementDofs.requireRange(1, rows * columns, 1, 8);
    k.Count.requireRange(0, n);
    k.Diagonal.requireRange(0, n);
    k.Column.requireRange(0, kRowCapacity, 0, n);
    k.Value.requireRange(0, kRowCapacity, 0, n);

    double ke[8][8];
    for (int a = 0; a < 8; ++a) {
        for (int b = 0; b < 8; ++b) {
            ke[a][b] = m.ElementStiffness(a + 1, b + 1);
        }
    }
    int16* count = k.Count.data();
    double* diagonal = k.Diagonal.data();
    int16* column = k.Column.data();
    double* value = k.Value.data();
    const int stride = k.Column.stride();
    const int dofStride = m.ElementDofs.stride();
    const int16* dofBase = m.ElementDofs.column(1);

    for (int i = 1; i <= rows; ++i) {
        for (int j = 1; j <= columns; ++j) {
            if (m.CellState(i, j) <= 0) {
                continue;
            }
            const int e = (i - 1) * columns + j;
            int dof[8];
            for (int a = 0; a < 8; ++a) {
                dof[a] = dofBase[a * dofStride + e];
                if (dof[a] < 0 || dof[a] > n) {
                    raiseSubscript("Element " + std::to_string(e) + " refers to equation " +
                                   std::to_string(dof[a]) + ", outside 0 to " + std::to_string(n) +
                                   ".");
                }
            }
            for (int a = 0; a < 8; ++a) {
                const int p = dof[a];
                if (p == 0) {
                    continue;
                }
                int16* rowColumn = column + p * stride;
                double* rowValue = value + p * stride;
                for (int b = 0; b < 8; ++b) {
                    const int q = dof[b];
                    if (q == 0) {
                        continue;
                    }
                    if (q == p) {
                        diagonal[p] = diagonal[p] + ke[a][b];
                        continue;
                    }
                    if (q < p) {
                        continue; // the lower half is the mirror image and never read
                    }
                    // Find q among the row's columns (slots 1..count, ascending) or
                    // open a slot for it in order; each slot sums its contributions in
                    // element order, as the square matrix entry would.
                    int c = count[p];
                    int s = 1;
                    while (s <= c && rowColumn[s] < q) {
                        ++s;
                    }
                    if (s > c || rowColumn[s] != q) {
                        if (c == kRowCapacity) {
                            raiseRowFull(p);
                        }
                        for (int t = c; t >= s; --t) {
                            rowColumn[t + 1] = rowColumn[t];
                            rowValue[t + 1] = rowValue[t];
                        }
                        rowColumn[s] = static_cast<int16>(q);
                        rowValue[s] = 0.0;
                        count[p] = static_cast<int16>(c + 1);
                    }
                    rowValue[s] = rowValue[s] + ke[a][b];
                }
            }
        }
    }
}

void AssembleLoads(Model& m) {
    for (int n = 1; n <= m.NodeCount; ++n) {
        if (m.DofNumber(n, 1) != 0) {
            m.LoadVector(m.DofNumber(n, 1)) = m.NodeLoad(n, 1);
        }
        if (m.DofNumber(n, 2) != 0) {
            m.LoadVector(m.DofNumber(n, 2)) = m.NodeLoad(n, 2);
        }
    }
}

void CompressStiffness(int16 n, int16 /*capacity*/, Array1<int16>& UpperCount,
                       Array2<int16>& UpperColumn, Array2<double>& UpperValue,
                       Array1<double>& DiagonalValue, const AssembledStiffness& StiffnessMatrix,
                       const Array1<double>& /*LoadVector*/, Array1<double>& SolutionVector) {
    for (int i = 1; i <= n; ++i) {
        UpperCount(i) = 0;
        int c = 0;
        const int stored = StiffnessMatrix.Count(i);
        for (int s = 1; s <= stored; ++s) {
            const double v = StiffnessMatrix.Value(s, i);
            if (v != 0.0) {
                ++c;
                UpperColumn(c, i) = StiffnessMatrix.Column(s, i);
                UpperValue(c, i) = v;
            }
        }
        UpperCount(i) = static_cast<int16>(c);
        DiagonalValue(i) = StiffnessMatrix.Diagonal(i);
        SolutionVector(i) = 0.0;
    }
}

} // namespace quillane
