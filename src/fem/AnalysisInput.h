#pragma once
// What the analysis needs from the model before it starts, checked in the user's
// terms: a system built from these values would be meaningless, or its numbers would
// overflow or vanish in the solver.

#include "model/Model.h"

namespace quillane {

// The loads the solver can work with: their squares must neither overflow nor
// vanish to nothing, with room for the stiffness they are divided by.
inline constexpr double kLargestLoad = 1.0E+100;  // N
inline constexpr double kSmallestLoad = 1.0E-100; // N

// Raises InputFault, naming the value and where to change it, when Young's modulus or
// the thickness is not above 0, Poisson's ratio lies outside -1 to 1 (both excluded),
// the element size is not above 0, a load on a free node of the material is larger
// than kLargestLoad, or every such load is smaller than kSmallestLoad without all of
// them being 0. Uses the node activity of the last MarkActiveNodes.
void CheckAnalysisInput(const Model& m);

} // namespace quillane
