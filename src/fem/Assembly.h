#pragma once
// Assembly of K u = f. Supports are imposed by numbering alone: a fixed component
// has no equation, so its row and column never enter the system.

#include "model/Model.h"

namespace quillane {

// Adds ElementStiffness of every present element into StiffnessMatrix, in row-major
// cell order, element entry (a, b) by (a, b). Each equation's couplings to higher
// equations are kept in ascending column order beside its diagonal; exact zeros are
// kept here and dropped by CompressStiffness. Raises the subscript fault if an
// equation would couple to more than nine higher ones.
void AssembleStiffness(Model& m);

// LoadVector(p) = the nodal force of equation p. Forces on fixed components or on
// nodes of no present element have no equation and are dropped.
void AssembleLoads(Model& m);

// Copies the couplings that are not exactly 0.0 into the upper store (UpperCount,
// UpperColumn, UpperValue; ascending columns), the diagonal into DiagonalValue,
// and clears SolutionVector, the solver's start vector. The capacity and the load
// vector are accepted for the caller's convenience and not used.
void CompressStiffness(int16 n, int16 capacity, Array1<int16>& UpperCount,
                       Array2<int16>& UpperColumn, Array2<double>& UpperValue,
                       Array1<double>& DiagonalValue, const AssembledStiffness& StiffnessMatrix,
                       const Array1<double>& LoadVector, Array1<double>& SolutionVector);

} // namespace quillane
