#pragma once
// The analysis mesh is the cell grid itself: one square element per cell, one
// node per grid corner, both numbered row by row from the lower-left corner with
// x running fastest. Elements run their nodes counter-clockwise from the
// lower-left corner, which the element matrix assumes.

#include "model/Model.h"

namespace quillane {

// Lays out the mesh of the design-domain rectangle DomainX1..DomainX2 by
// DomainY1..DomainY2 (on grid lines, X1 <= X2, Y1 <= Y2): sets the four counts,
// re-creates every grid, mesh, support, load and result array zero-filled (all
// cells empty, no supports, no loads) and fills NodeXY and ElementNodes.
// A rectangle without a whole row or column of cells cannot be sized and raises
// the subscript fault after the counts have been set.
void BuildDomainMesh(Model& m);

// NodeActive = 1 for every node of a present element (CellState > 0), else 0;
// clears DofNumber and ElementDofs, which NumberEquations fills afresh.
void MarkActiveNodes(Model& m);

// Numbers the free components of the active nodes densely from 1 (x before y),
// fills ElementDofs for every element, present or not, and re-creates the
// equation system's arrays for EquationCount equations. Relies on MarkActiveNodes
// having run on the current cell states and supports.
void NumberEquations(Model& m);

} // namespace quillane
