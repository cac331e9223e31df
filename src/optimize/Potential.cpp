#include "optimize/Potential.h"

#include <cmath>

#include "model/NumberText.h"

namespace quillane {

namespace {

// Single precision on purpose: the increment is a Single quantity.
float increment(float lambda) {
    const float delta = lambda * 10.0f / 5.0f;
    if (!std::isfinite(delta)) {
        raiseOverflow("Lambda is too large: the potential increment Lambda x 10 / 5 does not "
                      "fit in single precision.");
    }
    return delta;
}

} // namespace

void InitPotential(Model& m) {
    const float delta = increment(m.Lambda);
    m.PotentialIncrement = delta;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            if (m.CellState(i, j) > 0) {
                if (m.Lambda == 0.0f) {
                    raiseFloatingPoint("Lambda is 0, so the starting potential is zero divided "
                                       "by zero. Set a forget coefficient Lambda above 0 in "
                                       "the optimization parameters.");
                }
                const float saturated = delta * 5.0f / m.Lambda;
                if (!std::isfinite(saturated)) {
                    raiseOverflow("The starting potential increment x 5 / Lambda overflowed "
                                  "single precision; Lambda is too small.");
                }
                m.Potential(i, j) = saturated;
            }
        }
    }
}

CellChanges UpdatePotential(Model& m) {
    const float delta = increment(m.Lambda);
    m.PotentialIncrement = delta;
    const int rows = m.CellRowCount;
    const int columns = m.CellColumnCount;

    // Forget: every cell, whatever its state. The factor is single precision, the
    // product double.
    const float keep = 1.0f - m.Lambda;
    for (int i = 1; i <= rows; ++i) {
        for (int j = 1; j <= columns; ++j) {
            m.Potential(i, j) = static_cast<double>(keep) * m.Potential(i, j);
        }
    }

    // Feed: the forget sweep is finished first, so the new potential is
    // (1 - Lambda) x old + k x delta for k over-target positions. Border entries of
    // CellStress are 0 and never feed.
    const float target = m.StressTarget;
    const auto over = [&](int i, int j) { return static_cast<float>(m.CellStress(i, j)) > target; };
    for (int i = 1; i <= rows; ++i) {
        for (int j = 1; j <= columns; ++j) {
            if (over(i + 1, j)) {
                m.Potential(i, j) = m.Potential(i, j) + static_cast<double>(delta);
            }
            if (over(i, j - 1)) {
                m.Potential(i, j) = m.Potential(i, j) + static_cast<double>(delta);
            }
            if (over(i, j + 1)) {
                m.Potential(i, j) = m.Potential(i, j) + static_cast<double>(delta);
            }
            if (over(i - 1, j)) {
                m.Potential(i, j) = m.Potential(i, j) + static_cast<double>(delta);
            }
            if (over(i, j)) {
                m.Potential(i, j) = m.Potential(i, j) + static_cast<double>(delta);
            }
        }
    }

    // Decide: design cells only; a potential equal to Epsilon keeps the material.
    const double threshold = m.Epsilon;
    CellChanges changes;
    for (int i = 1; i <= rows; ++i) {
        for (int j = 1; j <= columns; ++j) {
            const int16 state = m.CellState(i, j);
            if (state == kCellDesign || state == kCellEmpty) {
                const int16 decided = m.Potential(i, j) < threshold ? kCellEmpty : kCellDesign;
                if (decided != state) {
                    ++(decided == kCellDesign ? changes.gained : changes.lost);
                }
                m.CellState(i, j) = decided;
            }
        }
    }
    return changes;
}

} // namespace quillane
