#pragma once
// Reading one number off the model at a clicked point: a node's load or
// displacement, an element's stress or potential.

#include <string>

#include "model/Model.h"

namespace quillane {

struct Readout {
    // False when there is nothing to show (the click missed the design domain, or
    // there is no value for its position); `text` is then the warning.
    bool inside = false;
    std::string text;
};

// Node read-outs: the click snaps to the nearest grid point (halves go up); a
// point outside the domain rectangle (edges included) gives kNodeNotInDomain.
// "Px = 10N  Py = -5N" from NodeLoad; "u = 0.1mm  v = -0.2mm" from NodeDisp.
Readout loadValue(const Model& m, float X, float Y);
Readout dispValue(const Model& m, float X, float Y);

// Element read-outs: the click is reduced to the lower-left corner of its cell; a
// corner outside the domain rectangle (edges included) gives kElementNotInDomain.
// The row and column are zero-based offsets used as indices as they stand, so a
// click in cell (i, j) reports the value stored for (i - 1, j - 1):
// "2,3   stress = 12.5MPa" from CellStress (0 on its border), "2,3   Potential =
// 7.5" from Potential, which has no value for the lowest row or the leftmost column
// (kNoPotentialHere; kNoStressHere for a stress beyond the border).
//
// All four raise the floating-point fault when ElementSize is 0.
Readout stressValue(const Model& m, float X, float Y);
Readout neuronValue(const Model& m, float X, float Y);

} // namespace quillane
