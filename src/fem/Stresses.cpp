#include "fem/Stresses.h"

#include <cmath>

#include "fem/ElementStiffness.h"

namespace quillane {

void ScatterDisplacements(Model& m) {
    for (int n = 1; n <= m.NodeCount; ++n) {
        for (int d = 1; d <= 2; ++d) {
            const int equation = m.DofNumber(n, d);
            m.NodeDisp(n, d) = equation == 0 ? 0.0 : m.SolutionVector(equation);
        }
    }
}

void ElementStresses(Model& m, float elementSize, double youngModulus, double poissonRatio) {
    // Strain-displacement matrix at the element centre x = y = a/2. Every
    // derivative of the bilinear shape functions there is +-1/(2a).
    const double a = elementSize;
    const float halfSingle = elementSize / 2.0f;
    const double h = halfSingle;
    if (a == 0.0) {
        raiseFloatingPoint("The element size is 0, so strains cannot be computed (division by "
                           "zero). Set a positive element size and set up the domain again.");
    }
    // dN/dx and dN/dy of the four nodes, counter-clockwise from the lower left.
    const double dNdx[4] = {-(1.0 - h / a) / a, (1.0 - h / a) / a, (h / a) / a, -(h / a) / a};
    const double dNdy[4] = {-(1.0 - h / a) / a, -(h / a) / a, (h / a) / a, (1.0 - h / a) / a};
    double B[3][8] = {};
    for (int k = 0; k < 4; ++k) {
        B[0][2 * k] = dNdx[k];
        B[1][2 * k + 1] = dNdy[k];
        B[2][2 * k] = dNdy[k];
        B[2][2 * k + 1] = dNdx[k];
    }

    const double nu = poissonRatio;
    const double denominator = PlaneStressDenominator(nu);
    const double c = youngModulus / denominator;
    double D[3][3] = {};
    D[0][0] = c;
    D[1][1] = c;
    D[0][1] = c * nu;
    D[1][0] = c * nu;
    D[2][2] = (1.0 - nu) * c / 2.0;

    m.MaxStress = 0.0;
    m.MinStress = 1e10;
    double sum = 0.0;
    int16 count = 0;
    const int columns = m.CellColumnCount;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= columns; ++j) {
            m.CellStress(i, j) = 0.0;
            if (m.CellState(i, j) <= 0) {
                continue;
            }
            const int e = (i - 1) * columns + j;
            double d[8];
            for (int k = 0; k < 4; ++k) {
                const int node = m.ElementNodes(e, k + 1);
                d[2 * k] = m.NodeDisp(node, 1);
                d[2 * k + 1] = m.NodeDisp(node, 2);
            }
            // eps = B d and sigma = D eps, each row summed over the columns in order.
            double strain[3];
            for (int r = 0; r < 3; ++r) {
                double s = 0.0;
                for (int k = 0; k < 8; ++k) {
                    s = s + B[r][k] * d[k];
                }
                strain[r] = s;
            }
            double stress[3];
            for (int r = 0; r < 3; ++r) {
                double s = 0.0;
                for (int k = 0; k < 3; ++k) {
                    s = s + D[r][k] * strain[k];
                }
                stress[r] = s;
            }
            const double sx = stress[0];
            const double sy = stress[1];
            const double txy = stress[2];
            const double vonMises = std::sqrt(sx * sx + sy * sy - sx * sy + 3.0 * (txy * txy));
            if (!std::isfinite(vonMises)) {
                raiseFloatingPoint("The stress of a cell overflowed. The structure may be "
                                   "unsupported or its loads far too large.");
            }
            m.CellStress(i, j) = vonMises;
            sum = sum + vonMises;
            count = add16(count, 1, "the number of elements");
            // Strict comparisons: the first of equal values is kept.
            if (vonMises < m.MinStress) {
                m.MinStress = vonMises;
            }
            if (m.MaxStress < vonMises) {
                m.MaxStress = vonMises;
            }
        }
    }
    if (count == 0) {
        raiseFloatingPoint("No cell holds material, so there is no stress to average (zero "
                           "divided by zero). Add material to the design domain.");
    }
    m.AvgStress = sum / count;
}

void DesignVolume(Model& m) {
    // The count is kept in Volume itself and multiplied at the end.
    m.Volume = 0.0;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            if (m.CellState(i, j) > 0) {
                m.Volume = m.Volume + 1.0;
            }
        }
    }
    const double a = m.ElementSize;
    m.Volume = a * a * m.Thickness * m.Volume;
}

} // namespace quillane
