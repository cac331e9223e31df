#pragma once
// The one model: every variable the program works on, with its start-up value.
//
// Every procedure takes the model by reference and reads and writes these fields
// directly; nothing else owns data. Integer counts and codes are 16-bit, lengths
// and view settings single precision, material, loads and results double
// precision, exactly as the arithmetic of the analysis expects.

#include <array>
#include <string>
#include <vector>

#include "model/Array.h"
#include "model/Int16.h"
#include "model/RunRecord.h"
#include "model/WorkerPool.h"

namespace quillane {

// Codes of CellState. A cell holds an element exactly when its code is above 0.
enum CellCode : int16 {
    kCellCutOut = -3,   // not part of the design domain
    kCellEmpty = 0,     // design area without material
    kCellDesign = 1,    // material the optimization may remove
    kCellNonDesign = 2, // material the optimization never changes
};

// Slots per equation in every row store of the stiffness and its factor.
inline constexpr int kRowCapacity = 9;

// The assembled stiffness matrix, kept row by row instead of as a square array:
// for each equation its couplings to higher equations (ascending columns, exact
// zeros still present) and its diagonal. Only this half is ever read, so the
// square matrix is never formed; each entry is summed in the same element order
// as a square matrix would be, which keeps every value bit for bit.
struct AssembledStiffness {
    Array1<int16> Count{"StiffnessMatrix row count"};
    Array2<int16> Column{"StiffnessMatrix column"};
    Array2<double> Value{"StiffnessMatrix value"};
    Array1<double> Diagonal{"StiffnessMatrix diagonal"};
};

// The last system solved and its solution. The iteration starts from zero and runs in
// a fixed order, so a system equal to this one to the last bit would repeat every
// operation: its solution and the solver's report are these.
struct SolvedSystem {
    bool valid = false; // a whole solve of `equations` equations is kept
    int16 equations = 0;
    // The upper store packed row after row: each equation's count (index p - 1), then
    // the columns and values of its slots 1..count.
    std::vector<int16> count;
    std::vector<int16> column;
    std::vector<double> value;
    // Equations 1..n at index p - 1.
    std::vector<double> diagonal;
    std::vector<double> load;
    std::vector<double> solution;
    int iterations = 0;
    bool converged = false;
    double residualRatio = 0.0;
};

struct Model {
    // Grid and geometry (mm).
    float ElementSize = 100.0f;
    float DomainWidth = 2000.0f;
    float DomainHeight = 0.0f; // derived from the canvas's aspect by the layout
    float OriginFracX = 0.5f;
    float OriginFracY = 0.5f;
    float ViewRight = 0.0f;
    float ViewTop = 0.0f;
    float DomainX1 = 0.0f;
    float DomainX2 = 0.0f;
    float DomainY1 = 0.0f;
    float DomainY2 = 0.0f;
    int16 CellRowCount = 0;    // cells along y
    int16 CellColumnCount = 0; // cells along x
    Array2<int16> CellState{"CellState"};

    // Mesh.
    int16 NodeCount = 0;
    int16 ElementCount = 0;
    Array2<double> NodeXY{"NodeXY"};
    Array2<int16> ElementNodes{"ElementNodes"};
    Array1<int16> NodeActive{"NodeActive"};
    Array2<int16> DofNumber{"DofNumber"};
    Array2<int16> ElementDofs{"ElementDofs"};
    int16 EquationCount = 0;

    // Supports and loads.
    Array2<int16> NodeFreedom{"NodeFreedom"};
    Array2<double> NodeLoad{"NodeLoad"};
    double LoadFx = 0.0;
    double LoadFy = 0.0;

    // Material.
    double YoungModulus = 210000.0;
    double PoissonRatio = 0.3;
    double Thickness = 1.0;

    // Optimization parameters.
    float StressTarget = 0.0f;
    int16 Epsilon = 1;
    float Lambda = 0.05f;
    float PotentialIncrement = 0.0f;
    Array2<double> Potential{"Potential"};

