#pragma once
// The 16-level colour ramp of the result maps (blue for the lowest values through
// green to red for the highest) and the legend beside the canvas.

#include <string>

#include "display/Surface.h"
#include "model/Model.h"

namespace quillane {

// Fills ColorTable from two parabolas: levels 1..8 run from blue to green, levels
// 9..16 from green to red; every component is a whole number below 255.
void MakeColorTable(Model& m);

// The colour of level 1..16 from ColorTable. Raises the subscript fault outside.
Rgb LevelColor(const Model& m, int level);

// Clears the legend, gives it the scale x -0.5..5, y -1..17 (y up), prints the
// title ("stress(MPa)" or "Potential") in blue at (0, 16.8) and draws the 16 level
// boxes in one column, level L from y = L - 1 to L, each outlined in blue.
void DrawColorBar(const Model& m, DrawingSurface& bar, const std::string& title);

} // namespace quillane
