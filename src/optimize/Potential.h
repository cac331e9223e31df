#pragma once
// The potential rule. Every cell carries a potential on a scale of 0 to 10: it
// decays by Lambda at every step and is fed by each of five positions (the cell
// and its four edge neighbours) whose stress exceeds the stress target. A design
// cell holds material while its potential is at least Epsilon.

#include "model/Model.h"

namespace quillane {

// Sets PotentialIncrement = Lambda x 10 / 5 and the potential of every occupied
// cell to increment x 5 / Lambda (10 within single-precision error); other cells
// keep theirs. Lambda = 0 divides zero by zero and raises the floating-point fault.
void InitPotential(Model& m);

// How many design cells changed state in one step of the rule.
struct CellChanges {
    int gained = 0; // empty (0) to material (1)
    int lost = 0;   // material (1) to empty (0)
};

// One step of the rule on the stresses of the last analysis: forget, feed, then
// decide the state of every design cell (code 0 or 1). Other cells never change.
// Returns how many cells changed; counting reads the states the rule decides and
// changes none of its arithmetic.
CellChanges UpdatePotential(Model& m);

} // namespace quillane
