#include "optimize/Optimization.h"

#include "fem/Mesh.h"
#include "fem/Stresses.h"
#include "model/NumberText.h"
#include "optimize/Potential.h"

namespace quillane {

AnalysisReport RunStressAnalysis(Model& m, const std::function<void()>& stressesKnown) {
    // A stress analysis starts the optimization's step count afresh.
    m.StepCount = 0;
    const AnalysisReport report = AnalyseLayout(m);
    if (stressesKnown) {
        stressesKnown();
    }
    InitPotential(m);
    return report;
}

StepReport Optimization(Model& m, HistoryRecorder* history,
                        const std::function<void(Model&)>& show) {
    StepReport report;
    // A press on the canvas must do nothing while the layout changes under it.
    m.EditMode = 0;

    // The rule works on the stresses of the previous analysis; cell states change here.
    UpdatePotential(m);
    MarkActiveNodes(m);
    // Computed again at the end of the chain on the same states; kept so the order of
    // the work stays as the program has always done it.
    DesignVolume(m);
    report.analysis = AnalyseLayout(m);

    // The step shown and recorded is the count before the increment, so the first
    // step after an analysis is step 0.
    report.step = m.StepCount;
    if (show) {
        show(m);
    }
    if (m.HistoryRecording != 0 && history != nullptr) {
        history->Record(m);
    }
    m.StepCount = add16(m.StepCount, 1, "the optimization step count");
    return report;
}

} // namespace quillane
