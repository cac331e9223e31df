#include "model/Model.h"

namespace quillane {

void SizeGridArrays(Model& m) {
    const int rows = m.CellRowCount;
    const int columns = m.CellColumnCount;
    const int nodes = m.NodeCount;
    const int elements = m.ElementCount;
    m.CellState.redim(1, rows, 1, columns);
    m.Potential.redim(1, rows, 1, columns);
    m.NodeXY.redim(0, nodes, 1, 2);
    m.NodeFreedom.redim(0, nodes, 1, 2);
    m.DofNumber.redim(0, nodes, 1, 2);
    m.NodeLoad.redim(0, nodes, 1, 2);
    m.NodeDisp.redim(0, nodes, 1, 2);
    m.NodeActive.redim(0, nodes);
    m.ElementNodes.redim(0, elements, 1, 4);
    m.ElementDofs.redim(0, elements, 1, 8);
    m.CellStress.redim(0, add16(rows, 1), 0, add16(columns, 1));
}

void SizeEquationArrays(Model& m) {
    const int n = m.EquationCount;
    // The assembled matrix is kept as rows of at most nine couplings to higher
    // equations plus the diagonal, never as a square array.
    m.StiffnessMatrix.Count.redim(0, n);
    m.StiffnessMatrix.Column.redim(0, kRowCapacity, 0, n);
    m.StiffnessMatrix.Value.redim(0, kRowCapacity, 0, n);
    m.StiffnessMatrix.Diagonal.redim(0, n);
    m.LoadVector.redim(0, n);
    m.SolutionVector.redim(0, n);
    m.UpperCount.redim(0, n);
    m.LowerCount.redim(0, n);
    m.UpperColumn.redim(0, kRowCapacity, 0, n);
    m.LowerColumn.redim(0, kRowCapacity, 0, n);
    m.UpperValue.redim(0, kRowCapacity, 0, n);
    m.LowerValue.redim(0, kRowCapacity, 0, n);
    m.FactorUpper.redim(0, kRowCapacity, 0, n);
    m.FactorLower.redim(0, kRowCapacity, 0, n);
    m.DiagonalValue.redim(0, n);
    m.FactorInvDiag.redim(0, n);
    m.ResidualVector.redim(0, n);
    m.DirectionVector.redim(0, n);
    m.PrecondVector.redim(0, n);
    m.ProductVector.redim(0, n);
    m.TransposeFill.redim(0, n);
}

void ForgetLastSolve(Model& m) {
    m.LastSolve.valid = false;
}

void ClearGeometry(Model& m) {
    m.DomainDefined = 0;
    m.DomainX1 = 0.0f;
    m.DomainX2 = 0.0f;
    m.DomainY1 = 0.0f;
    m.DomainY2 = 0.0f;
    m.CellRowCount = 0;
    m.CellColumnCount = 0;
    m.NodeCount = 0;
    m.ElementCount = 0;
    m.EquationCount = 0;

    // Emptied arrays keep their names, so a later fault still says which one.
    for (Array2<int16>* a :
         {&m.CellState, &m.ElementNodes, &m.DofNumber, &m.ElementDofs, &m.NodeFreedom,
          &m.StiffnessMatrix.Column, &m.UpperColumn, &m.LowerColumn}) {
        a->clear();
    }
    for (Array2<double>* a :
         {&m.Potential, &m.NodeXY, &m.NodeLoad, &m.StiffnessMatrix.Value, &m.UpperValue,
          &m.LowerValue, &m.FactorUpper, &m.FactorLower, &m.NodeDisp, &m.CellStress}) {
        a->clear();
    }
    for (Array1<int16>* a : {&m.NodeActive, &m.StiffnessMatrix.Count, &m.UpperCount, &m.LowerCount,
                             &m.TransposeFill}) {
        a->clear();
    }
    for (Array1<double>* a : {&m.StiffnessMatrix.Diagonal, &m.LoadVector, &m.SolutionVector,
                              &m.DiagonalValue, &m.FactorInvDiag, &m.ResidualVector,
                              &m.DirectionVector, &m.PrecondVector, &m.ProductVector}) {
        a->clear();
    }

    m.MaxStress = 0.0;
    m.MinStress = 0.0;
    m.AvgStress = 0.0;
    m.Volume = 0.0;
    m.Record.Clear();
    ForgetLastSolve(m);

    m.ClickCount = 0;
    m.FirstCornerColumn = 0;
    m.FirstCornerRow = 0;
    m.SecondCornerColumn = 0;
    m.SecondCornerRow = 0;
}

} // namespace quillane
