#pragma once
// Result fields as colour maps over the canvas, with the legend labelled by the
// value at each of its 16 levels.

#include "display/Surface.h"
#include "model/Array.h"
#include "model/Model.h"

namespace quillane {

// Fills every occupied cell (state > 0) with the colour of its level between
// minValue (level 1) and maxValue (level 16), labels the legend "stress(MPa)" in
// "0.00E+00", then draws the loads and supports again over the map. Empty and
// cut-out cells are left as the canvas shows them. `values` is indexed (row,
// column) like CellStress.
void DrawStressMap(const Model& m, DrawingSurface& canvas, DrawingSurface& bar, double maxValue,
                   double minValue, const Array2<double>& values);

// The same for the potentials, titled "Potential", between the field's own
// smallest and largest value (both searched from 0, so the scale includes 0).
void DrawNeuronMap(const Model& m, DrawingSurface& canvas, DrawingSurface& bar,
                   const Array2<double>& values);

} // namespace quillane
