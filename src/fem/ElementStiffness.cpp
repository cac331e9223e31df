#include "fem/ElementStiffness.h"

#include <cmath>

namespace quillane {

double PlaneStressDenominator(double poissonRatio) {
    const double denominator = 1.0 - poissonRatio * poissonRatio;
    if (denominator == 0.0) {
        raiseFloatingPoint("Poisson's ratio is 1 or -1, which makes the plate's stiffness "
                           "infinite (division by zero). Choose a Poisson's ratio between -1 and "
                           "1 in Design Property.");
    }
    return denominator;
}

void CalcElementStiffness(Model& m) {
    const double nu = m.PoissonRatio;
    const double denominator = PlaneStressDenominator(nu);
    const double c = (m.YoungModulus * m.Thickness) / denominator;
    if (!std::isfinite(c)) {
        raiseFloatingPoint("The plate's stiffness is too large to compute (floating-point "
                           "overflow). Check Young's modulus and the thickness.");
    }

    // Each value is computed exactly in this form; s3 repeats s1 and s7 repeats s6
    // on purpose, so that every entry comes out of the same arithmetic as before.
    const double s1 = ((1.0 - nu) / 6.0 + 1.0 / 3.0) * c;
    const double s2 = ((1.0 - nu) / 8.0 + nu / 4.0) * c;
    const double s3 = ((1.0 - nu) / 6.0 + 1.0 / 3.0) * c;
    const double s4 = ((1.0 - nu) / 12.0 + (-1.0) / 3.0) * c;
    const double s5 = (nu / 4.0 - (1.0 - nu) / 8.0) * c;
    const double s6 = (1.0 / 6.0 - (1.0 - nu) / 6.0) * c;
    const double s7 = (1.0 / 6.0 - (1.0 - nu) / 6.0) * c;
    const double s8 = ((1.0 - nu) / 12.0 - 1.0 / 3.0) * c;

    Array2<double>& k = m.ElementStiffness;
    // Lower triangle, row by row.
    k(1, 1) = s1;
    k(2, 1) = s2;
    k(2, 2) = s3;
    k(3, 1) = s4;
    k(3, 2) = -s5;
    k(3, 3) = s1;
    k(4, 1) = s5;
    k(4, 2) = s6;
    k(4, 3) = -s2;
    k(4, 4) = s3;
    k(5, 1) = -s1 / 2.0;
    k(5, 2) = -s2;
    k(5, 3) = s7;
    k(5, 4) = -s5;
    k(5, 5) = s1;
    k(6, 1) = -s2;
    k(6, 2) = -s3 / 2.0;
    k(6, 3) = s5;
    k(6, 4) = s8;
    k(6, 5) = s2;
    k(6, 6) = s3;
    k(7, 1) = s7;
    k(7, 2) = s5;
    k(7, 3) = -s1 / 2.0;
    k(7, 4) = s2;
    k(7, 5) = s4;
    k(7, 6) = -s5;
    k(7, 7) = s1;
    k(8, 1) = -s5;
    k(8, 2) = s8;
    k(8, 3) = s2;
    k(8, 4) = -s3 / 2.0;
    k(8, 5) = s5;
    k(8, 6) = s6;
    k(8, 7) = -s2;
    k(8, 8) = s3;
    // The upper triangle is a copy, so the matrix is symmetric bit for bit.
    for (int r = 1; r <= 8; ++r) {
        for (int q = r + 1; q <= 8; ++q) {
            k(r, q) = k(q, r);
        }
    }
}

} // namespace quillane
