#pragma once
// The model on the canvas: background, design domain, cells by state, load arrows,
// support symbols, axes and element grid.

#include "display/Surface.h"
#include "model/Model.h"
#include "model/View.h"

namespace quillane {

// Gives the canvas its user scale from the view: left ViewRight - DomainWidth,
// top ViewTop, right ViewRight, bottom ViewTop - DomainHeight (mm, y up).
void ApplyCanvasScale(const Model& m, DrawingSurface& canvas);

// Redraws the whole canvas from the model. Refreshes node activity first
// (MarkActiveNodes), since the solver later uses the flags of the last redraw.
// Draws: light-yellow background; the domain box in white; the cells of state 1,
// then 2, then -3 (later states over earlier ones); the load arrows; the support
// symbols; the grid. An empty model (no domain) shows background, axes and grid.
void DrawCanvas(Model& m, DrawingSurface& canvas);

// One arrow per component for every loaded node, of length DomainWidth / 30 in the
// direction of the force's sign (a zero component gives a zero-length arrow), in
// light magenta at width 2.
void DrawLoadArrows(const Model& m, DrawingSurface& canvas);
// drawSymbolFx / drawSymbolFy for every node fixed in x / y.
void DrawSupports(const Model& m, DrawingSurface& canvas);

// Support against x displacement: a blue triangle with its apex on the node,
// opening to the left, and its ground line; size DomainWidth / 100.
void drawSymbolFx(const Model& m, DrawingSurface& canvas, float x, float y);
// Support against y displacement: the same symbol turned below the node.
void drawSymbolFy(const Model& m, DrawingSurface& canvas, float x, float y);

// The axes through the origin in red, then the cyan grid lines at every multiple of
// ElementSize across the visible area, swept left, right, down and up, as many
// per side as the distance to that edge holds (rounded half to even). An element
// size of 0 or less (possible only from an opened file) leaves just the axes.
void drawGrid(const Model& m, DrawingSurface& canvas);

// Start over with an empty model: the geometry (domain rectangle, counts, mesh,
// cells, supports, loads, equations and results) is emptied and DomainDefined set
// to 0, while material, parameters, view settings and the colour table stay; the
// canvas shows the empty view and the legend is redrawn with "stress(MPa)".
void picCanvasClear(Model& m, DrawingSurface& canvas, DrawingSurface& bar);

} // namespace quillane
