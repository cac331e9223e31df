#include "fem/AnalysisInput.h"

#include <cmath>
#include <string>

#include "model/Faults.h"
#include "model/NumberText.h"

namespace quillane {

namespace {

constexpr const char* kInDesignProperty = " Enter it in Design Property (menu Parameter).";

} // namespace

void CheckAnalysisInput(const Model& m) {
    if (!(m.YoungModulus > 0.0)) {
        raiseInput("Young's modulus is " + formatGeneral(m.YoungModulus) +
                   " MPa, but it must be greater than 0." + kInDesignProperty);
    }
    if (!(m.Thickness > 0.0)) {
        raiseInput("The thickness is " + formatGeneral(m.Thickness) +
                   " mm, but it must be greater than 0." + kInDesignProperty);
    }
    if (!(m.PoissonRatio > -1.0 && m.PoissonRatio < 1.0)) {
        raiseInput("Poisson's ratio is " + formatGeneral(m.PoissonRatio) +
                   ", but it must lie between -1 and 1 (0.3 for steel)." + kInDesignProperty);
    }
    if (!(m.ElementSize > 0.0f)) {
        raiseInput("The element size is " + formatGeneral(m.ElementSize) +
                   " mm, but it must be greater than 0. Set it in Width and Mesh Density (menu "
                   "Graphic), then set up the design domain again.");
    }

    // The loads the solver sees: those on free directions of nodes with material.
    double largest = 0.0;
    int largestNode = 0;
    for (int k = 1; k <= m.NodeCount; ++k) {
        if (m.NodeActive(k) != 1) {
            continue;
        }
        for (int d = 1; d <= 2; ++d) {
            const double load = std::fabs(m.NodeLoad(k, d));
            if (m.NodeFreedom(k, d) == 0 && load > largest) {
                largest = load;
                largestNode = k;
            }
        }
    }
    const std::string where = "the largest, at node " + std::to_string(largestNode) + ", is " +
                              formatGeneral(largest) + " N";
    if (largest > kLargestLoad) {
        raiseInput("The loads are too large to calculate with (" + where +
                   "): the solver's numbers would overflow. Enter loads of at most 1E+100 N in "
                   "Applied Load (menu Parameter) and apply them again.");
    }
    if (largest > 0.0 && largest < kSmallestLoad) {
        raiseInput("The loads are too small to calculate with (" + where +
                   "): the solver's numbers would vanish to nothing. Enter loads of at least "
                   "1E-100 N in Applied Load (menu Parameter) and apply them again.");
    }
}

} // namespace quillane