    // Equation system.
    Array2<double> ElementStiffness{"ElementStiffness", 1, 8, 1, 8};
    AssembledStiffness StiffnessMatrix;
    Array1<double> LoadVector{"LoadVector"};
    Array1<double> SolutionVector{"SolutionVector"};
    Array1<int16> UpperCount{"UpperCount"};
    Array2<int16> UpperColumn{"UpperColumn"};
    Array2<double> UpperValue{"UpperValue"};
    Array1<double> DiagonalValue{"DiagonalValue"};
    Array1<int16> LowerCount{"LowerCount"};
    Array2<int16> LowerColumn{"LowerColumn"};
    Array2<double> LowerValue{"LowerValue"};
    Array2<double> FactorUpper{"FactorUpper"};
    Array2<double> FactorLower{"FactorLower"};
    Array1<double> FactorInvDiag{"FactorInvDiag"};
    Array1<double> ResidualVector{"ResidualVector"};
    Array1<double> DirectionVector{"DirectionVector"};
    Array1<double> PrecondVector{"PrecondVector"};
    Array1<double> ProductVector{"ProductVector"};
    Array1<int16> TransposeFill{"TransposeFill"};
    // Reusing the last solve for a system equal to it bit for bit: on unless the
    // runner is told otherwise (a setting of the session, kept by clearing).
    bool ReuseSolves = true;
    SolvedSystem LastSolve;

    // Results.
    Array2<double> NodeDisp{"NodeDisp"};
    Array2<double> CellStress{"CellStress"};
    double MaxStress = 0.0;
    double MinStress = 0.0;
    double AvgStress = 0.0;
    double Volume = 0.0;

    // The course of the present run (analysis and steps) and the rules that may end
    // an automatic one. The rules are settings of the session: no model file holds
    // them and clearing the model keeps them.
    RunRecord Record;
    StopRules Rules;
    // Threads of the analysis, a setting of the session like the rules; every count
    // gives the same bits.
    ThreadSetting Threads;

    // Interaction and display state.
    int16 EditMode = 0;
    int16 ClickCount = 0;
    int16 DomainDefined = 0; // -1 once a design domain exists
    int16 DisplayMode = 1;   // 1 stress map, 2 potential map
    int16 AutoOptimize = 0;  // -1 while automatic optimization runs
    int16 StepCount = 0;
    int16 HistoryRecording = 0; // -1 while the history file is open
    std::string ModelFilePath;
    // The first corner of a domain set-up (mm), until the second click makes it
    // DomainX1/DomainY1 (or DomainX2/DomainY2 when the corners come reversed).
    float DomainCornerX = 0.0f;
    float DomainCornerY = 0.0f;
    // The first corner cell of a rectangle operation (column, row; 1-based) and the
    // second one, between the two clicks.
    int16 FirstCornerColumn = 0;
    int16 FirstCornerRow = 0;
    int16 SecondCornerColumn = 0;
    int16 SecondCornerRow = 0;

    // The 16-level colour ramp of the result maps: level - 1 (0..15) by component
    // (0 red, 1 green, 2 blue). Built once at start-up.
    std::array<std::array<int16, 3>, 16> ColorTable{};
};

// The shapes of the arrays, in one place.

// Re-creates, zero-filled, every array sized by the grid: CellState and Potential
// (1..CellRowCount, 1..CellColumnCount); NodeXY, NodeFreedom, DofNumber, NodeLoad and
// NodeDisp (0..NodeCount, 1..2); NodeActive (0..NodeCount); ElementNodes
// (0..ElementCount, 1..4); ElementDofs (0..ElementCount, 1..8); CellStress with its
// border (0..CellRowCount + 1, 0..CellColumnCount + 1). A count that cannot size its
// array raises the subscript fault (the arrays before it keep their new size).
void SizeGridArrays(Model& m);

// Re-creates, zero-filled, the equation system for EquationCount equations: the
// assembled stiffness, the load and solution vectors, and the row stores and vectors
// of the solver (slots 0..kRowCapacity by equations 0..EquationCount).
void SizeEquationArrays(Model& m);

// Forgets the last solve, so the next analysis solves afresh.
void ForgetLastSolve(Model& m);

// Empties the geometry: no domain (DomainDefined = 0, the rectangle at 0), no cells,
// nodes, elements or equations, every grid and equation array emptied, the results
// at 0, the run record emptied, the last solve forgotten and no rectangle half-way
// through its two clicks. Material, parameters, the stop rules, the view, the entered load and the
// colour table stay.
void ClearGeometry(Model& m);

} // namespace quillane
