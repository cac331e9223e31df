#pragma once
// Incomplete-Cholesky preconditioned conjugate gradients on the split row store.
//
// Every row store has slots 0..9 per equation (slot 0 unused) and lists its
// columns in ascending order. The factor is the no-fill (D + L) D^-1 (D + L)^T on
// exactly the pattern of K. Every step and every summation runs in a fixed order,
// so a solve gives the same bits on every run.
//
// Each procedure checks the ranges of its arrays once and then runs on plain
// arrays. PreconditionedCG checks once for the whole iteration and then calls the
// unchecked inner forms of MatrixVectorProduct (for the start residual) and of
// ApplyPreconditioner (every iteration). Inside the iteration, K p is formed
// together with the dot product p . K p from the upper store alone, adding every
// row's terms in the order MatrixVectorProduct adds them, so it gives the same bits
// while reading the matrix once.

#include "model/Model.h"

namespace quillane {

struct SolverReport {
    int iterations = 0;         // iterations made (0 when n = 0 never gets that far)
    bool converged = false;     // residual ratio reached tolerance^2 within n + 10 iterations
    double residualRatio = 0.0; // |r|^2 / |f|^2 at return
    int threads = 1;            // threads the iteration ran on
};

// Writes the transpose of the row store (countIn, columnIn, valueIn) into
// (countOut, columnOut, valueOut): every output row is cleared over all `capacity`
// slots, then input rows are visited in ascending order and each entry is appended
// to the row of its column, so output columns come out ascending.
void TransposeRows(int16 n, int16 capacity, const Array1<int16>& countIn, Array1<int16>& countOut,
                   const Array2<int16>& columnIn, Array2<int16>& columnOut,
                   const Array2<double>& valueIn, Array2<double>& valueOut, Array1<int16>& fill);

// No-fill incomplete factorization on the lower pattern. A pivot whose magnitude
// is at most `tolerance` is replaced by +tolerance, so a badly supported model
// still solves instead of stopping.
void IncompleteCholesky(int16 n, int16 capacity, const Array1<int16>& LowerCount,
                        const Array2<int16>& LowerColumn, const Array2<double>& LowerValue,
                        const Array1<double>& DiagonalValue, Array2<double>& FactorLower,
                        Array1<double>& FactorInvDiag, double tolerance);

// y = K x, each row summed as lower part, diagonal, upper part.
void MatrixVectorProduct(int16 n, int16 capacity, const Array1<int16>& UpperCount,
                         const Array1<int16>& LowerCount, const Array2<int16>& UpperColumn,
                         const Array2<int16>& LowerColumn, const Array2<double>& UpperValue,
                         const Array2<double>& LowerValue, const Array1<double>& DiagonalValue,
                         const Array1<double>& x, Array1<double>& y);

// z = M^-1 r by a forward and a backward sweep over the factor.
void ApplyPreconditioner(int16 n, int16 capacity, const Array1<int16>& UpperCount,
                         const Array1<int16>& LowerCount, const Array2<int16>& UpperColumn,
                         const Array2<int16>& LowerColumn, const Array2<double>& FactorUpper,
                         const Array2<double>& FactorLower, const Array1<double>& FactorInvDiag,
                         const Array1<double>& r, Array1<double>& z);

// The iteration proper (it calls MatrixVectorProduct and ApplyPreconditioner as
// described above), starting from the SolutionVector passed in. Stops when
// |r|^2 / |f|^2 <= tolerance^2 (tested before the preconditioner) or after n + 10
// iterations, keeping the last iterate either way. A step size that cannot be
// computed (no equations, no load, a breakdown) raises the floating-point fault.
SolverReport PreconditionedCG(int16 n, int16 capacity, Array1<int16>& UpperCount,
                              Array1<int16>& LowerCount, Array2<int16>& UpperColumn,
                              Array2<int16>& LowerColumn, Array2<double>& UpperValue,
                              Array2<double>& LowerValue, Array1<double>& DiagonalValue,
                              Array1<double>& LoadVector, double tolerance,
                              Array1<double>& SolutionVector, Array2<double>& FactorUpper,
                              Array2<double>& FactorLower, Array1<double>& FactorInvDiag,
                              Array1<double>& ResidualVector, Array1<double>& DirectionVector,
                              Array1<double>& PrecondVector, Array1<double>& ProductVector,
                              Array1<int16>& TransposeFill);

// Solves K u = f: transposes the upper store into the lower one, factorizes,
// transposes the factor into the upper pattern (rewriting UpperCount and
// UpperColumn, which stay the same for an ascending store) and iterates.
SolverReport SolveEquations(int16 n, int16 capacity, Array1<int16>& UpperCount,
                            Array1<int16>& LowerCount, Array2<int16>& UpperColumn,
                            Array2<int16>& LowerColumn, Array2<double>& UpperValue,
                            Array2<double>& LowerValue, Array1<double>& DiagonalValue,
                            Array1<double>& LoadVector, double tolerance,
                            Array1<double>& SolutionVector, Array2<double>& FactorUpper,
                            Array2<double>& FactorLower, Array1<double>& FactorInvDiag,
                            Array1<double>& ResidualVector, Array1<double>& DirectionVector,
                            Array1<double>& PrecondVector, Array1<double>& ProductVector,
                            Array1<int16>& TransposeFill);

// The same on the model's own arrays and EquationCount.
SolverReport SolveEquations(Model& m, double tolerance);

} // namespace quillane
