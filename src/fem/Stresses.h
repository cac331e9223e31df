#pragma once
// From the solution to the results: nodal displacements, the von Mises stress at
// the centre of every element with its extremes and mean, and the material volume.

#include "model/Model.h"

namespace quillane {

// NodeDisp(n, d) = SolutionVector(DofNumber(n, d)), or exactly 0 for a component
// without equation.
void ScatterDisplacements(Model& m);

// CellStress of every cell (0 for cells without element; the border stays 0),
// MaxStress, MinStress (starting from 1e10) and AvgStress over the cells with an
// element. No cell with an element makes the mean 0/0 and raises the floating-point
// fault.
void ElementStresses(Model& m, float elementSize, double youngModulus, double poissonRatio);

// Volume = ElementSize^2 x Thickness x (number of cells with an element).
void DesignVolume(Model& m);

} // namespace quillane
