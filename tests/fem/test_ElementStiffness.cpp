#include "fem/ElementStiffness.h"

#include <bit>
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

using namespace quillane;

namespace {

Model material(double young, double nu, double thickness) {
    Model m;
    m.YoungModulus = young;
    m.PoissonRatio = nu;
    m.Thickness = thickness;
    return m;
}

double coefficient(const Model& m) {
    return m.YoungModulus * m.Thickness / (1.0 - m.PoissonRatio * m.PoissonRatio);
}

// t * integral of B^T D B over the square [0, a]^2, by 2 x 2 Gauss points (exact
// for the bilinear element). Nodes counter-clockwise from the lower left; entries
// ordered u1 v1 u2 v2 u3 v3 u4 v4. Independent of the table in the element code.
void integratedStiffness(double young, double nu, double thickness, double a, double k[8][8]) {
    const double c = young / (1.0 - nu * nu);
    const double d[3][3] = {{c, c * nu, 0.0}, {c * nu, c, 0.0}, {0.0, 0.0, c * (1.0 - nu) / 2.0}};
    const double g = 1.0 / std::sqrt(3.0);
    const double points[2] = {a / 2.0 * (1.0 - g), a / 2.0 * (1.0 + g)};
    const double weight = a / 2.0;
    for (int r = 0; r < 8; ++r) {
        for (int q = 0; q < 8; ++q) {
            k[r][q] = 0.0;
        }
    }
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

TEST(ElementStiffness, EqualsTheExactlyIntegratedBilinearSquare) {
    const double ratios[] = {0.3, 0.0, 0.25, 1.0 / 3.0, 0.49, -0.2};
    for (double nu : ratios) {
        Model m = material(70000.0, nu, 2.5);
        CalcElementStiffness(m);
        double k[8][8];
        integratedStiffness(70000.0, nu, 2.5, 37.0, k); // the edge length cancels
        const double c = coefficient(m);
        for (int r = 1; r <= 8; ++r) {
            for (int q = 1; q <= 8; ++q) {
                EXPECT_NEAR(m.ElementStiffness(r, q), k[r - 1][q - 1], 1e-12 * c)
                    << "nu " << nu << " entry (" << r << ", " << q << ")";
            }
        }
    }
}

TEST(ElementStiffness, RigidBodyMotionsGiveNoForce) {
    Model m = material(210000.0, 0.3, 1.0);
    CalcElementStiffness(m);
    const double c = coefficient(m);
    // Rotation about the lower-left corner of a unit square: u = -y, v = x.
    const double rotation[8] = {0, 0, 0, 1, -1, 1, -1, 0};
    for (int r = 1; r <= 8; ++r) {
        double odd = 0.0;
        double even = 0.0;
        double turn = 0.0;
        for (int q = 1; q <= 8; ++q) {
            (q % 2 == 1 ? odd : even) += m.ElementStiffness(r, q);
            turn += m.ElementStiffness(r, q) * rotation[q - 1];
        }
        EXPECT_NEAR(odd, 0.0, 1e-12 * c) << "row " << r;
        EXPECT_NEAR(even, 0.0, 1e-12 * c) << "row " << r;
        EXPECT_NEAR(turn, 0.0, 1e-12 * c) << "row " << r;
    }
}

TEST(ElementStiffness, SymmetricBitForBit) {
    for (double nu : {0.3, 1.0 / 3.0, 0.1}) {
        Model m = material(123456.7, nu, 0.7);
        CalcElementStiffness(m);
        for (int r = 1; r <= 8; ++r) {
            for (int q = 1; q <= 8; ++q) {
                EXPECT_EQ(std::bit_cast<std::uint64_t>(m.ElementStiffness(r, q)),
                          std::bit_cast<std::uint64_t>(m.ElementStiffness(q, r)))
                    << r << ", " << q;
            }
        }
    }
}

TEST(ElementStiffness, ZeroPoissonRatioValues) {
    Model m = material(1000.0, 0.0, 2.0);
    CalcElementStiffness(m);
    const double c = 2000.0;
    EXPECT_DOUBLE_EQ(m.ElementStiffness(1, 1), c / 2);  // s1
    EXPECT_DOUBLE_EQ(m.ElementStiffness(2, 2), c / 2);  // s3
    EXPECT_DOUBLE_EQ(m.ElementStiffness(2, 1), c / 8);  // s2
    EXPECT_DOUBLE_EQ(m.ElementStiffness(3, 1), -c / 4); // s4
    EXPECT_DOUBLE_EQ(m.ElementStiffness(4, 1), -c / 8); // s5
    EXPECT_DOUBLE_EQ(m.ElementStiffness(6, 4), -c / 4); // s8
    EXPECT_EQ(m.ElementStiffness(4, 2), 0.0);           // s6
    EXPECT_EQ(m.ElementStiffness(5, 3), 0.0);           // s7
    EXPECT_DOUBLE_EQ(m.ElementStiffness(5, 1), -c / 4); // -s1/2
}

TEST(ElementStiffness, DefaultMaterialValues) {
    Model m; // E = 210000, t = 1, nu = 0.3
    CalcElementStiffness(m);
    const double c = 210000.0 / (1.0 - 0.09);
    EXPECT_NEAR(c, 230769.23, 0.01);
    const double tol = 1e-14 * c;
    EXPECT_NEAR(m.ElementStiffness(1, 1), 0.45 * c, tol);    // s1
    EXPECT_NEAR(m.ElementStiffness(2, 2), 0.45 * c, tol);    // s3
    EXPECT_NEAR(m.ElementStiffness(2, 1), 0.1625 * c, tol);  // s2
    EXPECT_NEAR(m.ElementStiffness(3, 1), -0.275 * c, tol);  // s4
    EXPECT_NEAR(m.ElementStiffness(6, 4), -0.275 * c, tol);  // s8
    EXPECT_NEAR(m.ElementStiffness(4, 1), -0.0125 * c, tol); // s5
    EXPECT_NEAR(m.ElementStiffness(4, 2), 0.05 * c, tol);    // s6
    EXPECT_NEAR(m.ElementStiffness(5, 3), 0.05 * c, tol);    // s7
    EXPECT_NEAR(m.ElementStiffness(8, 4), -0.225 * c, tol);  // -s3/2
}

TEST(ElementStiffness, ScalesWithModulusAndThicknessButNotWithElementSize) {
    Model base = material(210000.0, 0.3, 1.0);
    CalcElementStiffness(base);
    Model stiffer = material(420000.0, 0.3, 1.0);
    CalcElementStiffness(stiffer);
    Model thicker = material(210000.0, 0.3, 2.0);
    CalcElementStiffness(thicker);
    Model larger = material(210000.0, 0.3, 1.0);
    larger.ElementSize = 7.0f;
    CalcElementStiffness(larger);
    for (int r = 1; r <= 8; ++r) {
        for (int q = 1; q <= 8; ++q) {
            EXPECT_EQ(stiffer.ElementStiffness(r, q), 2.0 * base.ElementStiffness(r, q));
            EXPECT_EQ(thicker.ElementStiffness(r, q), 2.0 * base.ElementStiffness(r, q));
            EXPECT_EQ(larger.ElementStiffness(r, q), base.ElementStiffness(r, q));
        }
    }
}

TEST(ElementStiffness, PoissonRatioOfOneRaisesFloatingPointFault) {
    Model m = material(210000.0, 1.0, 1.0);
    EXPECT_THROW(CalcElementStiffness(m), FloatingPointFault);
    m.PoissonRatio = -1.0;
    EXPECT_THROW(CalcElementStiffness(m), FloatingPointFault);
}
