#pragma once
// One optimization step: the potential rule on the last stresses, then the new
// layout analysed again.

#include <functional>
#include <string>

#include "fem/StressAnalysis.h"
#include "model/Model.h"
#include "optimize/History.h"

namespace quillane {

struct StepReport {
    AnalysisReport analysis;
    int16 step = 0;         // the step number shown and recorded (StepCount before the increment)
    std::string statusText; // "  Volume = 1.25E+04mm^3     3step"
};

// Runs one step in this order: EditMode = 0; UpdatePotential; MarkActiveNodes;
// DesignVolume; the analysis chain from the element stiffness to the stresses and
// the volume; `redraw` (the map chosen by DisplayMode, if any); the status text; a
// history record when recording (through `history`, which may be null when not
// recording); StepCount + 1, which raises the overflow fault after step 32767.
StepReport Optimization(Model& m, HistoryRecorder* history = nullptr,
                        const std::function<void(Model&)>& redraw = {});

// "  Volume = " Volume in "0.00E+00" "mm^3     " StepCount "step".
std::string StepStatusText(const Model& m);

} // namespace quillane
