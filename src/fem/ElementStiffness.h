#pragma once
// The stiffness of one bilinear square element in plane stress. All elements are
// equal squares of one material and thickness, so one matrix serves them all; the
// edge length cancels out and the cell's code does not scale it.

#include "model/Model.h"

namespace quillane {

// Fills ElementStiffness (1..8 by 1..8, displacement order u1 v1 u2 v2 u3 v3 u4 v4)
// from YoungModulus, Thickness and PoissonRatio. A Poisson's ratio of 1 or -1
// divides by zero and raises the floating-point fault.
void CalcElementStiffness(Model& m);

// 1 - nu^2, the denominator of the plane-stress elasticity; raises the
// floating-point fault when it is 0 (Poisson's ratio 1 or -1).
double PlaneStressDenominator(double poissonRatio);

} // namespace quillane
