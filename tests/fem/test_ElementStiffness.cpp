#include "fem/ElementStiffness.h"

#include <bit>
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

using namespace quillane;

namespace {

Model material(double young, double nu, double thickness, float size = 100.0f) {
    Model m;
    m.YoungModulus = young;
    m.PoissonRatio = nu;
    m.Thickness = thickness;
    m.ElementSize = size;
    CalcElementStiffness(m);
    return m;
}

// Adds t * integral of B^T D B over the square [0, a]^2 into k, by 2 x 2 Gauss
// points (exact for the bilinear element). Nodes counter-clockwise from the lower
// left; entries ordered u1 v1 u2 v2 u3 v3 u4 v4. Independent of the table in the
// element code.
void integratedStiffness(double young, double nu, double thickness, double a, double k[8][8]) {
    const double c = young / (1.0 - nu * nu);
    const double d[3][3] = {{c, c * nu, 0.0}, {c * nu, c, 0.0}, {0.0, 0.0, c * (1.0 - nu) / 2.0}};
    const double g = 1.0 / std::sqrt(3.0);
    const double points[2] = {a / 2.0 * (1.0 - g), a / 2.0 * (1.0 + g)};
    const double weight = a / 2.0;
    for (double x : points) {
        for (double y : points) {
            const double dx[4] = {-(1.0 - y / a) / a, (1.0 - y / a) / a, (y / a) / a, -(y / a) / a};
            const double dy[4] = {-(1.0 - x / a) / a, -(x / a) / a, (x / a) / a, (1.0 - x / a) / a};
            double b[3][8] = {};
            for (int n = 0; n < 4; ++n) {
                b[0][2 * n] = dx[n];
                b[1][2 * n + 1] = dy[n];
                b[2][2 * n] = dy[n];
                b[2][2 * n + 1] = dx[n];
            }
            for (int r = 0; r < 8; ++r) {
                for (int q = 0; q < 8; ++q) {
                    double s = 0.0;
                    for (int i = 0; i < 3; ++i) {
                        for (int j = 0; j < 3; ++j) {
                            s += b[i][r] * d[i][j] * b[j][q];
                        }
                    }
                    k[r][q] += thickness * s * weight * weight;
                }
            }
        }
    }
}

} // namespace

TEST(ElementStiffness, EqualsTheExactlyIntegratedBilinearSquareAndIsSymmetricBitForBit) {
    // nu, E, t and the element size, which cancels out of the matrix.
    const double cases[][4] = {{0.3, 70000.0, 2.5, 37.0},  {0.0, 1000.0, 2.0, 100.0},
                               {0.25, 210000.0, 1.0, 7.0}, {1.0 / 3.0, 123456.7, 0.7, 100.0},
                               {0.49, 70000.0, 2.5, 1.0},  {-0.2, 420000.0, 1.0, 100.0},
                               {0.1, 123456.7, 0.7, 37.0}};
    for (const auto& [nu, young, thickness, size] : cases) {
        const Model m = material(young, nu, thickness, static_cast<float>(size));
        double k[8][8] = {};
        integratedStiffness(young, nu, thickness, 37.0, k);
        const double c = young * thickness / (1.0 - nu * nu);
        for (int r = 1; r <= 8; ++r) {
            for (int q = 1; q <= 8; ++q) {
                EXPECT_NEAR(m.ElementStiffness(r, q), k[r - 1][q - 1], 1e-12 * c)
                    << "nu " << nu << " entry (" << r << ", " << q << ")";
                EXPECT_EQ(std::bit_cast<std::uint64_t>(m.ElementStiffness(r, q)),
                          std::bit_cast<std::uint64_t>(m.ElementStiffness(q, r)));
            }
        }
    }
    // At nu = 0 the couplings s6 and s7 are exact zeros, so the assembly drops them.
    const Model zero = material(1000.0, 0.0, 2.0);
    EXPECT_EQ(zero.ElementStiffness(4, 2), 0.0);
    EXPECT_EQ(zero.ElementStiffness(5, 3), 0.0);
}

TEST(ElementStiffness, PoissonRatioOfOneRaisesFloatingPointFault) {
    EXPECT_THROW(material(210000.0, 1.0, 1.0), FloatingPointFault);
    EXPECT_THROW(material(210000.0, -1.0, 1.0), FloatingPointFault);
}
