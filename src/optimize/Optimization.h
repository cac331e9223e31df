#pragma once
// The two commands that analyse the plate: the stress analysis, which also starts
// the potentials afresh, and one optimization step, which applies the potential rule
// to the last stresses and analyses the new layout.

#include <functional>

#include "fem/StressAnalysis.h"
#include "model/Model.h"
#include "optimize/History.h"
#include "optimize/Potential.h"

namespace quillane {

// The stress analysis command's computation (mnuStressAnalysis_Click without its
// drawing): StepCount = 0, the run record emptied, the last solve forgotten, AnalyseLayout and its
// entry in the record, then the potentials of all occupied cells start saturated (InitPotential).
// `stressesKnown` runs between the two, once the stresses are evaluated (the desktop offers
// optimization and recording from then on, even if starting the potentials then fails). Drawing the
// map and the status caption are the caller's.
AnalysisReport RunStressAnalysis(Model& m, const std::function<void()>& stressesKnown = {});

struct StepReport {
    AnalysisReport analysis;
    int16 step = 0; // the step number shown and recorded (StepCount before the increment)
    CellChanges changes;
};

// One step (Optimization), in this order: EditMode = 0; UpdatePotential;
// MarkActiveNodes; DesignVolume; the analysis chain from the element stiffness to the
// stresses and the volume; `show` (the desktop draws the map chosen by DisplayMode and
// sets the status caption, while StepCount still holds the step's number); a history
// record when recording (through `history`, which may be null when not recording);
// the step's entry in the run record; StepCount + 1, which raises the overflow fault
// after step 32767.
StepReport Optimization(Model& m, HistoryRecorder* history = nullptr,
                        const std::function<void(Model&)>& show = {});

} // namespace quillane
